/// Numbers in fixed columns, as the edit descriptors "Iw" and "ESw.d" lay them out.
#pragma once

#include <string>

namespace text {

/// Appends `value` right-aligned in `width` columns ("Iw"); asterisks where it does not fit.
void append_integer_field(std::string& record, int value, int width);

/// Appends `value` in `width` columns in scientific notation ("ESw.d", digits >= 1): one nonzero digit, the
/// point, `digits` digits rounded to nearest, then E, sign and two exponent digits, or sign and three digits
/// without the E from an exponent of 100 on. Zero of either sign is written without a sign; infinities
/// and NaN as the words Infinity, -Infinity and NaN. Asterisks where the value does not fit: every
/// finite double needs digits + 7 columns at most.
void append_scientific_field(std::string& record, double value, int width, int digits);

}  // namespace text
