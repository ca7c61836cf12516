#include "polefit_cli/commands/grid.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>
#include <utility>

#include "text/io_error.hpp"
#include "text/number_text.hpp"
#include "text/parts.hpp"
#include "text/scaled_real.hpp"
#include "text/text_lines.hpp"

namespace polefit_cli {
namespace {

constexpr std::size_t most_frequencies = 10'000'000;

[[noreturn]] void refuse(std::string_view found, std::string expected) {
  throw text::IoError(
      {.file = "frequencies", .found = text::excerpt(found), .expected = std::move(expected)});
}

bool ends_with_hertz(std::string_view text) {
  return text.size() >= 2 && (text[text.size() - 2] == 'H' || text[text.size() - 2] == 'h') &&
         (text.back() == 'z' || text.back() == 'Z');
}

/// The power of ten of a prefix; 0 for none.
int prefix_power(char prefix) {
  switch (prefix) {
    case 'k':
    case 'K':
      return 3;
    case 'M':
      return 6;
    case 'G':
      return 9;
    case 'T':
      return 12;
    default:
      return 0;
  }
}

std::size_t read_count(std::string_view text) {
  int count = 0;
  if (!text::parse_integer(text::without_blanks(text), count) || count < 1 ||
      static_cast<std::size_t>(count) > most_frequencies) {
    refuse(text, "a number of frequencies from 1 to " + std::to_string(most_frequencies));
  }
  return static_cast<std::size_t>(count);
}

std::vector<double> decade_grid(double from, double to, std::size_t count) {
  std::vector<double> grid = even_grid(std::log10(from), std::log10(to), count);
  for (double& frequency : grid) {
    frequency = std::pow(10.0, frequency);
  }
  // The ends are what was asked for, to the bit.
  grid.front() = from;
  if (count > 1) {
    grid.back() = to;
  }
  return grid;
}

}  // namespace

double read_frequency(std::string_view text) {
  std::string_view number = text::without_blanks(text);
  if (ends_with_hertz(number)) {
    number = text::without_blanks(number.substr(0, number.size() - 2));
  }
  const int power = number.empty() ? 0 : prefix_power(number.back());
  if (power != 0) {
    number = text::without_blanks(number.substr(0, number.size() - 1));
  }
  double value = 0.0;
  if (!text::parse_scaled_real(number, power, value)) {
    refuse(text, "a frequency such as 2.4e9, 2.4G or 2.4GHz");
  }
  if (!std::isfinite(value) || value < 0.0) {
    refuse(text, "a frequency that is finite and not below 0");
  }
  return value;
}

std::vector<double> even_grid(double from, double to, std::size_t count) {
  std::vector<double> grid(count, from);
  for (std::size_t i = 1; i < count; ++i) {
    const double t = static_cast<double>(i) / static_cast<double>(count - 1);
    grid[i] = i + 1 == count ? to : from + (to - from) * t;
  }
  return grid;
}

std::vector<double> read_grid(const std::string& text) {
  const std::vector<std::string_view> parts = text::parts_of(text, ':');
  if (parts.size() == 1) {
    const std::vector<std::string_view> list = text::parts_of(text, ',');
    std::vector<double> grid;
    std::transform(list.begin(), list.end(), std::back_inserter(grid), read_frequency);
    return grid;
  }
  const bool logarithmic = parts.size() == 4 && text::without_blanks(parts[3]) == "log";
  if (parts.size() != 3 && !logarithmic) {
    refuse(text, "FROM:TO:COUNT, FROM:TO:COUNT:log or a list with commas");
  }
  const double from = read_frequency(parts[0]);
  const double to = read_frequency(parts[1]);
  const std::size_t count = read_count(parts[2]);
  if (logarithmic && !(from > 0.0 && to > 0.0)) {
    refuse(text, "frequencies above 0 where decades are counted");
  }
  return logarithmic ? decade_grid(from, to, count) : even_grid(from, to, count);
}

}  // namespace polefit_cli
