/// Networks as tables of values with commas between them (CSV).
#pragma once

#include <string>

#include "polefit_cli/network/network.hpp"

namespace polefit_cli {

/// One line that names the columns, "frequency,S11 re,S11 im,...", and one for each sample, with frequencies
/// in hertz and as many digits as it takes to read the same doubles back. What is not told: the references of
/// a matrix, and which ports have no element. read_csv gives back names that are not empty, have no control
/// characters and no blanks at their ends.
std::string csv_text(const Network& network);

}  // namespace polefit_cli
