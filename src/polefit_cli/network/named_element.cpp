#include "polefit_cli/network/named_element.hpp"

#include <algorithm>

#include "polefit_cli/network/text_lines.hpp"

namespace polefit_cli {
namespace {

/// A port's number without leading zeros; 0 for anything else.
std::size_t port_number(std::string_view digits) {
  std::size_t number = 0;
  for (const char c : digits) {
    if (c < '0' || c > '9' || (number == 0 && c == '0')) {
      return 0;
    }
    number = number * 10 + static_cast<std::size_t>(c - '0');
    if (number > most_named_ports) {
      return 0;
    }
  }
  return number;
}

/// S, Y or Z for either case, 0 for anything else.
char parameter_of(char letter) {
  constexpr std::string_view both_cases = "SYZsyz";
  const std::size_t at = both_cases.find(letter);
  return at == std::string_view::npos ? '\0' : both_cases[at % 3];
}

}  // namespace

std::optional<NamedElement> named_element(std::string_view name) {
  if (name.size() < 3 || parameter_of(name.front()) == '\0') {
    return std::nullopt;
  }
  std::string_view indices = name.substr(1);
  std::size_t row_end = 1;
  std::size_t column_begin = 1;
  if (indices.size() > 2) {
    const bool bracketed = (indices.front() == '(' && indices.back() == ')') ||
                           (indices.front() == '[' && indices.back() == ']');
    if (bracketed) {
      indices = indices.substr(1, indices.size() - 2);
    }
    row_end = std::min(indices.size(), indices.find(bracketed ? ',' : '_'));
    column_begin = std::min(indices.size(), row_end + 1);
  }
  const std::size_t row = port_number(without_blanks(indices.substr(0, row_end)));
  const std::size_t column = port_number(without_blanks(indices.substr(column_begin)));
  if (row == 0 || column == 0) {
    return std::nullopt;
  }
  return NamedElement{.parameter = parameter_of(name.front()), .element = {.row = row, .column = column}};
}

}  // namespace polefit_cli
