#include "polefit_io/network/touchstone/first_frequency.hpp"

#include <cmath>

namespace polefit_io {

namespace {

/// The words on the line of data at which `lines` is and on those behind it that hold pairs.
std::size_t words_of_first_frequency(TouchstoneLines& lines) {
  std::size_t values = words_in(lines.line());
  while (lines.next()) {
    const std::size_t words = words_in(lines.line());
    if (words % 2 == 1 || lines.line().front() == '#' || lines.line().front() == '[') {
      break;
    }
    values += words;
  }
  return values;
}

}  // namespace

std::size_t ports_of_first_frequency(TouchstoneLines& lines) {
  const std::size_t first = words_in(lines.line());
  const std::size_t values = lines.looked_ahead([&] { return words_of_first_frequency(lines); });
  for (const std::size_t count : {values, first}) {
    const std::size_t pairs = count / 2;
    const auto ports = static_cast<std::size_t>(std::sqrt(static_cast<double>(pairs)));
    if (count == 2 * ports * ports + 1) {
      return ports;
    }
  }
  return 0;
}

}  // namespace polefit_io
