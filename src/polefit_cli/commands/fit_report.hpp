/// The table that a fit ends with.
#pragma once

#include <string>

#include "polefit/network.hpp"
#include "polefit/whole_fit.hpp"

namespace polefit_cli {

/// What a fit did, and how long it took.
struct FitOutcome : polefit::WholeFit {
  double seconds = 0.0;
};

/// Order, what a search found, whether the model is passive, relocations and why they ended, errors over all
/// and of the worst responses, path, time.
std::string fit_report(const polefit::Network& network, const FitOutcome& outcome);

}  // namespace polefit_cli
