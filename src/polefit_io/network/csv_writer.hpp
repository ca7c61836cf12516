/// Networks as tables of values with commas between them (CSV).
#pragma once

#include <string>

#include "polefit/network.hpp"

namespace polefit_io {

/// As polefit::csv_text. read_csv gives back names that are not empty, have no control characters and no
/// blanks at their ends.
std::string csv_of(const polefit::Network& network);

}  // namespace polefit_io
