/// Numbers as text with 17 significant digits, which read back to the same double.
#pragma once

#include <array>
#include <charconv>
#include <limits>
#include <string>

namespace polefit_cli {

/// Like 0.10000000000000001, 1e-09 or 50: without trailing zeros, whatever the locale. The number is finite.
inline std::string number_17(double value) {
  std::array<char, 32> text;  // sign, 17 digits, point and exponent need 24
  const auto result = std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::general,
                                    std::numeric_limits<double>::max_digits10);
  return {text.data(), result.ptr};
}

}  // namespace polefit_cli
