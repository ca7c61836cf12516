/// Lines of a Touchstone text, and the words on them.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "text/streamed_lines.hpp"
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
  /// `text` must outlive the lines.
  explicit TouchstoneLines(text::StreamedLines& text) : lines_(&text) {}

  /// Goes on to the next line; false when there is none.
  bool next() {
    return next([](std::string_view, std::int64_t) {});
  }

  /// The same; lines on the way that are a comment alone are shown, without their mark, with their number.
  template <class OnComment>
  bool next(const OnComment& on_comment) {
    line_ = {};
    while (line_.empty() && lines_->next()) {
      const std::string_view whole = lines_->line();
      const std::size_t mark = whole.find('!');
      line_ = text::without_blanks(whole.substr(0, mark));
      if (line_.empty() && mark != std::string_view::npos) {
        on_comment(whole.substr(mark + 1), lines_->number());
      }
    }
    return !line_.empty();
  }

  /// Without comment and outer blanks. Valid until the next call of anything that goes on.
  std::string_view line() const { return line_; }
  /// Counted from 1 among all lines of the text; that of its last line at the end.
  std::int64_t number() const { return lines_->number(); }

  /// Does what looks ahead, and is at the same line again.
  template <class Look>
  auto looked_ahead(const Look& look) {
    lines_->mark();
    const auto result = look();
    lines_->rewind();
    next();
    return result;
  }

 private:
  text::StreamedLines* lines_;
  std::string_view line_;
};

}  // namespace polefit_io
