#include "text/free_format_reader.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

#include "text/byte_order_mark.hpp"
#include "text/file_name.hpp"
#include "text/io_error.hpp"
#include "text/number_text.hpp"

namespace text {
namespace {

constexpr std::size_t buffer_size = std::size_t{1} << 16;
// Far beyond any number; a file without separators is refused here instead of being held in memory.
constexpr std::size_t longest_value = std::size_t{1} << 20;

bool parse(std::string_view token, double& value) { return parse_real(token, value); }
bool parse(std::string_view token, int& value) { return parse_integer(token, value); }

constexpr std::string_view expected_form(double) { return "a real number"; }
constexpr std::string_view expected_form(int) { return "an integer from -2147483648 to 2147483647"; }

/// "r*value" and "r*" taken apart; a token without a repeat counts once.
struct RepeatedToken {
  std::size_t count = 1;
  bool is_null = false;
  std::string_view value;
};

/// Takes the repeat count off `token`, limited to `most`, beyond which repeats are dropped anyway.
/// A count that is not a positive integer is left on the value, which then fails to parse.
RepeatedToken split_repeat(std::string_view token, std::size_t most) {
  const std::size_t star = token.find('*');
  if (star == std::string_view::npos || star == 0) {
    return {.value = token};
  }
  std::size_t count = 0;
  for (const char c : token.substr(0, star)) {
    if (c < '0' || c > '9') {
      return {.value = token};
    }
    count = std::min(most, count * 10 + static_cast<std::size_t>(c - '0'));
  }
  if (count == 0) {
    return {.value = token};
  }
  const std::string_view value = token.substr(star + 1);
  return {.count = count, .is_null = value.empty(), .value = value};
}

/// The error number for a file of a kind that cannot be read from start to end again and again, 0 for any
/// other: opening a pipe waits for somebody to write, and some systems open a directory.
int unreadable_kind(const std::string& system_name) {
  std::error_code ignored;
  switch (std::filesystem::status(system_name, ignored).type()) {
    case std::filesystem::file_type::directory:
      return EISDIR;
    case std::filesystem::file_type::fifo:
      return ESPIPE;
    default:
      return 0;
  }
}

}  // namespace

FreeFormatReader::FreeFormatReader(std::string_view fixed_name) : name_(without_trailing_blanks(fixed_name)) {
  const std::string system_name = system_file_name(fixed_name);
  open_error_ = unreadable_kind(system_name);
  if (open_error_ == 0) {
    file_.reset(std::fopen(system_name.c_str(), "rb"));
    open_error_ = file_ ? 0 : errno;
  }
  if (open_error_ != 0) {
    return;
  }
  static_cast<void>(std::setvbuf(file_.get(), nullptr, _IONBF, 0));  // buffer_ is the buffer
  buffer_.resize(buffer_size);
  skip_byte_order_mark();
}

FreeFormatReader FreeFormatReader::in_memory(std::string_view text, std::string name) {
  FreeFormatReader reader;
  reader.name_ = std::move(name);
  reader.bytes_ = text.data();
  reader.end_ = text.size();
  reader.exhausted_ = true;
  reader.skip_byte_order_mark();
  return reader;
}

FreeFormatReader::Result FreeFormatReader::read(std::span<double> values) { return read_values(values); }

FreeFormatReader::Result FreeFormatReader::read(std::span<int> values) { return read_values(values); }

void FreeFormatReader::fail_at_last_read(int item, std::string found, std::string expected) const {
  throw IoError({.file = name_,
                 .record = last_read_record_,
                 .item = item,
                 .found = std::move(found),
                 .expected = std::move(expected)});
}

template <class Value>
FreeFormatReader::Result FreeFormatReader::read_values(std::span<Value> values) {
  std::size_t item = 0;
  bool comma_belongs_to_value = false;
  while (item < values.size()) {
    skip_blanks_and_record_ends();
    last_read_record_ = record_;
    if (at_end()) {
      return Result::end_of_file;
    }
    if (bytes_[begin_] == '/') {
      break;
    }
    if (bytes_[begin_] == ',') {
      ++begin_;
      item += comma_belongs_to_value ? 0 : 1;
      comma_belongs_to_value = false;
      continue;
    }

    const std::string_view token = take_token();
    if (token.size() > longest_value) {
      fail_at_last_read(static_cast<int>(item) + 1,
                        "a value of more than " + std::to_string(longest_value) + " characters",
                        std::string(expected_form(Value{})));
    }
    const RepeatedToken repeated = split_repeat(token, values.size());
    Value value{};
    if (!repeated.is_null && !parse(repeated.value, value)) {
      fail_at_last_read(static_cast<int>(item) + 1, excerpt(token), std::string(expected_form(value)));
    }
    const std::size_t stop = std::min(values.size(), item + repeated.count);
    for (; item < stop; ++item) {
      if (!repeated.is_null) {
        values[item] = value;
      }
    }
    comma_belongs_to_value = true;
  }
  skip_rest_of_record();
  return Result::complete;
}

void FreeFormatReader::skip_byte_order_mark() {
  if (!at_end(byte_order_mark.size() - 1) &&
      std::string_view(bytes_ + begin_, byte_order_mark.size()) == byte_order_mark) {
    begin_ += byte_order_mark.size();
  }
}

/// Whether the file ends at or before `ahead` bytes from the reading position; reads on to find out.
bool FreeFormatReader::at_end(std::size_t ahead) {
  while (begin_ + ahead >= end_) {
    if (!refill()) {
      return true;
    }
  }
  return false;
}

/// Adds bytes behind the unread part, which moves to the front; false when the file has no more.
bool FreeFormatReader::refill() {
  if (exhausted_) {
    return false;
  }
  std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
  end_ -= begin_;
  begin_ = 0;
  if (end_ == buffer_.size()) {
    buffer_.resize(2 * buffer_.size());  // one value longer than the buffer
  }
  bytes_ = buffer_.data();
  const std::size_t room = buffer_.size() - end_;
  const std::size_t count = std::fread(buffer_.data() + end_, 1, room, file_.get());
  if (count < room && std::ferror(file_.get()) != 0) {
    throw system_io_error(name_, errno, "a file that can be read", record_);
  }
  end_ += count;
  exhausted_ = count < room;
  return count > 0;
}

/// Whether the byte `ahead` of the reading position, which must exist, is a blank, a tab, or a CR at the
/// end of its record.
bool FreeFormatReader::is_blank_at(std::size_t ahead) {
  const char c = bytes_[begin_ + ahead];
  return c == ' ' || c == '\t' || (c == '\r' && (at_end(ahead + 1) || bytes_[begin_ + ahead + 1] == '\n'));
}

void FreeFormatReader::skip_blanks_and_record_ends() {
  while (!at_end()) {
    if (bytes_[begin_] == '\n') {
      ++record_;
    } else if (!is_blank_at(0)) {
      return;
    }
    ++begin_;
  }
}

void FreeFormatReader::skip_rest_of_record() {
  while (!at_end()) {
    const void* const line_end = std::memchr(bytes_ + begin_, '\n', end_ - begin_);
    if (line_end != nullptr) {
      begin_ = static_cast<std::size_t>(static_cast<const char*>(line_end) - bytes_) + 1;
      ++record_;
      return;
    }
    begin_ = end_;
  }
  ++record_;  // also behind a last record without its line end
}

/// The characters up to the next separator, or one more than a value may have; valid until the next member is
/// called.
std::string_view FreeFormatReader::take_token() {
  std::size_t length = 1;
  while (length <= longest_value && !at_end(length)) {
    const char c = bytes_[begin_ + length];
    if (c == ',' || c == '/' || c == '\n' || is_blank_at(length)) {
      break;
    }
    ++length;
  }
  const std::string_view token(bytes_ + begin_, length);
  begin_ += length;
  return token;
}

}  // namespace text
