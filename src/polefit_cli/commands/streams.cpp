#include "polefit_cli/commands/streams.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <optional>

#include "text/io_error.hpp"
#include "text/whole_file.hpp"

namespace polefit_cli {
namespace {

/// What tells a regular file from all others.
struct FileIdentity {
  dev_t device;
  ino_t number;
  friend bool operator==(const FileIdentity&, const FileIdentity&) = default;
};

/// `descriptor` is that of the standard stream for which "-" stands.
std::optional<FileIdentity> identity_of(const std::string& name, int descriptor) {
  struct stat status = {};
  const int failed = is_standard_stream(name) ? ::fstat(descriptor, &status) : ::stat(name.c_str(), &status);
  if (failed != 0 || !S_ISREG(status.st_mode)) {
    return std::nullopt;
  }
  return FileIdentity{status.st_dev, status.st_ino};
}

}  // namespace

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

void refuse_output_that_is_an_input(const std::string& output, std::initializer_list<std::string> inputs) {
  const auto written = identity_of(output, STDOUT_FILENO);
  for (const std::string& input : inputs) {
    if (written && written == identity_of(input, STDIN_FILENO)) {
      throw text::IoError({.file = is_standard_stream(output) ? "standard output" : output,
                           .found = "the file that is read as " + shown_input(input),
                           .expected = "another one"});
    }
  }
}

}  // namespace polefit_cli
