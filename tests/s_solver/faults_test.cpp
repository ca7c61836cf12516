/// Whole runs in bad surroundings: which message, which exit status, which files are left alone.

#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <termios.h>

#include <cmath>
#include <cstdlib>
#include <functional>
#include <utility>

#include "bad_surroundings.hpp"
#include "run_program.hpp"
#include "support.hpp"

namespace s_solver {
namespace {

using namespace testing_support;

constexpr std::string_view earlier_content = "left by an earlier run\n";
// f = 1 / (s + 2) at 1, 2 and 3 Hz, shortened.
constexpr std::string_view samples = "1 0.046 -0.144\n2 0.0124 -0.0777\n3 0.0056 -0.0525\n";

class Faults : public InOwnDirectory {
 protected:
  void SetUp() override {
    InOwnDirectory::SetUp();
    write_data("f_data.in", samples);
    write_data("f_data.ini", "1\n2\n");
    write_data("Tarn.coe", earlier_content);
    write_data("f_data.out", earlier_content);
  }

  static int run(
      const std::function<void()>& surroundings = [] {}, const std::string& program = "S_Solver") {
    return run_program(std::filesystem::path(S_SOLVER_PROGRAM_FOLDER) / program, {"noconst", "nosterm"}, ".",
                       surroundings);
  }
  static std::string output() { return content_of("stdout"); }
  static std::string errors() { return content_of("stderr"); }

  /// Takes a data file away, for something else in its place.
  void remove(const std::string& name) const { std::filesystem::remove(data(name)); }

  void expect_results_untouched() const {
    EXPECT_EQ(content_of(data("Tarn.coe")), earlier_content);
    EXPECT_EQ(content_of(data("f_data.out")), earlier_content);
  }
  void expect_input_untouched() const { EXPECT_EQ(content_of(data("f_data.in")), samples); }

  /// One line on standard error that begins with the program and holds `part`; exit status 2.
  static void expect_error(int status, const std::string& part) {
    EXPECT_EQ(status, 2);
    const std::string text = errors();
    EXPECT_EQ(lines_of(text).size(), 1U) << text;
    EXPECT_TRUE(text.starts_with("S_Solver: ")) << text;
    EXPECT_NE(text.find(part), std::string::npos) << text;
  }
  /// The run ends as for a sample file that cannot be opened.
  void expect_no_sample_file(int status) const {
    EXPECT_EQ(status, 0);
    EXPECT_EQ(lines_of(output()),
              (std::vector<std::string>{" Lese Daten", " Error opening file: ..\\tmp_S_Par\\f_data.in"}));
    EXPECT_EQ(errors(), "");
    expect_results_untouched();
  }
};

/// A file that holds something else each time it is read to its end: the line of a terminal, on which an end
/// of file is typed behind each content.
class ChangingFile {
 public:
  explicit ChangingFile(std::initializer_list<std::string_view> contents)
      : keyboard_(posix_openpt(O_RDWR | O_NOCTTY)) {
    if (keyboard_ < 0 || grantpt(keyboard_) != 0 || unlockpt(keyboard_) != 0) {
      return;
    }
    // Held open here too: the last one to close a terminal throws away what was typed.
    terminal_ = open(ptsname(keyboard_), O_RDWR | O_NOCTTY);
    for (const std::string_view content : contents) {
      const std::string typed = std::string(content) + '\4';
      EXPECT_EQ(write(keyboard_, typed.data(), typed.size()), static_cast<ssize_t>(typed.size()));
    }
  }
  ChangingFile(const ChangingFile&) = delete;
  ChangingFile& operator=(const ChangingFile&) = delete;
  ~ChangingFile() {
    close(terminal_);
    close(keyboard_);
  }
  bool exists() const { return terminal_ >= 0; }
  std::string name() const { return ptsname(keyboard_); }

 private:
  int keyboard_;
  int terminal_ = -1;
};

TEST_F(Faults, none_and_the_run_is_completed) {
  EXPECT_EQ(run(), 0);
  EXPECT_NE(content_of(data("Tarn.coe")), earlier_content);
  EXPECT_NE(content_of(data("f_data.out")), earlier_content);
}

TEST_F(Faults, a_directory_in_the_place_of_the_sample_file_cannot_be_opened) {
  remove("f_data.in");
  std::filesystem::create_directory(data("f_data.in"));
  expect_no_sample_file(run());
}

TEST_F(Faults, a_pipe_in_the_place_of_the_sample_file_cannot_be_opened_and_is_not_waited_for) {
  remove("f_data.in");
  ASSERT_EQ(mkfifo(data("f_data.in").c_str(), 0600), 0);
  expect_no_sample_file(run());
}

TEST_F(Faults, a_loop_of_links_in_the_place_of_the_sample_file_cannot_be_opened) {
  remove("f_data.in");
  std::filesystem::create_symlink("f_data.in", data("f_data.in"));
  expect_no_sample_file(run());
}

TEST_F(Faults, a_missing_data_directory_is_a_missing_sample_file) {
  std::filesystem::rename(data("").parent_path(), "elsewhere");
  EXPECT_EQ(run(), 0);
  EXPECT_NE(output().find("Error opening file:"), std::string::npos);
}

TEST_F(Faults, an_unreadable_sample_file_cannot_be_opened) {
  std::filesystem::permissions(data("f_data.in"), std::filesystem::perms::none);
  const int status = run(obey_permissions);
  if (status == not_allowed_here) {
    GTEST_SKIP() << "root reads every file here";
  }
  expect_no_sample_file(status);
}

TEST_F(Faults, a_number_cut_off_by_the_end_of_the_file_is_refused) {
  write_data("f_data.in", "1 0.046 -0.144\n2 0.0124 -0.0777\n3 0.0056 -5.25e-");
  expect_error(run(), "record 3, item 3: found \"-5.25e-\", expected a real number");
  expect_results_untouched();
}

TEST_F(Faults, a_sample_file_that_grows_between_the_two_readings_is_an_input_error) {
  const ChangingFile file{samples, std::string(samples) + "4 0.0031 -0.0396\n"};
  if (!file.exists()) {
    GTEST_SKIP() << "no terminals here";
  }
  remove("f_data.in");
  std::filesystem::create_symlink(file.name(), data("f_data.in"));
  expect_error(run([] { alarm(60); }),
               "..\\tmp_S_Par\\f_data.in, record 4: found more samples than were counted, the file changed "
               "while it was being read, expected 3 samples");
  expect_results_untouched();
}

TEST_F(Faults, a_sample_file_that_shrinks_between_the_two_readings_is_fitted_as_it_is_then) {
  const ChangingFile file{samples, samples.substr(0, samples.find("3 "))};
  if (!file.exists()) {
    GTEST_SKIP() << "no terminals here";
  }
  remove("f_data.in");
  std::filesystem::create_symlink(file.name(), data("f_data.in"));
  EXPECT_EQ(run([] { alarm(60); }), 0);
  EXPECT_EQ(words_of(lines_of(output()).at(1)).back(), "2");
  EXPECT_EQ(words_of(lines_of(output()).at(2)), (std::vector<std::string>{"fmin=", "1", "fmax=", "2"}));
  EXPECT_EQ(lines_of(content_of(data("f_data.out"))).size(), 4U);
}

TEST_F(Faults, a_sample_file_that_fails_while_it_is_read_is_an_input_error) {
  if (!system_has_process_files()) {
    GTEST_SKIP() << "no file of this system opens and cannot be read";
  }
  remove("f_data.in");
  std::filesystem::create_symlink("/proc/self/mem", data("f_data.in"));
  expect_error(run(), "..\\tmp_S_Par\\f_data.in, record 1: ");
  expect_results_untouched();
}

TEST_F(Faults, zero_bytes_in_a_value_are_shown_and_refused) {
  write_data("f_data.in", std::string_view("1 2 3\n4 \0\0 6\n", 13));
  expect_error(run(), "record 2, item 2: found \"\\x00\\x00\", expected a real number");
  expect_results_untouched();
}

TEST_F(Faults, a_line_of_10_megabytes_is_no_burden) {
  write_data("f_data.in", "1 0.046 -0.144 " + std::string(10'000'000, 'x') + "\n2 0.0124 -0.0777\n");
  EXPECT_EQ(run([] { alarm(60); }), 0);
  EXPECT_NE(output().find("samples read=            2"), std::string::npos);
}

TEST_F(Faults, a_value_of_10_megabytes_is_refused) {
  write_data("f_data.in", "1 0.046 " + std::string(10'000'000, '7') + "\n");
  expect_error(run(), "record 1, item 3: found a value of more than 1048576 characters");
  expect_results_untouched();
}

TEST_F(Faults, a_directory_in_the_place_of_the_settings_file_is_reported_and_one_pole_fitted) {
  remove("f_data.ini");
  std::filesystem::create_directory(data("f_data.ini"));
  EXPECT_EQ(run(), 0);
  EXPECT_NE(output().find(" Beim OEffenen der ini Datei ist ein Fehler Nr. "), std::string::npos);
  EXPECT_NE(output().find(" Iteration:            1  error="), std::string::npos);
}

TEST_F(Faults, garbage_in_the_settings_file_is_an_input_error) {
  write_data("f_data.ini", "\x7f\x45LF\x02\x01");
  expect_error(
      run(),
      "..\\tmp_S_Par\\f_data.ini, record 1, item 1: found \"\\x7FELF\\x02\\x01\", expected an integer");
  expect_results_untouched();
}

TEST_F(Faults, an_order_beyond_a_limit_on_memory_is_a_memory_error) {
  if (!address_space_is_ours) {
    GTEST_SKIP() << "the address sanitizer needs more address space than the limit leaves";
  }
  write_data("f_data.ini", "100000\n2\n");
  const int status = run([] {
    const rlimit limit{.rlim_cur = rlim_t{1} << 30, .rlim_max = rlim_t{1} << 30};
    setrlimit(RLIMIT_AS, &limit);
  });
  expect_error(status,
               "out of memory: found no room for the array hrmat, expected 10000000000 elements of 8 bytes");
  expect_results_untouched();
}

TEST_F(Faults, no_limit_on_memory_makes_the_run_hang_or_crash) {
  if (!address_space_is_ours) {
    GTEST_SKIP() << "the address sanitizer needs more address space than the limits leave";
  }
  // The one program needs memory for matrices of 1000 x 1000, the other for its BLAS.
  std::string many;
  for (int k = 1; k <= 600; ++k) {
    many += std::to_string(k) + ' ' + std::to_string(std::sin(k * k)) + ' ' +
            std::to_string(std::cos(k * k)) + '\n';
  }
  write_data("f_data.in", many);
  for (const auto& [program, order] : {std::pair("S_Solver", 500), std::pair("S_Solver_svd", 1)}) {
    SCOPED_TRACE(program);
    write_data("f_data.ini", std::to_string(order) + "\n1\n");
    bool refused = false;
    bool completed = false;
    for (const rlim_t mebibytes : {50U, 60U, 80U, 150U, 200U, 300U}) {
      const auto limited = [mebibytes] {
        alarm(60);
        const rlimit limit{.rlim_cur = mebibytes << 20, .rlim_max = mebibytes << 20};
        setrlimit(RLIMIT_AS, &limit);
      };
      const int status = run(limited, program);
      EXPECT_TRUE(status == 0 || status == 2) << status << " with " << mebibytes << " MiB";
      refused = refused || status == 2;
      completed = completed || (status == 0 && output().find(" Iteration:") != std::string::npos);
    }
    EXPECT_TRUE(refused);
    EXPECT_TRUE(completed);
  }
}

TEST_F(Faults, a_result_file_on_a_full_disk_is_an_output_error) {
  for (const char* const name : {"Tarn.coe", "f_data.out"}) {
    SCOPED_TRACE(name);
    remove(name);
    std::filesystem::create_symlink("/dev/full", data(name));
    expect_error(run(), std::string("..\\tmp_S_Par\\") + name +
                            ": found the system error \"No space left on device\"");
    remove(name);
    write_data(name, earlier_content);
  }
  expect_input_untouched();
}

TEST_F(Faults, a_result_file_that_cannot_be_created_is_an_output_error) {
  remove("Tarn.coe");
  std::filesystem::create_directory(data("Tarn.coe"));
  expect_error(run(), "..\\tmp_S_Par\\Tarn.coe: found the system error \"Is a directory\"");
  EXPECT_EQ(content_of(data("f_data.out")), earlier_content);
  expect_input_untouched();
}

TEST_F(Faults, a_result_file_without_permission_to_write_is_an_output_error) {
  for (const char* const name : {"Tarn.coe", "f_data.out"}) {
    SCOPED_TRACE(name);
    std::filesystem::permissions(data(name), std::filesystem::perms::owner_read);
    const int status = run(obey_permissions);
    if (status == not_allowed_here) {
      GTEST_SKIP() << "root writes every file here";
    }
    expect_error(status,
                 std::string("..\\tmp_S_Par\\") + name + ": found the system error \"Permission denied\"");
    EXPECT_EQ(content_of(data(name)), earlier_content);
    std::filesystem::permissions(data(name), std::filesystem::perms::owner_all);
  }
  expect_input_untouched();
}

TEST_F(Faults, a_missing_result_directory_is_an_output_error) {
  std::filesystem::remove_all(data("").parent_path());
  expect_error(run([] {}, "S_Solver_set1"),
               "..\\tmp_S_Par\\Tarn.coe: found the system error \"No such file or directory\"");
}

TEST_F(Faults, a_disk_that_fills_up_while_a_result_is_written_is_an_output_error) {
  std::string many;
  for (int k = 1; k <= 100; ++k) {
    many += std::to_string(k) + " 1 0\n";
  }
  const int status = run([&] {
    // Four pages: one a file, and none for the second page of the plot file.
    const std::string disk = data("").parent_path();
    if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("tmpfs", disk.c_str(), "tmpfs", 0, "size=16k") != 0) {
      _exit(not_allowed_here);
    }
    write_data("f_data.in", many);
    write_data("f_data.ini", "0\n0\n");
  });
  if (status == not_allowed_here) {
    GTEST_SKIP() << "only root mounts a disk";
  }
  expect_error(status, "..\\tmp_S_Par\\f_data.out: found the system error \"No space left on device\"");
}

TEST_F(Faults, a_limit_on_the_size_of_files_is_an_output_error) {
  std::string many;
  for (int k = 1; k <= 100; ++k) {
    many += std::to_string(k) + " 1 0\n";
  }
  write_data("f_data.in", many);
  write_data("f_data.ini", "0\n0\n");
  const int status = run([] {
    const rlimit limit{.rlim_cur = 4096, .rlim_max = 4096};
    setrlimit(RLIMIT_FSIZE, &limit);
  });
  expect_error(status, "..\\tmp_S_Par\\f_data.out: found the system error \"File too large\"");
}

TEST_F(Faults, a_full_standard_output_is_an_output_error) {
  const int status = run([] { dup2(open("/dev/full", O_WRONLY), STDOUT_FILENO); });
  expect_error(status, "standard output: found the system error \"No space left on device\"");
  expect_results_untouched();
}

TEST_F(Faults, a_closed_standard_output_is_an_output_error) {
  expect_error(run([] { close(STDOUT_FILENO); }),
               "standard output: found the system error \"Bad file descriptor\"");
  expect_results_untouched();
  expect_input_untouched();
}

TEST_F(Faults, closed_standard_streams_never_let_a_message_into_a_file) {
  EXPECT_EQ(run([] {
              for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
                close(descriptor);
              }
            }),
            2);
  expect_results_untouched();
  expect_input_untouched();
}

TEST_F(Faults, two_runs_give_the_same_bytes) {
  EXPECT_EQ(run(), 0);
  const std::string first[] = {output(), content_of(data("Tarn.coe")), content_of(data("f_data.out"))};
  EXPECT_EQ(run(), 0);
  const std::string second[] = {output(), content_of(data("Tarn.coe")), content_of(data("f_data.out"))};
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(first[i], second[i]);
  }
}

}  // namespace
}  // namespace s_solver
