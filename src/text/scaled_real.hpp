/// Numbers in units that are a power of ten of the unit wanted.
#pragma once

#include <string_view>

namespace text {

/// Reads the whole of `token` as text::parse_real does, times ten to the `power`, which is added to the
/// exponent that the token has: the result is rounded once. Returns false and leaves `value` alone when
/// `token` is no real number.
bool parse_scaled_real(std::string_view token, int power, double& value);

}  // namespace text
