/// Numbers and text as a gnuplot script takes them.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace polefit_cli {

/// The shortest decimal that reads back to the same number. `value` is finite.
std::string script_number(double value);

/// `text` as a string of a gnuplot script, in which gnuplot replaces and runs nothing, whatever stands in it.
/// Bytes that are no UTF-8 become a replacement mark, line ends and other control characters blanks. To be
/// shown as it stands it wants the attribute noenhanced.
std::string script_text(std::string_view text);

/// The number of characters of a UTF-8 text.
std::size_t character_count(std::string_view text);

/// About how wide the text is in DejaVu Sans of that size, in the unit of the size; seldom less.
double text_width(std::string_view text, double size);

/// The text when it has that width or less, else its beginning and an ellipsis.
std::string shortened(std::string_view text, double width, double size);

}  // namespace polefit_cli
