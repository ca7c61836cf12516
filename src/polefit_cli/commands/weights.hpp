/// Weights of the residuals of a fit.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "polefit_cli/commands/command_line.hpp"
#include "polefit_cli/network/network.hpp"

namespace polefit_cli {

/// The weights as the library takes them, none where it has its own: `weighting` is anything but from_file.
/// A sample of 0 gets the largest weight that another sample of its response has.
std::vector<double> weights_by_rule(const Network& network, Weighting weighting);

/// The numbers in `text`, separated by blanks, commas and line ends: one a sample, or all of the first
/// response, then all of the second. Lines that begin with '#' or '!' are left out. Throws s_solver::IoError
/// with the line.
std::vector<double> read_weights(std::string_view text, const std::string& file, const Network& network);

}  // namespace polefit_cli
