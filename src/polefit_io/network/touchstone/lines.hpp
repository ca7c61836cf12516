/// Lines of a Touchstone text, and the words on them.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "text/text_lines.hpp"

namespace polefit_io {

constexpr bool is_blank(char c) { return c == ' ' || c == '\t'; }

/// Takes the first word off the text; it is empty when there is none.
inline std::string_view take_word(std::string_view& text) {
  const auto begin = std::find_if_not(text.begin(), text.end(), is_blank);
  const auto end = std::find_if(begin, text.end(), is_blank);
  const std::string_view word(begin, end);
  text = std::string_view(end, text.end());
  return word;
}

/// The number of words of a text.
inline std::size_t words_in(std::string_view text) {
  std::size_t count = 0;
  while (!take_word(text).empty()) {
    ++count;
  }
  return count;
}

/// The lines of a text, ended by LF, CR LF or CR, that hold something beside comment and blanks.
class TouchstoneLines {
 public:
  explicit TouchstoneLines(std::string_view text) : lines_(text, text::LineEnds::lf_or_cr) {}

  /// Goes on to the next line; false when there is none.
  bool next() {
    line_ = {};
    while (line_.empty() && lines_.next()) {
      line_ = lines_.line();
      line_ = text::without_blanks(line_.substr(0, line_.find('!')));
    }
    return !line_.empty();
  }

  /// Without comment and outer blanks.
  std::string_view line() const { return line_; }
  /// Counted from 1 among all lines of the text; that of its last line at the end.
  std::int64_t number() const { return lines_.number(); }
  /// The number of bytes behind the line.
  std::size_t left() const { return lines_.left(); }

 private:
  text::TextLines lines_;
  std::string_view line_;
};

}  // namespace polefit_io
