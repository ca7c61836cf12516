/// The table that a fit ends with.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "polefit/enforcement.hpp"
#include "polefit/network.hpp"
#include "polefit/order_search.hpp"
#include "polefit/passive_search.hpp"
#include "polefit/passivity.hpp"

namespace polefit_cli {

/// What a fit did: of given order, or after a search.
struct FitOutcome {
  polefit::Fit fit;
  std::optional<bool> search_succeeded;   ///< none for a given order
  std::optional<polefit::Target> target;  ///< of a given order, where one was named
  std::size_t orders_tried = 0;
  std::vector<double> noise;  ///< of each response, where a search could tell it from the data
  std::optional<polefit::Passivity> passivity;            ///< of a stable model of a whole matrix
  bool to_be_passive = false;                             ///< whether it was to be made passive
  std::optional<polefit::EnforcementReport> enforcement;  ///< what that took
  polefit::FirstFit first;                                ///< what there was before, where that was done
  /// What the values at 0 Hz that were to be exact are off by, as a part of the largest of their response.
  double off_at_zero = 0.0;
  std::string not_corrected;                        ///< why it was not done, where it was tried
  std::optional<polefit::SampledPassivity> active;  ///< the data, where they are not passive
  double seconds = 0.0;
};

/// Whether the model followed the data until it was made passive, and does not any more: its error is above
/// 0.3, and more than ten times what it was.
bool lost_the_data(const FitOutcome& outcome);

/// Whether a user may take the model without another thought: it fits as was asked, and is passive where it
/// was to be and follows the data for all that. A model of given order fits when it meets the target that was
/// named; without one when its relocations have settled and its error is at most 0.3.
bool converged(const FitOutcome& outcome);

/// Whether the model of a network of S parameters amplifies what it does not fit: its error is above 1e-2,
/// and somewhere, in the band or out of it, it is more than twice as large as the data ever are.
bool harmful(const polefit::Network& network, const FitOutcome& outcome);

/// Order, what a search found, whether the model is passive, relocations and why they ended, errors over all
/// and of the worst responses, path, time.
std::string fit_report(const polefit::Network& network, const FitOutcome& outcome);

}  // namespace polefit_cli
