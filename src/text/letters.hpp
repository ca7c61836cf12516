/// Letters and digits of ASCII, whatever the locale.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace text {

constexpr char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }
constexpr char upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }
constexpr bool is_letter(char c) { return lower(c) >= 'a' && lower(c) <= 'z'; }
constexpr bool is_digit(char c) { return c >= '0' && c <= '9'; }

inline std::string lower_case(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(), lower);
  return result;
}

/// Whether `text` is `lower_case` but for the case of its letters.
constexpr bool equal_in_any_case(std::string_view text, std::string_view lower_case) {
  return std::equal(text.begin(), text.end(), lower_case.begin(), lower_case.end(),
                    [](char a, char b) { return lower(a) == b; });
}

}  // namespace text
