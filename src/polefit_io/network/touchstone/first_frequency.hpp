/// How many ports a Touchstone text of version 1.x has whose file's name does not tell.
#pragma once

#include <cstddef>

#include "polefit_io/network/touchstone/lines.hpp"

namespace polefit_io {

/// The number of ports for which the line of data at which `lines` is, and stays, and those behind it hold
/// the values of one frequency, 0 if there is none. Only the line that a frequency begins has an odd number
/// of values, as the others have pairs.
std::size_t ports_of_first_frequency(TouchstoneLines& lines);

}  // namespace polefit_io
