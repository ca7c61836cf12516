#include "text/free_format_writer.hpp"

#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <limits>

namespace text {
namespace {

constexpr std::size_t integer_columns = 12;
constexpr std::size_t double_columns = 25;
constexpr std::size_t float_columns = 16;
constexpr std::size_t complex_marks = 3;  // parentheses and comma

template <class Real>
void append_number(std::string& text, Real value) {
  if (std::isnan(value)) {
    text += "NaN";
    return;
  }
  if (std::isinf(value)) {
    text += value > 0 ? "Infinity" : "-Infinity";
    return;
  }
  std::array<char, 32> digits;
  const auto [end, error] =
      std::to_chars(digits.data(), digits.data() + digits.size(), value, std::chars_format::general,
                    std::numeric_limits<Real>::max_digits10);
  static_cast<void>(error);  // sign, 17 digits, point and exponent need 24 characters at most
  text.append(digits.data(), end);
}

template <class Real>
std::string complex_text(std::complex<Real> value) {
  std::string text = "(";
  append_number(text, value.real());
  text += ',';
  append_number(text, value.imag());
  text += ')';
  return text;
}

void append_right_aligned_item(std::string& record, std::string_view text, std::size_t columns) {
  record += ' ';
  if (text.size() < columns) {
    record.append(columns - text.size(), ' ');
  }
  record += text;
}

template <class Real>
void append_real_item(std::string& record, Real value, std::size_t columns) {
  std::string text;
  append_number(text, value);
  append_right_aligned_item(record, text, columns);
}

}  // namespace

void append_item(std::string& record, std::string_view text) {
  record += ' ';
  record += text;
}

void append_item(std::string& record, int value) {
  append_right_aligned_item(record, std::to_string(value), integer_columns);
}

void append_item(std::string& record, double value) { append_real_item(record, value, double_columns); }

void append_item(std::string& record, float value) { append_real_item(record, value, float_columns); }

void append_item(std::string& record, std::complex<double> value) {
  append_right_aligned_item(record, complex_text(value), 2 * double_columns + complex_marks);
}

void append_item(std::string& record, std::complex<float> value) {
  append_right_aligned_item(record, complex_text(value), 2 * float_columns + complex_marks);
}

}  // namespace text
