#include "text/edit_format.hpp"

#include <array>
#include <cassert>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <string_view>

namespace text {
namespace {

void append_right_aligned(std::string& record, std::string_view text, int width) {
  const auto columns = static_cast<std::size_t>(width);
  if (text.size() > columns) {
    record.append(columns, '*');
    return;
  }
  record.append(columns - text.size(), ' ');
  record.append(text);
}

}  // namespace

void append_integer_field(std::string& record, int value, int width) {
  std::array<char, 12> text;
  const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), value);
  static_cast<void>(error);  // twelve characters hold every 32-bit integer
  append_right_aligned(record, {text.data(), static_cast<std::size_t>(end - text.data())}, width);
}

void append_scientific_field(std::string& record, double value, int width, int digits) {
  assert(digits >= 1);
  if (std::isnan(value)) {
    append_right_aligned(record, "NaN", width);
    return;
  }
  if (std::isinf(value)) {
    append_right_aligned(record, value > 0 ? "Infinity" : "-Infinity", width);
    return;
  }
  if (value == 0.0) {
    value = 0.0;  // drops the sign of a negative zero
  }
  std::string text(static_cast<std::size_t>(digits) + 10, '\0');
  char* const begin = text.data();
  const auto [end, error] =
      std::to_chars(begin, begin + text.size(), value, std::chars_format::scientific, digits);
  static_cast<void>(error);  // sign, digit, point, digits and "e+308" fit
  text.resize(static_cast<std::size_t>(end - begin));

  const std::size_t e = text.rfind('e');
  if (text.size() - e == 5) {
    text.erase(e, 1);
  } else {
    text[e] = 'E';
  }
  append_right_aligned(record, text, width);
}

}  // namespace text
