/// Text in memory line by line.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "text/byte_order_mark.hpp"

namespace text {

/// `text` without the blanks and tabs at its ends.
inline std::string_view without_blanks(std::string_view text) {
  constexpr std::string_view blanks = " \t";
  const std::size_t first = text.find_first_not_of(blanks);
  return first == std::string_view::npos ? std::string_view()
                                         : text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

/// The lines of a text, ended by LF or CR LF, without their ends and without a byte-order mark before the
/// first. The last line may lack its end. The text must outlive its lines.
class TextLines {
 public:
  explicit TextLines(std::string_view text) : text_(without_byte_order_mark(text)) {}

  /// Goes on to the next line; false when there is none.
  bool next() {
    if (begin_ >= text_.size()) {
      return false;
    }
    const std::size_t end = std::min(text_.find('\n', begin_), text_.size());
    line_ = text_.substr(begin_, end - begin_);
    begin_ = end + 1;
    if (line_.ends_with('\r')) {
      line_.remove_suffix(1);
    }
    ++number_;
    return true;
  }

  std::string_view line() const { return line_; }
  std::int64_t number() const { return number_; }  ///< counted from 1

 private:
  std::string_view text_;
  std::string_view line_;
  std::size_t begin_ = 0;  // of what follows the line
  std::int64_t number_ = 0;
};

}  // namespace text
