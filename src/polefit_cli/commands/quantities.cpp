#include "polefit_cli/commands/quantities.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <string>
#include <utility>

#include "text/io_error.hpp"
#include "text/parts.hpp"
#include "text/scaled_real.hpp"
#include "text/text_lines.hpp"

namespace polefit_cli {
namespace {

[[noreturn]] void refuse(const char* what, std::string_view found, std::string expected) {
  throw text::IoError({.file = what, .found = text::excerpt(found), .expected = std::move(expected)});
}

struct Prefix {
  std::string_view text;
  int power;
};

/// A number with one of the prefixes behind it, or with none.
template <std::size_t count>
bool read_prefixed(std::string_view number, const std::array<Prefix, count>& prefixes, double& value) {
  const auto found = std::find_if(prefixes.begin(), prefixes.end(),
                                  [&](const Prefix& prefix) { return number.ends_with(prefix.text); });
  const int power = found == prefixes.end() ? 0 : found->power;
  number.remove_suffix(found == prefixes.end() ? 0 : found->text.size());
  return text::parse_scaled_real(text::without_blanks(number), power, value);
}

double read_resistance(std::string_view text) {
  constexpr std::array<Prefix, 3> prefixes{{{"k", 3}, {"K", 3}, {"M", 6}}};
  double value = 0.0;
  if (!read_prefixed(text::without_blanks(text), prefixes, value) || !(value >= 0.0)) {
    refuse("resistances", text, "ohms such as 50, 1k or inf, which are not below 0");
  }
  return value;
}

}  // namespace

double read_time(std::string_view text) {
  constexpr std::array<Prefix, 7> prefixes{
      {{"m", -3}, {"u", -6}, {"\xC2\xB5", -6}, {"\xCE\xBC", -6}, {"n", -9}, {"p", -12}, {"f", -15}}};
  std::string_view number = text::without_blanks(text);
  if (number.ends_with('s')) {
    number = text::without_blanks(number.substr(0, number.size() - 1));
  }
  double value = 0.0;
  if (!read_prefixed(number, prefixes, value)) {
    refuse("times", text, "a time such as 3.5e-11, 35p or 35ps");
  }
  if (!std::isfinite(value) || value < 0.0) {
    refuse("times", text, "a time that is finite and not below 0");
  }
  return value;
}

std::vector<double> read_resistances(std::string_view text) {
  const std::vector<std::string_view> list = text::parts_of(text, ',');
  std::vector<double> resistances;
  std::transform(list.begin(), list.end(), std::back_inserter(resistances), read_resistance);
  return resistances;
}

}  // namespace polefit_cli
