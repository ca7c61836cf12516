#include "polefit_io/network/header_cell.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

#include "text/letters.hpp"
#include "text/text_lines.hpp"

namespace polefit_io {
namespace {

enum class Word { none, real, imaginary, magnitude, phase, decibels, degrees, radians };

constexpr std::array<std::pair<std::string_view, Word>, 17> words{{{"re", Word::real},
                                                                   {"real", Word::real},
                                                                   {"im", Word::imaginary},
                                                                   {"imag", Word::imaginary},
                                                                   {"imaginary", Word::imaginary},
                                                                   {"mag", Word::magnitude},
                                                                   {"magnitude", Word::magnitude},
                                                                   {"abs", Word::magnitude},
                                                                   {"phase", Word::phase},
                                                                   {"arg", Word::phase},
                                                                   {"ang", Word::phase},
                                                                   {"angle", Word::phase},
                                                                   {"db", Word::decibels},
                                                                   {"deg", Word::degrees},
                                                                   {"degrees", Word::degrees},
                                                                   {"rad", Word::radians},
                                                                   {"radians", Word::radians}}};
constexpr std::array<std::pair<std::string_view, int>, 5> units{
    {{"hz", 0}, {"khz", 3}, {"mhz", 6}, {"ghz", 9}, {"thz", 12}}};

constexpr std::string_view blanks_and_underscore = " \t_";
constexpr std::string_view opening = "([{";
constexpr std::string_view closing = ")]}";

/// The second of the pair whose first is `text` in any case, or `otherwise`.
template <class Table, class Value>
Value look_up(const Table& table, std::string_view text, Value otherwise) {
  const auto* const found = std::find_if(table.begin(), table.end(), [&](const auto& entry) {
    return text::equal_in_any_case(text, entry.first);
  });
  return found == table.end() ? otherwise : found->second;
}

Word word_of(std::string_view text) { return look_up(words, text::without_blanks(text), Word::none); }

/// What is within the brackets, when `text` begins with one and its partner ends it.
std::optional<std::string_view> within_brackets(std::string_view text) {
  const std::size_t kind = text.empty() ? std::string_view::npos : opening.find(text.front());
  if (kind == std::string_view::npos || text.back() != closing[kind]) {
    return std::nullopt;
  }
  std::size_t depth = 0;
  for (std::size_t i = 0; i + 1 < text.size(); ++i) {
    depth += text[i] == opening[kind] ? 1U : 0U;
    depth -= text[i] == closing[kind] ? 1U : 0U;
    if (depth == 0) {
      return std::nullopt;
    }
  }
  return text::without_blanks(text.substr(1, text.size() - 2));
}

struct Split {
  Word word = Word::none;
  std::string_view name;
};

/// "S11 re", "S11_re", "S11 (re)".
Split word_behind(std::string_view cell) {
  const bool bracketed = !cell.empty() && closing.find(cell.back()) != std::string_view::npos;
  const std::size_t at = cell.find_last_of(bracketed ? opening : blanks_and_underscore);
  if (at == std::string_view::npos) {
    return {};
  }
  const std::string_view end = cell.substr(at);
  const Word word = word_of(bracketed ? within_brackets(end).value_or("") : end.substr(1));
  const std::string_view name = text::without_blanks(cell.substr(0, at));
  return name.empty() ? Split{} : Split{.word = word, .name = name};
}

/// "re S11", "re_S11", "re(S11)".
Split word_before(std::string_view cell) {
  const std::size_t word_end =
      std::min(cell.find_first_of(blanks_and_underscore), cell.find_first_of(opening));
  if (word_end == std::string_view::npos) {
    return {};
  }
  const bool bracketed = opening.find(cell[word_end]) != std::string_view::npos;
  const std::string_view rest = text::without_blanks(cell.substr(word_end + (bracketed ? 0 : 1)));
  const std::string_view name = within_brackets(rest).value_or(bracketed ? "" : rest);
  return name.empty() ? Split{} : Split{.word = word_of(cell.substr(0, word_end)), .name = name};
}

Split split(std::string_view cell) {
  for (const Split& found : {word_behind(cell), word_before(cell)}) {
    if (found.word != Word::none) {
      return found;
    }
  }
  if (cell.size() > 2 && cell.front() == '|' && cell.back() == '|') {
    return {.word = Word::magnitude, .name = text::without_blanks(cell.substr(1, cell.size() - 2))};
  }
  return {.word = word_of(cell), .name = {}};
}

/// Whether `unit` behind `word` says more about the same part.
bool is_unit_of(Word unit, Word word) {
  return word != Word::none && (unit == word || (word == Word::magnitude && unit == Word::decibels) ||
                                (word == Word::phase && (unit == Word::degrees || unit == Word::radians)));
}

bool is_unit(Word word) { return word == Word::decibels || word == Word::degrees || word == Word::radians; }

}  // namespace

std::optional<PartOfResponse> part_of_response(std::string_view cell) {
  Split found = split(cell);
  if (is_unit(found.word)) {
    const Split before_unit = split(found.name);
    found.name = is_unit_of(found.word, before_unit.word) ? before_unit.name : found.name;
  }
  switch (found.word) {
    case Word::real:
      return PartOfResponse{.part = Part::real, .name = found.name};
    case Word::imaginary:
      return PartOfResponse{.part = Part::imaginary, .name = found.name};
    case Word::magnitude:
      return PartOfResponse{.part = Part::magnitude, .name = found.name};
    case Word::decibels:
      return PartOfResponse{.part = Part::decibels, .name = found.name};
    case Word::phase:
    case Word::degrees:
      return PartOfResponse{.part = Part::degrees, .name = found.name};
    case Word::radians:
      return PartOfResponse{.part = Part::radians, .name = found.name};
    case Word::none:
      break;
  }
  return std::nullopt;
}

std::optional<int> frequency_power(std::string_view cell) {
  constexpr std::string_view marks = " \t_()[]{}/.,:";
  const std::size_t name_end = std::min(cell.size(), cell.find_first_of(marks));
  const std::string_view name = cell.substr(0, name_end);
  if (!text::equal_in_any_case(name, "f") && !text::equal_in_any_case(name, "freq") &&
      !text::equal_in_any_case(name, "frequency")) {
    return std::nullopt;
  }
  const std::size_t unit = cell.find_first_not_of(marks, name_end);
  if (unit == std::string_view::npos) {
    return 0;
  }
  const std::size_t unit_end = cell.find_last_not_of(marks) + 1;
  const int power = look_up(units, cell.substr(unit, unit_end - unit), -1);
  return power < 0 ? std::nullopt : std::optional(power);
}

}  // namespace polefit_io
