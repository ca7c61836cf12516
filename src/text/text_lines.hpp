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

/// What ends a line.
enum class LineEnds {
  lf,        ///< LF, or CR LF
  lf_or_cr,  ///< LF, CR LF, or a CR by itself
};

/// The lines of a text, without their ends and without a byte-order mark before the first. The last line may
/// lack its end. The text must outlive its lines.
class TextLines {
 public:
  explicit TextLines(std::string_view text, LineEnds ends = LineEnds::lf)
      : text_(without_byte_order_mark(text)), ends_(ends), newline_(text_.find('\n')) {}

  /// Goes on to the next line; false when there is none.
  bool next() {
    if (begin_ >= text_.size()) {
      return false;
    }
    if (newline_ < begin_) {
      newline_ = text_.find('\n', begin_);
    }
    newline_ = std::min(newline_, text_.size());
    line_ = text_.substr(begin_, newline_ - begin_);
    if (ends_ == LineEnds::lf_or_cr) {
      line_ = line_.substr(0, line_.find('\r'));
    } else if (line_.ends_with('\r')) {
      line_.remove_suffix(1);
    }
    begin_ += line_.size() + 1;
    if (begin_ == newline_) {  // of a CR LF
      ++begin_;
    }
    ++number_;
    return true;
  }

  std::string_view line() const { return line_; }
  std::int64_t number() const { return number_; }  ///< counted from 1
  /// The number of bytes behind the line.
  std::size_t left() const { return text_.size() - std::min(begin_, text_.size()); }

 private:
  std::string_view text_;
  LineEnds ends_;
  std::string_view line_;
  std::size_t begin_ = 0;  // of what follows the line
  std::size_t newline_;    // the first LF that is not before begin_, kept, as a line may end in a CR
  std::int64_t number_ = 0;
};

}  // namespace text
