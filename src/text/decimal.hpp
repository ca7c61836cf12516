/// Doubles as decimal text, whatever the locale.
#pragma once

#include <array>
#include <charconv>
#include <limits>
#include <string>

namespace text {

/// Appends the shortest decimal that reads back to the same double; inf and nan as these words.
inline void append_shortest(std::string& text, double value) {
  std::array<char, 32> digits;  // sign, 17 digits, point and exponent need 24
  text.append(digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr);
}

inline std::string shortest(double value) {
  std::string text;
  append_shortest(text, value);
  return text;
}

/// With so many significant digits at most, without trailing zeros: 1.2e-05, 0.034, 50. 17 digits read back
/// to the same double.
inline std::string significant(double value, int digits = std::numeric_limits<double>::max_digits10) {
  std::array<char, 64> text;
  const auto result =
      std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::general, digits);
  return {text.data(), result.ptr};
}

}  // namespace text
