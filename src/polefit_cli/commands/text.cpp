#include "polefit_cli/commands/text.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include "polefit_cli/network/plain_text.hpp"

namespace polefit_cli {
namespace {

/// Bytes that begin a character.
std::size_t width(const std::string& text) {
  return static_cast<std::size_t>(std::count_if(
      text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; }));
}

}  // namespace

std::string short_number(double value, int digits) {
  std::array<char, 64> text;
  const auto result =
      std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::general, digits);
  return {text.data(), result.ptr};
}

std::string frequency_text(double hertz) {
  struct Unit {
    double size;
    const char* name;
  };
  constexpr std::array<Unit, 4> units{{{1e12, " THz"}, {1e9, " GHz"}, {1e6, " MHz"}, {1e3, " kHz"}}};
  constexpr int digits = 6;
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

std::string count_text(std::size_t count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

std::string printable(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const std::size_t length = plain_character(text);
    result += length == 0 ? "?" : text.substr(0, length);
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return result;
}

}  // namespace polefit_cli
