/// Frequencies and values on a line of a Touchstone text.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "polefit_io/network/touchstone/place.hpp"

namespace polefit_io {

/// Takes a frequency off the line: the double nearest to the first word times ten to the `power`, in hertz.
/// A negative zero becomes positive. Throws text::IoError for what is not finite or below 0, or no number.
double take_frequency(std::string_view& line, int power, const TouchstonePlace& place);

/// Appends all numbers of the line. `items_before` is how many words have been taken off it, which messages
/// count too. Throws text::IoError for what is not finite or no number.
void append_values(std::string_view line, std::size_t items_before, const TouchstonePlace& place,
                   std::vector<double>& values);

}  // namespace polefit_io
