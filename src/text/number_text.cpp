#include "text/number_text.hpp"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <system_error>

namespace text {
namespace {

constexpr bool is_digit(char c) { return c >= '0' && c <= '9'; }
constexpr char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }
constexpr bool is_letter(char c) { return lower(c) >= 'a' && lower(c) <= 'z'; }
constexpr bool is_sign(char c) { return c == '+' || c == '-'; }

bool equal_in_any_case(std::string_view text, std::string_view lower_case) {
  return std::equal(text.begin(), text.end(), lower_case.begin(), lower_case.end(),
                    [](char a, char b) { return lower(a) == b; });
}

bool is_nan_text(std::string_view text) {
  if (!equal_in_any_case(text.substr(0, 3), "nan")) {
    return false;
  }
  const std::string_view payload = text.substr(3);
  if (payload.empty()) {
    return true;
  }
  return payload.size() >= 2 && payload.front() == '(' && payload.back() == ')' &&
         std::all_of(payload.begin() + 1, payload.end() - 1,
                     [](char c) { return is_digit(c) || is_letter(c) || c == '_'; });
}

/// An unsigned decimal number taken apart; positions count from the start of the text.
struct Decimal {
  std::size_t mantissa_end = 0;    // digits and point
  std::size_t exponent_begin = 0;  // sign and digits after the letter, if any; the text's end otherwise
  bool plain_exponent = true;      // no exponent, or one that std::from_chars takes as it stands
  bool is_zero = true;
  std::int64_t leading_power = 0;  // power of ten of the first nonzero digit, exponent included
};

std::size_t skip_digits(std::string_view text, std::size_t at) {
  while (at < text.size() && is_digit(text[at])) {
    ++at;
  }
  return at;
}

/// The exponent's value, held within bounds that no mantissa in memory can bring back into range and that
/// ten times over still fit the type.
std::int64_t saturated_exponent(std::string_view digits, bool negative) {
  constexpr std::int64_t bound = 1'000'000'000'000'000;
  std::int64_t magnitude = 0;
  for (const char c : digits) {
    magnitude = std::min(bound, magnitude * 10 + (c - '0'));
    if (magnitude == bound) {
      break;
    }
  }
  return negative ? -magnitude : magnitude;
}

bool take_apart(std::string_view text, Decimal& decimal) {
  const std::size_t point = skip_digits(text, 0);
  std::size_t digits = point;
  decimal.mantissa_end = point;
  if (point < text.size() && text[point] == '.') {
    decimal.mantissa_end = skip_digits(text, point + 1);
    digits += decimal.mantissa_end - point - 1;
  }
  if (digits == 0) {
    return false;
  }

  std::size_t at = decimal.mantissa_end;
  std::int64_t exponent = 0;
  decimal.exponent_begin = text.size();
  if (at < text.size()) {
    const char letter = lower(text[at]);
    if (letter == 'e' || letter == 'd' || letter == 'q') {
      ++at;
    } else if (!is_sign(letter)) {
      return false;
    }
    decimal.exponent_begin = at;
    decimal.plain_exponent = letter == 'e';
    const bool negative = at < text.size() && text[at] == '-';
    if (at < text.size() && is_sign(text[at])) {
      ++at;
    }
    if (at == text.size() || skip_digits(text, at) != text.size()) {
      return false;
    }
    exponent = saturated_exponent(text.substr(at), negative);
  }

  const std::size_t first = text.substr(0, decimal.mantissa_end).find_first_not_of("0.");
  decimal.is_zero = first == std::string_view::npos;
  if (!decimal.is_zero) {
    const auto position = static_cast<std::int64_t>(first);
    const auto point_at = static_cast<std::int64_t>(point);
    decimal.leading_power = exponent + (position < point_at ? point_at - position - 1 : point_at - position);
  }
  return true;
}

double decimal_value(std::string_view text, const Decimal& decimal) {
  if (decimal.is_zero) {
    return 0.0;
  }
  std::string rewritten;
  if (!decimal.plain_exponent) {
    rewritten.append(text.substr(0, decimal.mantissa_end));
    rewritten += 'e';
    rewritten.append(text.substr(decimal.exponent_begin));
    text = rewritten;
  }
  double value = 0.0;
  if (std::from_chars(text.data(), text.data() + text.size(), value).ec == std::errc::result_out_of_range) {
    // The library leaves its output alone here; which end of the range was passed, the power tells.
    return decimal.leading_power > 0 ? std::numeric_limits<double>::infinity() : 0.0;
  }
  return value;
}

}  // namespace

bool parse_real(std::string_view token, double& value) {
  const bool negative = !token.empty() && token.front() == '-';
  const std::string_view text = token.substr(!token.empty() && is_sign(token.front()) ? 1 : 0);

  double magnitude = 0.0;
  Decimal decimal;
  if (equal_in_any_case(text, "inf") || equal_in_any_case(text, "infinity")) {
    magnitude = std::numeric_limits<double>::infinity();
  } else if (is_nan_text(text)) {
    magnitude = std::numeric_limits<double>::quiet_NaN();
  } else if (take_apart(text, decimal)) {
    magnitude = decimal_value(text, decimal);
  } else {
    return false;
  }
  value = negative ? -magnitude : magnitude;
  return true;
}

bool parse_integer(std::string_view token, int& value) {
  static_assert(std::numeric_limits<int>::digits == 31, "integers of the input have 32 bits");
  // std::from_chars takes a minus sign but no plus sign.
  const bool plus = !token.empty() && token.front() == '+';
  const std::string_view text = token.substr(plus ? 1 : 0);
  if (plus && !text.empty() && is_sign(text.front())) {
    return false;
  }
  int result = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), result);
  if (error != std::errc{} || end != text.data() + text.size()) {
    return false;
  }
  value = result;
  return true;
}

}  // namespace text
