/// Networks as tables of values with commas between them (CSV).
#pragma once

#include <string>

#include "polefit/network.hpp"

namespace polefit_io {

/// As polefit::csv_text of a network that agrees with itself, but throws text::IoError. read_csv gives back
/// names without the blanks at their ends.
std::string csv_of(const polefit::Network& network);

}  // namespace polefit_io
