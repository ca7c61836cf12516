#include "polefit_cli/commands/streams.hpp"

#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "text/io_error.hpp"
#include "text/whole_file.hpp"

namespace polefit_cli {

std::string read_input(const std::string& name) {
  return is_standard_stream(name) ? text::read_to_end(STDIN_FILENO, shown_input(name))
                                  : text::read_whole_file(name);
}

void write_output(const std::string& name, std::string_view content) {
  if (!is_standard_stream(name)) {
    text::replace_whole_file(name, content);
    return;
  }
  // What was printed before comes before.
  if (std::fflush(stdout) != 0) {
    throw text::system_io_error("standard output", errno, "the content to be written");
  }
  text::write_all(STDOUT_FILENO, content, "standard output");
}

}  // namespace polefit_cli
