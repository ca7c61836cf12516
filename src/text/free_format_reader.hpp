/// Free-format input: values separated by blanks, commas, slashes and record ends, spread as the user likes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace text {

/// Reads a text file, not a pipe, or text in memory, by free-format reads. Each read starts on a new record
/// and, when it has its values, drops the rest of the record in which it ended.
///
/// Values are separated by blanks, tabs, record ends (CR before LF counts as a blank) and by one comma,
/// which belongs to the value before it, also across a record's end. Two commas with nothing between, or
/// a comma at the start of a read, are a null value: its item keeps what it held. "r*value" stands for r
/// equal values, "r*" for r nulls; surplus repeats are dropped at the end of the read. A '/' ends the value
/// before it, if any, and then the read, its remaining items unchanged. A byte-order mark at the start of
/// the file is skipped, and the last record may lack its line end.
class FreeFormatReader {
 public:
  enum class Result { complete, end_of_file };

  /// Opens the file; `fixed_name` as system_file_name takes it. A failure is kept in open_error.
  explicit FreeFormatReader(std::string_view fixed_name);

  /// Reads `text`, which must outlive the reader; `name` is what messages show.
  static FreeFormatReader in_memory(std::string_view text, std::string name);

  /// The system's error number for a file that could not be opened, 0 for one that was.
  int open_error() const { return open_error_; }

  /// Reads values.size() real numbers (forms: parse_real) or integers (parse_integer) into `values`.
  /// Returns end_of_file when the file ends first; values read before that are already stored.
  /// Throws IoError for anything that is not a value, and when the system cannot read on.
  Result read(std::span<double> values);
  Result read(std::span<int> values);

  /// The error for a last read that ended the file, or did not, where it should not have. It names the
  /// record in which that read ended, or the one that is missing.
  [[noreturn]] void fail_at_last_read(int item, std::string found, std::string expected) const;

 private:
  struct Closer {
    void operator()(std::FILE* file) const { static_cast<void>(std::fclose(file)); }
  };

  FreeFormatReader() = default;

  template <class Value>
  Result read_values(std::span<Value> values);

  void skip_byte_order_mark();
  bool at_end(std::size_t ahead = 0);
  bool refill();
  bool is_blank_at(std::size_t ahead);
  void skip_blanks_and_record_ends();
  void skip_rest_of_record();
  std::string_view take_token();

  std::string name_;
  std::unique_ptr<std::FILE, Closer> file_;
  int open_error_ = 0;
  std::int64_t record_ = 1;            // at the reading position
  std::int64_t last_read_record_ = 1;  // of the last value looked for
  std::vector<char> buffer_;           // of a file
  const char* bytes_ = nullptr;        // of buffer_ or of the text in memory
  std::size_t begin_ = 0;              // the unread part of bytes_ is [begin_, end_)
  std::size_t end_ = 0;
  bool exhausted_ = false;  // the last byte has been delivered
};

}  // namespace text
