#include "polefit_cli/commands/streams.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <optional>
#include <utility>
#include <vector>

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

[[noreturn]] void refuse_output(const std::string& output, std::string found) {
  throw text::IoError({.file = is_standard_stream(output) ? "standard output" : output,
                       .found = std::move(found),
                       .expected = "another one"});
}

/// Turns standard error away from a file that is an input.
void keep_messages_out_of(std::initializer_list<std::string> inputs) {
  const auto messages = identity_of("-", STDERR_FILENO);
  const auto printed = identity_of("-", STDOUT_FILENO);
  for (const std::string& input : inputs) {
    const auto read = identity_of(input, STDIN_FILENO);
    if (messages && messages == read) {
      // What only can be read takes the place of a stream that is of no use.
      const int other = printed == read ? ::open("/dev/null", O_RDONLY | O_CLOEXEC) : STDOUT_FILENO;
      static_cast<void>(::dup2(other, STDERR_FILENO));
      throw text::IoError({.file = "standard error",
                           .found = "the file that is read as " + shown_input(input),
                           .expected = "another one"});
    }
  }
}

}  // namespace

std::string read_input(const std::string& name) {
  return is_standard_stream(name) ? text::read_text(STDIN_FILENO, shown_input(name))
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

void check_outputs(std::initializer_list<std::string> outputs, std::initializer_list<std::string> inputs) {
  keep_messages_out_of(inputs);
  std::vector<FileIdentity> written;
  bool printed = false;
  for (const std::string& output : outputs) {
    if (is_standard_stream(output) && std::exchange(printed, true)) {
      continue;
    }
    const auto identity = identity_of(output, STDOUT_FILENO);
    for (const std::string& input : inputs) {
      if (identity && identity == identity_of(input, STDIN_FILENO)) {
        refuse_output(output, "the file that is read as " + shown_input(input));
      }
    }
    if (identity && std::find(written.begin(), written.end(), *identity) != written.end()) {
      refuse_output(output, "the file that another output goes to");
    }
    if (identity) {
      written.push_back(*identity);
    }
    if (!output.empty() && !is_standard_stream(output)) {
      text::check_target(output);
    }
  }
}

}  // namespace polefit_cli
