#include "text/output_file.hpp"

#include <cassert>
#include <cerrno>
#include <cstddef>

#include "text/file_name.hpp"
#include "text/io_error.hpp"

namespace text {
namespace {

// Large enough that the system call costs little beside the copy, small enough to stay in the cache.
constexpr std::size_t pending_limit = std::size_t{1} << 16;

}  // namespace

OutputFile::OutputFile(std::string_view fixed_name)
    : name_(without_trailing_blanks(fixed_name)),
      file_(std::fopen(system_file_name(fixed_name).c_str(), "wb")) {
  if (!file_) {
    throw system_io_error(name_, errno, "a file that can be created or replaced");
  }
  static_cast<void>(std::setvbuf(file_.get(), nullptr, _IONBF, 0));  // pending_ is the buffer
}

void OutputFile::write_record(std::string_view record) {
  assert(file_);
  pending_ += record;
  pending_ += '\n';
  if (pending_.size() >= pending_limit) {
    flush_pending();
  }
}

void OutputFile::close() {
  assert(file_);
  flush_pending();
  if (std::fclose(file_.release()) != 0) {
    throw system_io_error(name_, errno, "the file to be closed with all its records");
  }
}

void OutputFile::flush_pending() {
  if (std::fwrite(pending_.data(), 1, pending_.size(), file_.get()) != pending_.size()) {
    throw system_io_error(name_, errno, "the records to be written");
  }
  pending_.clear();
}

}  // namespace text
