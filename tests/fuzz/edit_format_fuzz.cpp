/// Every double is written in 16 columns, and a finite one is at most half a unit of its seventh digit away.

#include <cstdio>
#include <string>

#include "fuzz/fuzz.hpp"
#include "text/edit_format.hpp"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using s_solver::fuzz::check;
  s_solver::fuzz::Bytes bytes(data, size);
  while (bytes.left() > 0) {
    const auto value = bytes.take<double>();
    std::string field;
    text::append_scientific_field(field, value, 16, 6);
    check(field.size() == 16, "the field has 16 columns");

    std::string text = field.substr(field.find_first_not_of(' '));
    if (std::isnan(value)) {
      check(text == "NaN", "a NaN is a word");
      continue;
    }
    if (std::isinf(value)) {
      check(text == (value > 0 ? "Infinity" : "-Infinity"), "an infinity is a word");
      continue;
    }
    const std::size_t sign = text.find_first_of("+-", 1);
    check(sign != std::string::npos, "there is an exponent");
    const bool marked = text[sign - 1] == 'E';
    const std::string digits = text.substr(0, marked ? sign - 1 : sign);
    const std::string exponent = text.substr(sign);
    check(exponent.size() == (marked ? 3 : 4), "the exponent has two digits behind an E, three without");
    check(digits.size() == (value < 0 ? 9 : 8), "there are seven digits and a point");
    check(value == 0 || digits[value < 0 ? 1 : 0] != '0', "the first digit is not zero");

    const long double written = std::strtold((digits + "e" + exponent).c_str(), nullptr);
    const long double unit = std::strtold(("1e" + std::to_string(std::stoi(exponent) - 6)).c_str(), nullptr);
    // Reading and subtracting in 64 bits of mantissa is off by some 2^-63 of the value, that is 2^-40 units.
    check(std::abs(written - static_cast<long double>(value)) <= unit * (0.5L + 1e-11L),
          "the rounding is to nearest");
  }
  return 0;
}
