/// Commands whose n-th allocation fails, for every n: each ends in one line, leaves the files as they were,
/// and lets the next one succeed.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <new>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "polefit_cli/commands/command_line.hpp"
#include "polefit_cli/commands/commands.hpp"
#include "polefit_cli/commands/program.hpp"
#include "support.hpp"
#include "text/whole_file.hpp"

namespace {

/// Allocations until the one that fails; below 0 for never.
std::atomic<long> allocations_left{-1};
/// Whether all behind it fail too.
std::atomic<bool> for_good{false};
std::atomic<bool> has_failed{false};

bool fails() {
  long left = allocations_left;
  while (left > 0 && !allocations_left.compare_exchange_weak(left, left - 1)) {
  }
  if (left != 0) {
    return false;
  }
  has_failed = true;
  allocations_left = for_good ? 0 : -1;
  return true;
}

void* allocated(std::size_t size) {
  void* const memory = fails() ? nullptr : std::malloc(std::max<std::size_t>(1, size));
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}

void* allocated(std::size_t size, std::align_val_t alignment) {
  const auto multiple = static_cast<std::size_t>(alignment);
  const std::size_t rounded = (std::max<std::size_t>(1, size) + multiple - 1) / multiple * multiple;
  void* const memory = fails() ? nullptr : std::aligned_alloc(multiple, rounded);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}

}  // namespace

// All that the program is made of allocates through these.
void* operator new(std::size_t size) { return allocated(size); }
void* operator new[](std::size_t size) { return allocated(size); }
void* operator new(std::size_t size, std::align_val_t alignment) { return allocated(size, alignment); }
void* operator new[](std::size_t size, std::align_val_t alignment) { return allocated(size, alignment); }
// Sorting asks for room that it can do without.
void* operator new(std::size_t size, const std::nothrow_t& /*unused*/) noexcept {
  return fails() ? nullptr : std::malloc(std::max<std::size_t>(1, size));
}
void* operator new[](std::size_t size, const std::nothrow_t& /*unused*/) noexcept {
  return fails() ? nullptr : std::malloc(std::max<std::size_t>(1, size));
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, std::align_val_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::align_val_t) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept { std::free(memory); }

namespace {

using namespace testing_support;
using polefit_cli::bad_input;

/// Standard output and standard error in memory, as long as this lives.
class Redirected {
 public:
  Redirected()
      : output_(dup(STDOUT_FILENO)), errors_(dup(STDERR_FILENO)), messages_(memfd_create("messages", 0)) {
    std::fflush(stdout);
    dup2(messages_, STDOUT_FILENO);
    dup2(messages_, STDERR_FILENO);
  }
  Redirected(const Redirected&) = delete;
  Redirected& operator=(const Redirected&) = delete;
  ~Redirected() {
    dup2(output_, STDOUT_FILENO);
    dup2(errors_, STDERR_FILENO);
    for (const int descriptor : {output_, errors_, messages_}) {
      close(descriptor);
    }
  }
  std::string messages() const {
    std::fflush(stdout);
    lseek(messages_, 0, SEEK_SET);
    return text::read_to_end(messages_, "messages");
  }

 private:
  int output_;
  int errors_;
  int messages_;
};

class Memory : public InOwnDirectory {
 protected:
  void SetUp() override {
    // Where thousands of files take no time.
    if (access("/dev/shm", W_OK) == 0) {
      setenv("TMPDIR", "/dev/shm", 1);
    }
    InOwnDirectory::SetUp();
    // 0.5 / (1 + j f / 2)
    write("data.s1p",
          "# Hz S RI R 50\n0 0.5 0\n1 0.4 -0.2\n2 0.25 -0.25\n3 0.153846153846154 -0.230769230769231\n4 0.1 "
          "-0.2\n"
          "6 0.05 -0.15\n8 0.0294117647058824 -0.117647058823529\n");
    ASSERT_EQ(end_of(whole_program({"fit", "data.s1p", "--poles", "1", "-q", "-o", "model.json"}), -1).status,
              0);
  }

  static void write(const std::string& name, const std::string& content) {
    std::ofstream(name, std::ios::binary) << content;
  }

  using Run = std::function<int()>;
  struct End {
    int status;
    std::string messages;
  };

  /// How a run ends when an allocation behind so many fails.
  static End end_of(const Run& run, long allocations) {
    const Redirected redirected;
    has_failed = false;
    allocations_left = allocations;
    const int status = run();
    allocations_left = -1;
    return {status, redirected.messages()};
  }

  static Run whole_program(std::vector<const char*> arguments) {
    return [arguments = std::move(arguments)] { return polefit_cli::run_program(arguments); };
  }
  /// Without its command line, which takes most of the allocations and the same for all commands.
  static Run command_alone(const std::vector<const char*>& arguments) {
    const auto parsed = polefit_cli::parse_command_line(arguments);
    return [command = std::get<polefit_cli::Command>(parsed)] { return polefit_cli::run_command(command); };
  }

  static void expect_told(const std::string& messages, long allocations) {
    EXPECT_TRUE(messages.ends_with("polefit: there is not enough memory\n"))
        << messages << "at " << allocations;
  }

  /// The result is the old one or the whole new one, and nothing is beside it.
  static void expect_unharmed(const std::string& result, const std::string& whole, std::size_t count,
                              long allocations) {
    const std::string content = content_of(result);
    EXPECT_TRUE(content == "old" || content == whole) << "at " << allocations;
    EXPECT_EQ(files(), count) << "at " << allocations;
    if (content != "old") {
      write(result, "old");
    }
  }

  /// Fails at every `stride`-th allocation from `first` on, one run after the other, until there is none left
  /// to fail, and says in `reached` how far it got. What a single failure does not keep from its end must end
  /// as without it.
  static void expect_refusals_from(long first, long stride, const Run& run, const std::string& result,
                                   const std::string& whole, std::atomic<long>& reached) {
    const std::size_t count = files();
    int status = bad_input;
    for (long allocations = first; status != 0 || has_failed; allocations += stride) {
      reached = allocations;
      const End end = end_of(run, allocations);
      status = end.status;
      if (status == 0) {
        EXPECT_TRUE(content_of(result) == whole) << "at " << allocations;
      } else {
        EXPECT_EQ(status, bad_input) << "at " << allocations;
        expect_told(end.messages, allocations);
      }
      expect_unharmed(result, whole, count, allocations);
      if (HasFailure()) {
        std::fflush(stdout);
        _exit(1);
      }
    }
  }

  /// The same in processes of their own: where a run ends the process, that is one of the orderly ends, and
  /// the next process goes on behind it.
  static void expect_refusals(const Run& run, const std::string& result, long stride = 1) {
    const End usual = end_of(run, -1);
    ASSERT_EQ(usual.status, 0) << usual.messages;
    const std::string whole = content_of(result);
    const std::size_t count = files();
    write(result, "old");
    void* const shared =
        mmap(nullptr, sizeof(std::atomic<long>), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(shared, MAP_FAILED);
    auto& reached = *new (shared) std::atomic<long>;
    for (const bool all_behind : {true, false}) {
      for_good = all_behind;
      reached = -stride;
      for (int status = bad_input; status == bad_input;) {
        const long next = reached + stride;
        const pid_t child = fork();
        if (child == 0) {
          polefit_cli::end_without_memory();
          expect_refusals_from(next, stride, run, result, whole, reached);
          _exit(0);
        }
        int ended = 0;
        ASSERT_EQ(waitpid(child, &ended, 0), child);
        ASSERT_TRUE(WIFEXITED(ended)) << "signal " << WTERMSIG(ended) << " at " << reached;
        status = WEXITSTATUS(ended);
        ASSERT_NE(status, 1) << "at " << reached;
        expect_unharmed(result, whole, count, reached);
      }
      EXPECT_GT(reached, 100) << "these are not the allocations of the program";
    }
    munmap(shared, sizeof(std::atomic<long>));
  }

  static std::size_t files() {
    const std::filesystem::directory_iterator folder(".");
    return static_cast<std::size_t>(std::distance(begin(folder), end(folder)));
  }
};

TEST_F(Memory, that_does_not_suffice_for_a_whole_run_is_told_in_one_line) {
  expect_refusals(whole_program({"eval", "model.json", "--grid", "1", "-o", "result"}), "result");
}

TEST_F(Memory, that_does_not_suffice_for_a_fit_is_told_in_one_line) {
  expect_refusals(command_alone({"fit", "data.s1p", "--poles", "1", "--threads", "2", "-o", "result"}),
                  "result");
}

TEST_F(Memory, that_does_not_suffice_for_a_search_is_told_in_one_line) {
  expect_refusals(command_alone({"fit", "data.s1p", "--error", "0.01", "-o", "result"}), "result");
}

TEST_F(Memory, that_does_not_suffice_for_an_export_is_told_in_one_line) {
  for (const char* format : {"--spice", "--state-space", "--touchstone", "--csv", "--s-solver"}) {
    expect_refusals(command_alone({"export", "model.json", format, "-o", "result"}), "result");
  }
}

TEST_F(Memory, that_does_not_suffice_for_a_response_in_time_is_told_in_one_line) {
  expect_refusals(command_alone({"time", "model.json", "--step", "--points", "20", "-o", "result"}),
                  "result");
}

TEST_F(Memory, that_does_not_suffice_for_waveforms_of_a_file_is_told_in_one_line) {
  write("waveform.csv", "0,0\n1,1\n");
  expect_refusals(
      command_alone({"time", "model.json", "--file", "waveform.csv", "--points", "20", "-o", "result"}),
      "result");
}

TEST_F(Memory, that_does_not_suffice_for_an_eye_is_told_in_one_line) {
  constexpr long some = 7;
  expect_refusals(
      command_alone({"time", "model.json", "--eye", "--rate", "1", "--bits", "64", "-o", "result"}), "result",
      some);
}

TEST_F(Memory, that_does_not_suffice_for_a_conversion_is_told_in_one_line) {
  for (const char* result : {"result.s1p", "result.csv"}) {
    expect_refusals(command_alone({"convert", "data.s1p", result, "--parameters", "Y"}), result);
    std::filesystem::remove(result);
  }
}

TEST_F(Memory, that_does_not_suffice_for_a_picture_is_told_in_one_line) {
  // In the place of gnuplot, which takes its time.
  std::filesystem::create_directory("bin");
  write("bin/gnuplot", "#!/bin/sh\necho '<?xml></svg>'\n");
  std::filesystem::permissions("bin/gnuplot", std::filesystem::perms::owner_all);
  const std::string before = std::getenv("PATH");
  setenv("PATH", (std::filesystem::absolute("bin").string() + ":" + before).c_str(), 1);
  expect_refusals(command_alone({"plot", "model.json", "--poles", "-o", "result.svg"}), "result.svg");
  constexpr long some = 11;  // every one would take a minute
  expect_refusals(command_alone({"plot", "model.json", "data.s1p", "-o", "result.svg"}), "result.svg", some);
  expect_refusals(command_alone({"passivity", "model.json", "-o", "result.svg"}), "result.svg", some);
  for (const char* kind : {"--step", "--tdr"}) {
    expect_refusals(command_alone({"time", "model.json", kind, "--plot", "result.svg"}), "result.svg", some);
  }
  setenv("PATH", before.c_str(), 1);
}

}  // namespace
