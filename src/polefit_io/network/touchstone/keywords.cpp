#include "polefit_io/network/touchstone/keywords.hpp"

#include <algorithm>
#include <array>
#include <cstddef>

#include "polefit_io/network/touchstone/lines.hpp"
#include "text/letters.hpp"
#include "text/text_lines.hpp"

namespace polefit_io {
namespace {

// In the order of Keyword.
constexpr std::array<std::string_view, 13> names{"Version",
                                                 "Number of Ports",
                                                 "Two-Port Data Order",
                                                 "Number of Frequencies",
                                                 "Number of Noise Frequencies",
                                                 "Reference",
                                                 "Matrix Format",
                                                 "Mixed-Mode Order",
                                                 "Begin Information",
                                                 "End Information",
                                                 "Network Data",
                                                 "Noise Data",
                                                 "End"};
static_assert(names.size() == static_cast<std::size_t>(Keyword::end) + 1);

/// Whether the words of `text` are those of `name`, in any case.
bool same_words(std::string_view text, std::string_view name) {
  for (;;) {
    const std::string_view word = take_word(text);
    const std::string_view expected = take_word(name);
    if (!text::equal_in_any_case(word, text::lower_case(expected))) {
      return false;
    }
    if (word.empty()) {
      return true;
    }
  }
}

}  // namespace

std::string shown(Keyword keyword) {
  return "[" + std::string(names.at(static_cast<std::size_t>(keyword))) + "]";
}

std::optional<KeywordLine> keyword_line(std::string_view line) {
  const std::size_t close = line.find(']');
  if (!line.starts_with('[') || close == std::string_view::npos) {
    return std::nullopt;
  }
  const auto* const found = std::find_if(names.begin(), names.end(), [&](std::string_view name) {
    return same_words(line.substr(1, close - 1), name);
  });
  if (found == names.end()) {
    return std::nullopt;
  }
  return KeywordLine{.keyword = static_cast<Keyword>(found - names.begin()),
                     .rest = text::without_blanks(line.substr(close + 1))};
}

}  // namespace polefit_io
