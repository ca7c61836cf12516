#include "polefit_cli/commands/tables.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include "text/decimal.hpp"
#include "text/plain_text.hpp"

namespace polefit_cli {
namespace {

/// Bytes that begin a character.
std::size_t width(const std::string& text) {
  return static_cast<std::size_t>(std::count_if(
      text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; }));
}

}  // namespace

std::string short_number(double value, int digits) { return text::significant(value, digits); }

std::string frequency_text(double hertz) {
  struct Unit {
    double size;
    const char* name;
  };
  constexpr std::array<Unit, 4> units{{{1e12, " THz"}, {1e9, " GHz"}, {1e6, " MHz"}, {1e3, " kHz"}}};
  constexpr int digits = 6;
  // Where no prefix makes it short.
  constexpr double far_above = 1e16;
  constexpr double far_below = 1e-4;
  constexpr int digits_there = 3;
  if (std::abs(hertz) >= far_above || (hertz != 0.0 && std::abs(hertz) < far_below)) {
    return short_number(hertz, digits_there) + " Hz";
  }
  for (const Unit& unit : units) {
    if (std::abs(hertz) >= unit.size) {
      return short_number(hertz / unit.size, digits) + unit.name;
    }
  }
  return short_number(hertz, digits) + " Hz";
}

std::string table_text(const std::vector<std::vector<std::string>>& rows) {
  std::vector<std::size_t> widths;
  for (const auto& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t j = 0; j < row.size(); ++j) {
      widths[j] = std::max(widths[j], width(row[j]));
    }
  }
  std::string text;
  for (const auto& row : rows) {
    std::string line;
    for (std::size_t j = 0; j < row.size(); ++j) {
      const std::string blanks(widths[j] - width(row[j]), ' ');
      line += j == 0 ? row[j] + blanks : "   " + blanks + row[j];
    }
    text += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
  }
  return text;
}

}  // namespace polefit_cli
