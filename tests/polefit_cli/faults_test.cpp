/// Every command in bad surroundings: which message, which exit status, which files are left alone.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <complex>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "bad_surroundings.hpp"
#include "polefit/model_file.hpp"
#include "run_program.hpp"
#include "support.hpp"

namespace {

using namespace testing_support;

using Arguments = std::vector<std::string>;

/// One command of each kind, with its inputs, and with its result in a file.
struct Case {
  std::string name;
  Arguments arguments;  // without the output
  std::string result;
  std::vector<std::string> inputs;
  std::string before_output = "-o";

  Arguments writing_to(const std::string& output) const {
    Arguments all = arguments;
    if (!before_output.empty()) {
      all.push_back(before_output);
    }
    all.push_back(output);
    return all;
  }
  Arguments reading(const std::string& input, const std::string& other) const {
    Arguments all = writing_to(result);
    std::replace(all.begin(), all.end(), input, other);
    return all;
  }
};

/// (1 / 3) / (1 + j f / 4): of one pole, exact to six decimals.
std::string low_pass() {
  std::string text = "# MHz S RI R 50\n";
  for (int megahertz = 0; megahertz < 8; ++megahertz) {
    const std::complex<double> value = 1.0 / 3.0 / std::complex<double>(1.0, megahertz / 4.0);
    text += std::to_string(megahertz) + " " + std::to_string(value.real()) + " " +
            std::to_string(value.imag()) + "\n";
  }
  return text;
}

class Faults : public InOwnDirectory {
 protected:
  void SetUp() override {
    InOwnDirectory::SetUp();
    write("data.s1p", low_pass());
    write("weights.txt", "1 1 1 1 1 1 1 1\n");
    write("waveform.csv", "time,1\n0,0\n1e-6,1\n");
    ASSERT_EQ(run({"fit", "data.s1p", "--poles", "1", "-q", "-o", "model.json"}), 0) << errors();
    std::filesystem::remove("stdout");
    std::filesystem::remove("stderr");
    inputs_ = contents_of(input_files_);
  }

  /// Ends after a minute: no fault may make a run hang.
  static int run(
      const Arguments& arguments, const std::function<void()>& surroundings = [] {}) {
    return run_program(POLEFIT_PROGRAM, arguments, ".", [&] {
      alarm(60);
      surroundings();
    });
  }
  /// Bytes that a run takes at most, told by a process that has no other child.
  static double memory_of(const Arguments& arguments) {
    const pid_t child = fork();
    if (child == 0) {
      static_cast<void>(run(arguments));
      rusage used{};
      getrusage(RUSAGE_CHILDREN, &used);
      std::ofstream("memory") << used.ru_maxrss;
      _exit(0);
    }
    waitpid(child, nullptr, 0);
    return 1024.0 * std::stod(content_of("memory"));
  }
  static std::string output() { return content_of("stdout"); }
  static std::string errors() { return content_of("stderr"); }
  static void write(const std::string& name, const std::string& content) {
    std::ofstream(name, std::ios::binary) << content;
  }
  static std::vector<std::string> contents_of(const std::vector<std::string>& files) {
    std::vector<std::string> contents;
    std::transform(files.begin(), files.end(), std::back_inserter(contents),
                   [](const std::string& file) { return content_of(file); });
    return contents;
  }
  static std::set<std::string> files() {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(".")) {
      names.insert(entry.path().filename().string());
    }
    names.erase("stdout");
    names.erase("stderr");
    return names;
  }

  static std::vector<Case> cases() {
    return {{"fit", {"fit", "data.s1p", "--poles", "1"}, "result.json", {"data.s1p"}},
            {"search",
             {"fit", "data.s1p", "--error", "0.01", "--weights-file", "weights.txt"},
             "result.json",
             {"data.s1p", "weights.txt"}},
            {"plot", {"plot", "model.json", "data.s1p"}, "result.svg", {"model.json", "data.s1p"}},
            {"poles", {"plot", "model.json", "--poles"}, "result.svg", {"model.json"}},
            {"passivity", {"passivity", "model.json"}, "result.svg", {"model.json"}},
            {"spice", {"export", "model.json", "--spice"}, "result.cir", {"model.json"}},
            {"state space", {"export", "model.json", "--state-space"}, "result.txt", {"model.json"}},
            {"touchstone", {"export", "model.json", "--touchstone"}, "result.s1p", {"model.json"}},
            {"csv", {"export", "model.json", "--csv"}, "result.csv", {"model.json"}},
            {"S_Solver", {"export", "model.json", "--s-solver"}, "result.coe", {"model.json"}},
            {"eval", {"eval", "model.json", "--like", "data.s1p"}, "result.csv", {"model.json", "data.s1p"}},
            {"time", {"time", "model.json", "--step"}, "result.csv", {"model.json"}},
            {"waveform",
             {"time", "model.json", "--file", "waveform.csv"},
             "result.csv",
             {"model.json", "waveform.csv"}},
            {"reflectometer", {"time", "model.json", "--tdr"}, "result.svg", {"model.json"}, "--plot"},
            {"eye", {"time", "model.json", "--eye", "--rate", "1M"}, "result.csv", {"model.json"}},
            {"convert", {"convert", "data.s1p", "--parameters", "Y"}, "result.s1p", {"data.s1p"}, ""}};
  }

  /// One line on standard error that begins with the program and holds `part`, exit status 2, the old result
  /// and no other file than before.
  void expect_refusal(
      const Case& one, const Arguments& arguments, const std::string& part,
      const std::function<void()>& surroundings = [] {}) const {
    write(one.result, "old");
    const std::set<std::string> before = files();
    const int status = run(arguments, surroundings);
    if (status == not_allowed_here) {
      return;
    }
    EXPECT_EQ(status, 2) << one.name;
    const std::string text = errors();
    EXPECT_EQ(lines_of(text).size(), 1U) << one.name << ": " << text;
    EXPECT_TRUE(text.starts_with("polefit: ")) << one.name << ": " << text;
    EXPECT_NE(text.find(part), std::string::npos) << one.name << ": " << text;
    EXPECT_EQ(content_of(one.result), "old") << one.name;
    EXPECT_EQ(files(), before) << one.name;
    expect_inputs_untouched();
    std::filesystem::remove(one.result);
  }
  void expect_inputs_untouched() const { EXPECT_EQ(contents_of(input_files_), inputs_); }
  static std::string system_error_text(int number) {
    return "found the system error \"" + std::generic_category().message(number) + "\"";
  }

 private:
  const std::vector<std::string> input_files_{"data.s1p", "weights.txt", "waveform.csv", "model.json"};
  std::vector<std::string> inputs_;
};

TEST_F(Faults, none_and_every_command_writes_its_result) {
  for (const Case& one : cases()) {
    EXPECT_EQ(run(one.writing_to(one.result)), 0) << one.name << ": " << errors();
    EXPECT_GT(content_of(one.result).size(), 10U) << one.name;
    std::filesystem::remove(one.result);
  }
  expect_inputs_untouched();
}

TEST_F(Faults, an_input_that_is_missing_or_a_folder_is_told) {
  std::filesystem::create_directory("folder");
  for (const Case& one : cases()) {
    for (const std::string& input : one.inputs) {
      expect_refusal(one, one.reading(input, "missing"), "missing: " + system_error_text(ENOENT));
      expect_refusal(one, one.reading(input, "folder"), "folder: " + system_error_text(EISDIR));
    }
  }
}

TEST_F(Faults, an_input_that_nobody_may_read_is_told) {
  for (const Case& one : cases()) {
    for (const std::string& input : one.inputs) {
      std::filesystem::copy_file(input, "closed");
      std::filesystem::permissions("closed", std::filesystem::perms::none);
      expect_refusal(one, one.reading(input, "closed"), "closed: " + system_error_text(EACCES),
                     obey_permissions);
      std::filesystem::remove("closed");
    }
  }
}

TEST_F(Faults, an_input_may_be_a_pipe_which_is_read_once) {
  for (const Case& one : cases()) {
    for (const std::string& input : one.inputs) {
      // Under its own name, which tells the format.
      const std::string pipe = "pipe" + std::filesystem::path(input).extension().string();
      ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
      const std::string content = content_of(input);
      std::thread writer([&] { write(pipe, content); });
      EXPECT_EQ(run(one.reading(input, pipe)), 0) << one.name << ": " << errors();
      writer.join();
      std::filesystem::remove(pipe);
    }
  }
}

TEST_F(Faults, an_input_without_an_end_is_refused) {
  std::set<std::string> seen;
  for (const Case& one : cases()) {
    for (const std::string& input : one.inputs) {
      if (!seen.insert(input).second) {
        continue;  // each takes a second
      }
      expect_refusal(one, one.reading(input, "/dev/zero"), "/dev/zero: found a line of more than ");
    }
  }
}

TEST_F(Faults, a_place_for_the_result_that_is_none_is_told_before_anything_is_read) {
  write("file", "");
  for (const Case& one : cases()) {
    for (const char* folder : {"missing/", "file/"}) {
      Arguments arguments = one.writing_to(folder + one.result);
      std::replace(arguments.begin(), arguments.end(), one.inputs.front(), std::string("not_even_there"));
      expect_refusal(one, arguments, std::string(folder) + one.result + ": found the system error ");
    }
  }
}

TEST_F(Faults, a_folder_that_nobody_may_write_to_takes_no_result) {
  std::filesystem::create_directory("closed");
  std::filesystem::permissions("closed",
                               std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
  for (const Case& one : cases()) {
    expect_refusal(one, one.writing_to("closed/" + one.result), system_error_text(EACCES), obey_permissions);
  }
}

TEST_F(Faults, a_file_that_nobody_may_write_is_not_replaced) {
  for (const Case& one : cases()) {
    expect_refusal(one, one.writing_to(one.result),
                   one.result + ": " + system_error_text(EACCES) + ", expected a file that may be replaced",
                   [&] {
                     chmod(one.result.c_str(), 0400);
                     obey_permissions();
                   });
  }
}

TEST_F(Faults, a_limit_on_the_size_of_files_leaves_the_old_result) {
  for (const Case& one : cases()) {
    expect_refusal(one, one.writing_to(one.result), "", [] {
      const rlimit limit{.rlim_cur = 30, .rlim_max = 30};
      setrlimit(RLIMIT_FSIZE, &limit);
    });
  }
}

TEST_F(Faults, a_full_device_is_told) {
  std::filesystem::create_symlink("/dev/full", "full.svg");
  for (const Case& one : cases()) {
    expect_refusal(one, one.writing_to("full.svg"), "full.svg: " + system_error_text(ENOSPC));
    const auto full = [] { dup2(open("/dev/full", O_WRONLY), STDOUT_FILENO); };
    expect_refusal(one, one.writing_to("-"), "standard output: " + system_error_text(ENOSPC), full);
  }
}

TEST_F(Faults, devices_and_pipes_are_written_to_as_a_shell_would) {
  if (!system_has_process_files()) {
    GTEST_SKIP() << "the system shows no open files";
  }
  for (const Case& one : cases()) {
    ASSERT_EQ(run(one.writing_to(one.result)), 0) << one.name;
    const std::string whole = content_of(one.result);
    std::filesystem::create_symlink("/dev/null", "null.svg");
    EXPECT_EQ(run(one.writing_to("null.svg")), 0) << one.name << ": " << errors();
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
    std::filesystem::remove("null.svg");
    EXPECT_EQ(run(one.writing_to("/dev/stdout")), 0) << one.name << ": " << errors();
    EXPECT_TRUE(output() == whole) << one.name << ": " << output();
    EXPECT_GT(output().size(), 10U) << one.name;
    std::filesystem::remove(one.result);
  }
}

TEST_F(Faults, closed_standard_streams_never_let_a_message_into_a_file) {
  for (const Case& one : cases()) {
    for (const std::vector<int>& closed :
         std::vector<std::vector<int>>{{STDIN_FILENO},
                                       {STDOUT_FILENO},
                                       {STDERR_FILENO},
                                       {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}}) {
      ASSERT_EQ(run(one.writing_to(one.result)), 0) << one.name;
      const std::string whole = content_of(one.result);
      write(one.result, "old");
      const std::set<std::string> before = files();
      const int status =
          run(one.writing_to(one.result), [&] { std::for_each(closed.begin(), closed.end(), close); });
      EXPECT_TRUE(status == 0 || status == 2) << one.name << ": " << status;
      const std::string content = content_of(one.result);
      EXPECT_TRUE(content == whole || (status == 2 && content == "old")) << one.name << ": " << content;
      EXPECT_EQ(files(), before) << one.name;
      expect_inputs_untouched();
    }
    std::filesystem::remove(one.result);
  }
}

TEST_F(Faults, messages_never_go_into_an_input) {
  for (const Case& one : cases()) {
    for (const std::string& input : one.inputs) {
      const auto into_input = [&] { dup2(open(input.c_str(), O_WRONLY | O_APPEND), STDERR_FILENO); };
      write(one.result, "old");
      EXPECT_EQ(run(one.writing_to(one.result), into_input), 2) << one.name;
      EXPECT_EQ(output(), "polefit: standard error: found the file that is read as " + input +
                              ", expected another one\n");
      EXPECT_EQ(content_of(one.result), "old");
      const auto both_into_input = [&] {
        into_input();
        dup2(STDERR_FILENO, STDOUT_FILENO);
      };
      EXPECT_EQ(run(one.writing_to(one.result), both_into_input), 2) << one.name;
      expect_inputs_untouched();
    }
    std::filesystem::remove(one.result);
  }
}

TEST_F(Faults, a_result_and_a_table_in_one_file_are_refused) {
  for (const Case& one : cases()) {
    if (one.arguments.front() == "fit" || one.arguments.front() == "passivity") {
      expect_refusal(one, one.writing_to(one.result), "the file that another output goes to",
                     [&] { dup2(open(one.result.c_str(), O_WRONLY), STDOUT_FILENO); });
    }
  }
}

TEST_F(Faults, no_limit_on_memory_makes_a_run_hang_or_crash) {
  if (!address_space_is_ours) {
    GTEST_SKIP() << "the address sanitizer needs the address space";
  }
  constexpr int could_not_start = 127;
  for (const Case& one : cases()) {
    if (one.result.ends_with(".svg")) {
      continue;  // gnuplot has faults of its own
    }
    int succeeded = 0;
    for (rlim_t megabytes = 4; megabytes < 200; megabytes += megabytes < 24 ? 1 : 25) {
      write(one.result, "old");
      const int status = run(one.writing_to(one.result), [&] {
        const rlimit limit{.rlim_cur = megabytes << 20U, .rlim_max = megabytes << 20U};
        setrlimit(RLIMIT_AS, &limit);
      });
      EXPECT_TRUE(status == 0 || status == 2 || status == could_not_start)
          << one.name << " with " << megabytes << " MiB: " << status;
      EXPECT_TRUE(status == 0 || content_of(one.result) == "old")
          << one.name << " with " << megabytes << " MiB";
      succeeded += status == 0 ? 1 : 0;
    }
    EXPECT_GT(succeeded, 5) << one.name;
    std::filesystem::remove(one.result);
  }
}

TEST_F(Faults, a_fit_takes_no_more_memory_than_is_promised) {
  if (!address_space_is_ours) {
    GTEST_SKIP() << "the address sanitizer takes more";
  }
  struct Size {
    int ports;
    int samples;
    int poles;
  };
  for (const Size& size : {Size{2, 4000, 20}, Size{8, 500, 40}, Size{20, 300, 20}}) {
    std::string text = "# MHz S RI R 50\n";
    for (int k = 1; k <= size.samples; ++k) {
      text += std::to_string(k);
      for (int row = 0; row < size.ports; ++row) {
        for (int column = 0; column < size.ports; ++column) {
          const double pole = 10.0 + 7.0 * row + 3.0 * column;  // of the data, in MHz
          const std::complex<double> value = 0.1 / std::complex<double>(1.0, k / pole);
          text += " " + std::to_string(value.real()) + " " + std::to_string(value.imag());
        }
        text += size.ports > 2 && row + 1 < size.ports ? "\n" : "";
      }
      text += "\n";
    }
    const std::string name = "large.s" + std::to_string(size.ports) + "p";
    write(name, text);
    const auto memory = memory_of({"fit", name, "--poles", std::to_string(size.poles), "--iterations", "2",
                                   "--no-passive", "--threads", "2", "-q", "-o", "result.json"});
    EXPECT_TRUE(std::filesystem::exists("result.json")) << errors();
    const double responses = size.ports * size.ports;
    const double bytes = 8.0 * 0x1p20 + 32.0 * size.samples * responses +
                         24.0 * responses * size.poles * size.poles + 160.0 * size.samples * size.poles;
    EXPECT_GT(memory, 0x1p20);
    EXPECT_LE(memory, bytes) << size.ports;
    std::filesystem::remove("result.json");
  }
}

TEST_F(Faults, touchstone_is_read_in_little_more_memory_than_its_values) {
  if (!address_space_is_ours) {
    GTEST_SKIP() << "the address sanitizer takes more";
  }
  constexpr std::size_t ports = 72;
  constexpr std::size_t samples = 500;
  std::string record;
  for (std::size_t r = 0; r < ports * ports; ++r) {
    record += r % 4 == 0 && r > 0 ? "\n0.125 -0.25" : " 0.125 -0.25";
  }
  std::string text = "# MHz S RI R 50\n";
  for (std::size_t k = 1; k <= samples; ++k) {
    text += std::to_string(k) + record + "\n";
  }
  write("large.s72p", text);
  const double memory = memory_of({"info", "large.s72p"});
  EXPECT_NE(output().find("5184 responses, 500 samples"), std::string::npos) << errors();
  const double values = 16.0 * samples * ports * ports;
  EXPECT_GT(memory, values);
  EXPECT_LE(memory, 1.3 * values + 12.0 * 0x1p20);
}

TEST_F(Faults, parallel_writers_leave_one_whole_result) {
  for (const Case& one : cases()) {
    if (one.result.ends_with(".svg")) {
      continue;
    }
    ASSERT_EQ(run(one.writing_to(one.result)), 0) << one.name;
    const std::string whole = content_of(one.result);
    const std::set<std::string> before = files();
    std::vector<std::thread> writers;
    for (int i = 0; i < 4; ++i) {
      writers.emplace_back([&, i] {
        const std::string folder = "own" + std::to_string(i);
        std::filesystem::create_directory(folder);
        Arguments arguments = one.writing_to("../" + one.result);
        for (std::string& argument : arguments) {
          argument = std::filesystem::exists(argument) ? "../" + argument : argument;
        }
        for (int k = 0; k < 5; ++k) {
          EXPECT_EQ(run_program(POLEFIT_PROGRAM, arguments, folder), 0) << one.name;
        }
      });
    }
    for (std::thread& writer : writers) {
      writer.join();
    }
    EXPECT_TRUE(content_of(one.result) == whole) << one.name;
    for (int i = 0; i < 4; ++i) {
      std::filesystem::remove_all("own" + std::to_string(i));
    }
    EXPECT_EQ(files(), before) << one.name;
  }
}

TEST_F(Faults, a_signal_while_gnuplot_draws_ends_both_and_leaves_nothing) {
  std::filesystem::create_directory("bin");
  write("bin/gnuplot", "#!/bin/sh\necho $$ >process\nkill -$SIGNAL $PPID\nexec sleep 1000\n");
  std::filesystem::permissions("bin/gnuplot", std::filesystem::perms::owner_all);
  const std::string path = std::filesystem::absolute("bin").string() + ":" + std::getenv("PATH");
  for (const auto& ending :
       std::vector<std::pair<const char*, int>>{{"INT", SIGINT}, {"TERM", SIGTERM}, {"HUP", SIGHUP}}) {
    write("result.svg", "old");
    write("process", "");
    const std::set<std::string> before = files();
    const int status = run({"plot", "model.json", "data.s1p", "-o", "result.svg"}, [&] {
      setenv("PATH", path.c_str(), 1);
      setenv("SIGNAL", ending.first, 1);
    });
    EXPECT_EQ(status, 128 + ending.second);
    EXPECT_EQ(content_of("result.svg"), "old");
    EXPECT_EQ(files(), before);
    // Ended, though perhaps not taken note of at once.
    const std::string state = "/proc/" + lines_of(content_of("process")).at(0) + "/stat";
    const auto goes_on = [&] {
      std::ifstream stream(state);
      std::string text;
      return std::getline(stream, text) && text.find(") Z ") == std::string::npos;
    };
    for (int i = 0; i < 1000 && goes_on(); ++i) {
      usleep(1000);
    }
    EXPECT_FALSE(goes_on()) << ending.first;
  }
}

TEST_F(Faults, a_signal_that_is_ignored_stays_ignored) {
  std::filesystem::create_directory("bin");
  write("bin/gnuplot", "#!/bin/sh\nkill -HUP $PPID\necho '<?xml></svg>'\n");
  std::filesystem::permissions("bin/gnuplot", std::filesystem::perms::owner_all);
  const std::string path = std::filesystem::absolute("bin").string() + ":" + std::getenv("PATH");
  EXPECT_EQ(run({"plot", "model.json", "data.s1p", "-o", "result.svg"},
                [&] {
                  setenv("PATH", path.c_str(), 1);
                  static_cast<void>(std::signal(SIGHUP, SIG_IGN));
                }),
            0)
      << errors();
  EXPECT_EQ(content_of("result.svg"), "<?xml></svg>\n");
}

TEST_F(Faults, two_runs_give_the_same_bytes) {
  for (const Case& one : cases()) {
    if (one.result.ends_with(".svg")) {
      continue;
    }
    ASSERT_EQ(run(one.writing_to("first")), 0);
    ASSERT_EQ(run(one.writing_to("second")), 0);
    EXPECT_TRUE(content_of("first") == content_of("second")) << one.name;
  }
}

}  // namespace
