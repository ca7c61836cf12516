/// Weights of the residuals of a fit from a file.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "polefit/network.hpp"

namespace polefit_cli {

/// The numbers in `content`, separated by blanks, commas, semicolons and line ends: one a sample, or all of
/// the first response, then all of the second. Lines that begin with '#' or '!', behind blanks or not, are
/// left out. Throws text::IoError with the line.
std::vector<double> read_weights(std::string_view content, const std::string& file,
                                 const polefit::Network& network);

}  // namespace polefit_cli
