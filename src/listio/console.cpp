#include "listio/console.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <string>

#include "listio/io_error.hpp"

namespace s_solver {
namespace {

[[noreturn]] void fail_on_standard_output(int error_number) {
  throw system_io_error("standard output", error_number, "the record to be written");
}

}  // namespace

void prepare_standard_streams() {
  static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
  static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
  // A read-only descriptor keeps the number occupied while every write to it still fails.
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(descriptor, F_GETFD) == -1) {
      static_cast<void>(open("/dev/null", O_RDONLY));
    }
  }
}

void print_line(std::string_view record) {
  std::string line(record);
  line += '\n';
  if (std::fwrite(line.data(), 1, line.size(), stdout) != line.size() || std::fflush(stdout) != 0) {
    fail_on_standard_output(errno);
  }
}

void close_standard_output() {
  if (std::fclose(stdout) != 0) {
    fail_on_standard_output(errno);
  }
}

void print_error(std::string_view program, std::string_view message) noexcept {
  static_cast<void>(std::fprintf(stderr, "%.*s: %.*s\n", static_cast<int>(program.size()), program.data(),
                                 static_cast<int>(message.size()), message.data()));
}

}  // namespace s_solver
