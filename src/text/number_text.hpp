/// Numbers from text: the forms that a value of free-format input may take.
#pragma once

#include <string_view>

namespace text {

/// Reads the whole of `token` as a real number: optional sign, digits with an optional point, optional
/// exponent (E, D or Q in either case with an optional sign, or a sign alone); or inf, infinity, nan,
/// nan(letters, digits, underscores) in either case with an optional sign. Overflow gives an infinity,
/// underflow a subnormal or zero. Returns false and leaves `value` alone when `token` is anything else.
bool parse_real(std::string_view token, double& value);

/// Reads the whole of `token` as an integer of 32 bits: optional sign and digits. Returns false and
/// leaves `value` alone when it is anything else or out of range.
bool parse_integer(std::string_view token, int& value);

}  // namespace text
