/// The table that a fit ends with.
#pragma once

#include <optional>
#include <string>

#include "polefit/network.hpp"
#include "polefit/order_search.hpp"

namespace polefit_cli {

/// What a fit did: of given order, or after a search.
struct FitOutcome {
  polefit::Fit fit;
  std::optional<polefit::SearchEnd> search_end;
  std::size_t orders_tried = 0;
  double seconds = 0.0;
};

/// Whether a user may take the model without another thought.
bool converged(const FitOutcome& outcome);

/// Order, relocations and why they ended, errors over all and of the worst responses, path, time.
std::string fit_report(const polefit::Network& network, const FitOutcome& outcome, double target);

}  // namespace polefit_cli
