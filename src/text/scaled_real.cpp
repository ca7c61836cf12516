#include "text/scaled_real.hpp"

#include <cstddef>
#include <cstdlib>
#include <string>

#include "text/number_text.hpp"

namespace text {

bool parse_scaled_real(std::string_view token, int power, double& value) {
  if (power == 0) {
    return parse_real(token, value);
  }
  double unscaled = 0.0;
  if (!parse_real(token, unscaled)) {
    return false;
  }
  int exponent = 0;
  const std::size_t mantissa_end = token.find_first_not_of("0123456789.", token.find_first_not_of("+-"));
  if (mantissa_end != std::string_view::npos) {
    const bool letter = token[mantissa_end] != '+' && token[mantissa_end] != '-';
    // Infinity and NaN have no exponent, and one that is beyond this makes zero or infinity in any unit.
    constexpr int largest_exponent = 1'000'000'000;
    if (!parse_integer(token.substr(mantissa_end + (letter ? 1 : 0)), exponent) ||
        std::abs(exponent) > largest_exponent) {
      value = unscaled;
      return true;
    }
  }
  std::string shifted(token.substr(0, mantissa_end));
  shifted += 'e';
  shifted += std::to_string(exponent + power);
  return parse_real(shifted, value);
}

}  // namespace text
