/// Any text is refused as frequencies or is those that a second reading of the rules finds.

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/fuzz.hpp"
#include "fuzz/reference_reader.hpp"
#include "polefit_cli/commands/grid.hpp"
#include "text/io_error.hpp"

namespace {

using s_solver::fuzz::check;

std::string trimmed(std::string text) {
  text.erase(0, std::min(text.size(), text.find_first_not_of(" \t")));
  text.erase(text.find_last_not_of(" \t") + 1);
  return text;
}

/// A number of the free-format rules, a prefix, Hz; blanks anywhere between.
std::optional<double> reference_frequency(std::string text) {
  text = trimmed(text);
  const std::string lower = s_solver::fuzz::lower_case(text);
  if (lower.ends_with("hz")) {
    text = trimmed(text.substr(0, text.size() - 2));
  }
  const std::string prefixes = "kKMGT";
  const std::size_t prefix = text.empty() ? std::string::npos : prefixes.find(text.back());
  int power = 0;
  if (prefix != std::string::npos) {
    power = std::vector{3, 3, 6, 9, 12}[prefix];
    text = trimmed(text.substr(0, text.size() - 1));
  }
  const std::optional<double> plain = s_solver::fuzz::reference_value(text, 0.0);
  if (!plain || power == 0 || *plain == 0.0 || !std::isfinite(*plain)) {
    // What overflows already does so in larger units too; a zero may be one that was not.
    if (!plain || power == 0 || *plain != 0.0) {
      return plain;
    }
  }
  // The mantissa with the exponents added.
  const std::string number = s_solver::fuzz::lower_case(text);
  const std::size_t exponent_at = number.find_first_of("edq+-", 1);
  long long exponent = 0;
  if (exponent_at != std::string::npos) {
    const bool sign = number[exponent_at] == '+' || number[exponent_at] == '-';
    const std::string digits = number.substr(exponent_at + (sign ? 0 : 1));
    exponent = std::clamp(std::strtoll(digits.c_str(), nullptr, 10), -2'000'000'000LL, 2'000'000'000LL);
  }
  return std::strtod((number.substr(0, exponent_at) + "e" + std::to_string(exponent + power)).c_str(),
                     nullptr);
}

bool is_frequency(const std::optional<double>& value) {
  return value && std::isfinite(*value) && *value >= 0.0;
}

std::vector<std::string> split(const std::string& text, char separator) {
  std::vector<std::string> parts(1);
  for (const char c : text) {
    if (c == separator) {
      parts.emplace_back();
    } else {
      parts.back() += c;
    }
  }
  return parts;
}

void check_range(const std::vector<double>& grid, double from, double to, std::size_t count, bool decades) {
  check(grid.size() == count, "there are as many frequencies as were asked for");
  check(grid.front() == from && (count == 1 || grid.back() == to), "the ends are what was asked for");
  const double low = std::min(from, to);
  const double high = std::max(from, to);
  // A logarithm of up to 324 with its rounding, as an exponent of ten: 324 eps ln 10, and some for the power.
  constexpr double of_powers = 1e3 * 0x1p-52;
  const double slack = decades ? of_powers : 0.0;
  for (std::size_t i = 0; i < count; ++i) {
    check(std::isfinite(grid[i]) && grid[i] >= low * (1.0 - slack) && grid[i] <= high * (1.0 + slack),
          "frequencies are within what was asked for");
    check(i == 0 ||
              (from <= to ? grid[i] >= grid[i - 1] * (1.0 - slack) : grid[i] <= grid[i - 1] * (1.0 + slack)),
          "frequencies run from one end to the other");
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(s_solver::fuzz::Bytes(data, size).rest());
  const std::vector<std::string> parts = split(text, ':');
  int count = 0;
  if (parts.size() == 3 || parts.size() == 4) {
    const auto found = s_solver::fuzz::reference_value(trimmed(parts[2]), 0);
    count = found.value_or(0);
    if (count > 100'000 && count <= 10'000'000) {
      return 0;  // takes its time and its memory
    }
  }

  std::optional<std::vector<double>> grid;
  try {
    grid = polefit_cli::read_grid(text);
  } catch (const text::IoError& error) {
    check(!error.details().expected.empty() && error.details().file == "frequencies",
          "a refusal says what was expected");
  }

  if (parts.size() == 1) {
    std::vector<double> expected;
    bool valid = true;
    for (const std::string& item : split(text, ',')) {
      const std::optional<double> value = reference_frequency(item);
      valid = valid && is_frequency(value);
      expected.push_back(value.value_or(0.0));
    }
    check(grid.has_value() == valid, "a list is taken where each of it is a frequency");
    check(!grid || std::equal(grid->begin(), grid->end(), expected.begin(), expected.end()),
          "frequencies of a list are those that stand there");
    return 0;
  }
  const bool log = parts.size() == 4 && trimmed(parts[3]) == "log";
  const std::optional<double> from = reference_frequency(parts[0]);
  const std::optional<double> to = reference_frequency(parts[1]);
  const bool valid = (parts.size() == 3 || log) && is_frequency(from) && is_frequency(to) && count >= 1 &&
                     count <= 100'000 && (!log || (*from > 0.0 && *to > 0.0));
  check(grid.has_value() == valid, "a range is taken where each of its parts is one");
  if (grid) {
    check_range(*grid, *from, *to, static_cast<std::size_t>(count), log);
  }
  return 0;
}
