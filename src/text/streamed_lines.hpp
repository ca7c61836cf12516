/// Lines of a text that is read block by block, so that no more of it than a line is ever in memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "text/whole_file.hpp"

namespace text {

/// The lines of a text, ended by LF, CR LF or a CR by itself, without their ends and without a byte-order
/// mark before the first. The last line may lack its end. The text is in memory, or comes from an open file
/// or pipe.
class StreamedLines {
 public:
  /// `text` must outlive the lines.
  explicit StreamedLines(std::string_view text);
  /// Those of `begun`, which has been read already, and of what is left to read from the open file, which
  /// messages call `shown`. All functions throw IoError when it cannot be read on or exceeds the limits.
  StreamedLines(int descriptor, std::string shown, std::string begun = {},
                const TextLimits& limits = text_limits());
  StreamedLines(const StreamedLines&) = delete;
  StreamedLines& operator=(const StreamedLines&) = delete;

  /// Goes on to the next line; false when there is none.
  bool next();

  /// Valid until the next call of anything that goes on.
  std::string_view line() const { return {data_ + line_begin_, line_size_}; }
  /// Counted from 1; before the first line 0, at the end that of the last one.
  std::int64_t number() const { return number_; }

  /// Keeps the text from the line at hand on, or from the start before the first, until `rewind`.
  void mark();
  /// Makes the line that was marked the next one.
  void rewind();

  /// The text from the marked line on, which ends the lines.
  std::string take_rest();

 private:
  void skip_byte_order_mark();
  std::size_t line_end();
  bool refill();
  [[noreturn]] void refuse(std::string found, std::string expected) const;

  static constexpr int no_file = -1;

  int descriptor_ = no_file;
  std::string shown_;
  TextLimits limits_;
  std::string buffer_;          // of a file
  const char* data_ = nullptr;  // the bytes of the buffer, or of the text in memory
  std::size_t size_ = 0;
  std::size_t begin_ = 0;    // of what follows the line at hand
  std::size_t newline_ = 0;  // the first LF from begin_ on, or looked_ where there is none before
  std::size_t looked_ = 0;   // kept, as a line may end in a CR
  std::size_t line_begin_ = 0;
  std::size_t line_size_ = 0;
  std::int64_t number_ = 0;
  bool after_cr_ = false;  // the line at hand ended in a CR, of which an LF that follows is a part
  bool exhausted_ = true;  // the file has been read to its end
  bool marked_ = false;
  std::size_t mark_ = 0;
  std::int64_t mark_number_ = 0;
  std::uint64_t bytes_ = 0;  // read so far
};

}  // namespace text
