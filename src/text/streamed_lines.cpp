#include "text/streamed_lines.hpp"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "text/byte_order_mark.hpp"
#include "text/io_error.hpp"

namespace text {
namespace {

// Large enough that the calls of the system do not count, small enough for a processor's cache.
constexpr std::size_t block = std::size_t{1} << 18;

/// Where `c` stands in [begin, end) of the bytes, or end.
std::size_t place_of(const char* data, char c, std::size_t begin, std::size_t end) {
  const void* const found = begin < end ? std::memchr(data + begin, c, end - begin) : nullptr;
  return found == nullptr ? end : static_cast<std::size_t>(static_cast<const char*>(found) - data);
}

}  // namespace

StreamedLines::StreamedLines(std::string_view text) : data_(text.data()), size_(text.size()) {
  skip_byte_order_mark();
}

StreamedLines::StreamedLines(int descriptor, std::string shown, std::string begun, const TextLimits& limits)
    : descriptor_(descriptor),
      shown_(std::move(shown)),
      limits_(limits),
      buffer_(std::move(begun)),
      data_(buffer_.data()),
      size_(buffer_.size()),
      exhausted_(false),
      bytes_(size_) {
  while (size_ < byte_order_mark.size() && refill()) {
  }
  skip_byte_order_mark();
}

void StreamedLines::skip_byte_order_mark() {
  if (std::string_view(data_, size_).starts_with(byte_order_mark)) {
    begin_ = byte_order_mark.size();
  }
  line_begin_ = begin_;
}

void StreamedLines::refuse(std::string found, std::string expected) const {
  throw IoError({.file = shown_, .found = std::move(found), .expected = std::move(expected)});
}

/// Reads another block behind what is kept; false at the end of the file.
bool StreamedLines::refill() {
  if (exhausted_) {
    return false;
  }
  const std::size_t kept = marked_ ? std::min(mark_, begin_) : begin_;
  std::memmove(buffer_.data(), buffer_.data() + kept, size_ - kept);
  size_ -= kept;
  begin_ -= kept;
  newline_ -= std::min(newline_, kept);
  looked_ -= std::min(looked_, kept);
  line_begin_ -= std::min(line_begin_, kept);
  mark_ -= std::min(mark_, kept);
  if (buffer_.size() < size_ + block) {
    buffer_.resize(std::max(size_ + block, 2 * size_));
  }
  data_ = buffer_.data();
  for (;;) {
    const ssize_t count = ::read(descriptor_, buffer_.data() + size_, buffer_.size() - size_);
    if (count < 0 && errno == EINTR) {
      continue;
    }
    if (count < 0) {
      throw system_io_error(shown_, errno, "a file that can be read");
    }
    size_ += static_cast<std::size_t>(count);
    bytes_ += static_cast<std::uint64_t>(count);
    exhausted_ = count == 0;
    break;
  }
  if (bytes_ > limits_.bytes) {
    refuse("more than " + std::to_string(limits_.bytes) + " bytes", "a file of at most as many");
  }
  return !exhausted_;
}

/// Where the line that begins at begin_ ends.
std::size_t StreamedLines::line_end() {
  std::size_t searched = begin_;  // without a CR up to here
  for (;;) {
    if (newline_ < begin_) {
      newline_ = looked_ = begin_;
    }
    if (newline_ == looked_ && looked_ < size_) {
      newline_ = place_of(data_, '\n', looked_, size_);
      looked_ = std::min(newline_ + 1, size_);
    }
    const std::size_t end = place_of(data_, '\r', searched, newline_);
    if (end < size_) {
      return end;
    }
    const std::size_t length = size_ - begin_;
    if (descriptor_ != no_file && length > limits_.line) {
      refuse("a line of more than " + std::to_string(limits_.line) + " bytes", "text in lines");
    }
    if (!refill()) {
      return size_;
    }
    searched = begin_ + length;
  }
}

bool StreamedLines::next() {
  if (begin_ == size_ && !refill()) {
    line_begin_ = begin_;
    line_size_ = 0;
    return false;
  }
  if (after_cr_ && data_[begin_] == '\n') {
    ++begin_;
    after_cr_ = false;
    return next();
  }
  const std::size_t end = line_end();
  line_begin_ = begin_;
  line_size_ = end - begin_;
  after_cr_ = end < size_ && data_[end] == '\r';
  begin_ = std::min(end + 1, size_);
  ++number_;
  return true;
}

void StreamedLines::mark() {
  marked_ = true;
  mark_ = line_begin_;
  mark_number_ = number_ == 0 ? 0 : number_ - 1;
}

void StreamedLines::rewind() {
  begin_ = mark_;
  number_ = mark_number_;
  after_cr_ = false;
  newline_ = looked_ = begin_;
  line_begin_ = begin_;
  line_size_ = 0;
  marked_ = false;
}

std::string StreamedLines::take_rest() {
  std::string rest(data_ + mark_, size_ - mark_);
  begin_ = line_begin_ = size_;
  line_size_ = 0;
  marked_ = false;
  if (descriptor_ == no_file || exhausted_) {
    return rest;
  }
  const TextLimits left{.bytes = limits_.bytes - static_cast<std::size_t>(bytes_) + rest.size(),
                        .line = limits_.line};
  exhausted_ = true;
  buffer_ = {};
  data_ = buffer_.data();
  size_ = begin_ = line_begin_ = 0;
  return read_text(descriptor_, shown_, left, std::move(rest));
}

}  // namespace text
