/// Fits whose order is found, not given.
#pragma once

#include "polefit/export.hpp"
#include "polefit/fit.hpp"

namespace polefit {

enum class Measure {
  relative_rms,    ///< root mean square over all responses, each relative to its own
  worst_response,  ///< largest relative root mean square error of a response
  largest_error,   ///< largest modulus of a difference, in the unit of the data
};

struct Target {
  double error = 1e-3;
  Measure measure = Measure::relative_rms;
  std::size_t most_poles = 100;
  bool hold_out = true;  ///< checks on samples held out that a larger order does not model noise
};

enum class SearchEnd {
  target_met,
  no_gain,     ///< more poles no longer paid
  noise,       ///< more poles made the error on samples held out larger
  most_poles,  ///< the limit on the order, or what the samples allow
  cancelled,
};

/// One order that was tried.
struct Step {
  std::size_t order = 0;
  double error = 0.0;           ///< in the measure of the target
  double held_out_error = 0.0;  ///< likewise on the samples held out, 0 without
};

struct Search {
  Fit fit;
  SearchEnd end = SearchEnd::target_met;
  double error = 0.0;
  std::vector<Step> steps;
};

/// Starts small, adds pairs where the error is largest, drops poles that do not pay. Always ends. `options`
/// says everything but the starting poles and their numbers.
POLEFIT_EXPORT Search fit_to_error(const NetworkData& data, const Target& target,
                                   const Options& options = {});

}  // namespace polefit
