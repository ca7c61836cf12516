#include "text/standard_streams.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

namespace text {

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

void print_error(std::string_view program, std::string_view message) noexcept {
  static_cast<void>(std::fprintf(stderr, "%.*s: %.*s\n", static_cast<int>(program.size()), program.data(),
                                 static_cast<int>(message.size()), message.data()));
}

}  // namespace text
