#include "s_solver/console/console.hpp"

#include <cerrno>
#include <cstdio>
#include <string>

#include "text/io_error.hpp"

namespace s_solver {
namespace {

[[noreturn]] void fail_on_standard_output(int error_number) {
  throw text::system_io_error("standard output", error_number, "the record to be written");
}

}  // namespace

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

}  // namespace s_solver
