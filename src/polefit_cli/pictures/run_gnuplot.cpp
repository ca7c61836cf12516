#include "polefit_cli/pictures/run_gnuplot.hpp"

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <optional>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "text/io_error.hpp"
#include "text/signals_held.hpp"
#include "text/whole_file.hpp"

namespace polefit_cli {
namespace {

constexpr const char* program = "gnuplot";

[[noreturn]] void fail(std::string found, std::string expected) {
  throw text::IoError({.file = program, .found = std::move(found), .expected = std::move(expected)});
}

[[noreturn]] void fail_with(int error_number, const std::string& expected) {
  throw text::system_io_error(program, error_number, expected);
}

/// A file without a name, in memory: one process writes it whole before the other reads it, so that neither
/// waits for the other or finds it gone.
class NamelessFile {
 public:
  NamelessFile() {
    const int first = ::memfd_create("polefit", MFD_CLOEXEC);
    // Not a number of a standard stream, should one be closed: those are about to be replaced.
    number_ = first < 0 ? first : ::fcntl(first, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int error = errno;
    if (first >= 0) {
      ::close(first);
    }
    if (number_ < 0) {
      fail_with(error, "memory for its input and output");
    }
  }
  NamelessFile(const NamelessFile&) = delete;
  NamelessFile& operator=(const NamelessFile&) = delete;
  ~NamelessFile() { ::close(number_); }
  int number() const { return number_; }

  void fill(std::string_view text) const {
    text::write_all(number_, text, "gnuplot");
    rewind();
  }

  std::string content() const {
    rewind();
    return text::read_to_end(number_, "gnuplot");
  }

 private:
  void rewind() const {
    if (::lseek(number_, 0, SEEK_SET) != 0) {
      fail_with(errno, "its input and output to be read from the start");
    }
  }

  int number_ = -1;
};

/// The caller's variables but for the locale, in which gnuplot fails to convert its own degree sign unless
/// that is UTF-8; this one needs no package.
class Environment {
 public:
  Environment() {
    constexpr std::string_view locale = "LC_ALL=";
    for (char** variable = environ; variable != nullptr && *variable != nullptr; ++variable) {
      if (!std::string_view(*variable).starts_with(locale)) {
        variables_.push_back(*variable);
      }
    }
    variables_.push_back(locale_.data());
    variables_.push_back(nullptr);
  }
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;
  ~Environment() = default;
  char* const* variables() const { return variables_.data(); }

 private:
  std::string locale_ = "LC_ALL=C.UTF-8";
  std::vector<char*> variables_;
};

/// How a process is started: its standard streams, and signals as a shell would leave them.
class Start {
 public:
  Start(const NamelessFile& input, const NamelessFile& output, const NamelessFile& messages) {
    check(posix_spawn_file_actions_init(&files_));
    check(posix_spawnattr_init(&attributes_));
    check(posix_spawn_file_actions_adddup2(&files_, input.number(), STDIN_FILENO));
    check(posix_spawn_file_actions_adddup2(&files_, output.number(), STDOUT_FILENO));
    check(posix_spawn_file_actions_adddup2(&files_, messages.number(), STDERR_FILENO));
    sigset_t signals;
    sigemptyset(&signals);
    check(posix_spawnattr_setsigmask(&attributes_, &signals));
    sigaddset(&signals, SIGPIPE);
    check(posix_spawnattr_setsigdefault(&attributes_, &signals));
    check(posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF));
  }
  Start(const Start&) = delete;
  Start& operator=(const Start&) = delete;
  ~Start() {
    posix_spawn_file_actions_destroy(&files_);
    posix_spawnattr_destroy(&attributes_);
  }

  pid_t run() const {
    std::string name = program;
    std::string plain = "-d";  // no settings of the user or the system
    std::string standard_input = "-";
    const std::array<char*, 4> arguments = {name.data(), plain.data(), standard_input.data(), nullptr};
    const Environment environment;
    pid_t process = 0;
    const int error =
        posix_spawnp(&process, program, &files_, &attributes_, arguments.data(), environment.variables());
    if (error == ENOENT) {
      fail("no program of that name in PATH",
           "gnuplot to draw the picture, as the package gnuplot-nox has it");
    }
    check(error);
    return process;
  }

 private:
  static void check(int error) {
    if (error != 0) {
      fail_with(error, "the program to start");
    }
  }

  posix_spawn_file_actions_t files_{};
  posix_spawnattr_t attributes_{};
};

/// The process that draws, 0 when there is none.
std::atomic<pid_t> drawing_process{0};

/// The status of the process if it has ended.
std::optional<int> ended(pid_t process) {
  int status = 0;
  const pid_t found = ::waitpid(process, &status, WNOHANG);
  if (found < 0 && errno != EINTR) {
    fail_with(errno, "the program to end");
  }
  return found == process ? std::optional(status) : std::nullopt;
}

/// The status of the process when it has ended. What takes too long is ended itself.
int wait_for(pid_t process, std::chrono::seconds limit) {
  constexpr std::chrono::milliseconds longest_pause(10);
  const auto start = std::chrono::steady_clock::now();
  std::chrono::milliseconds pause(1);
  for (;;) {
    if (const std::optional<int> status = ended(process)) {
      return *status;
    }
    if (std::chrono::steady_clock::now() - start > limit) {
      ::kill(process, SIGKILL);
      ::waitpid(process, nullptr, 0);
      fail("no end after " + std::to_string(limit.count()) + " seconds", "a picture");
    }
    std::this_thread::sleep_for(pause);
    pause = std::min(2 * pause, longest_pause);
  }
}

/// Starts the process, which is known as the one that draws until it has ended.
int status_of(const Start& start, std::chrono::seconds limit) {
  struct Known {
    Known() = default;
    Known(const Known&) = delete;
    Known& operator=(const Known&) = delete;
    ~Known() { drawing_process = 0; }
  };
  const Known known;
  {
    const text::SignalsHeld held;
    drawing_process = start.run();
  }
  return wait_for(drawing_process, limit);
}

/// The beginning of what gnuplot said, on one line.
std::string first_words(const std::string& messages) {
  constexpr std::size_t longest = 300;
  std::string words;
  for (const char c : messages) {
    const bool blank = static_cast<unsigned char>(c) <= ' ';
    if (!blank) {
      words += c;
    } else if (!words.empty() && words.back() != ' ') {
      words += ' ';
    }
  }
  if (!words.empty() && words.back() == ' ') {
    words.pop_back();
  }
  return words.size() > longest ? words.substr(0, longest) + "..." : words;
}

bool is_whole(std::string_view picture, PictureFormat format) {
  // The end may have a line end behind it.
  const std::string_view tail = picture.substr(picture.size() - std::min<std::size_t>(picture.size(), 32));
  const auto is = [&](std::string_view beginning, std::string_view end) {
    return picture.starts_with(beginning) && tail.find(end) != std::string_view::npos;
  };
  switch (format) {
    case PictureFormat::png:
      return is("\x89PNG\r\n\x1A\n", "IEND");
    case PictureFormat::pdf:
      return is("%PDF-", "%%EOF");
    case PictureFormat::svg:
      break;
  }
  return is("<?xml", "</svg>");
}

void check_end(int status, const std::string& messages) {
  std::string how;
  if (WIFSIGNALED(status)) {
    how = "an end by signal " + std::to_string(WTERMSIG(status));
  } else if (WEXITSTATUS(status) != 0) {
    how = "exit status " + std::to_string(WEXITSTATUS(status));
  }
  if (!how.empty()) {
    fail(how + (messages.empty() ? "" : " and the message \"" + messages + "\""), "a picture");
  }
}

}  // namespace

void end_drawing() noexcept {
  if (const pid_t process = drawing_process.load(); process != 0) {
    ::kill(process, SIGKILL);
  }
}

Drawing draw(const std::string& script, PictureFormat format, std::chrono::seconds limit) {
  const NamelessFile input;
  const NamelessFile output;
  const NamelessFile messages;
  input.fill(script);
  const int status = status_of(Start(input, output, messages), limit);
  Drawing drawing{output.content(), first_words(messages.content())};
  check_end(status, drawing.messages);
  if (!is_whole(drawing.picture, format)) {
    const std::string size = drawing.picture.empty() ? "no output" : "output that is not a whole picture";
    fail(size + (drawing.messages.empty() ? "" : " and the message \"" + drawing.messages + "\""),
         "a picture");
  }
  return drawing;
}

}  // namespace polefit_cli
