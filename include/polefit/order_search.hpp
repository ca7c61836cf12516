/// Fits whose order is found, not given.
#pragma once

#include <cstddef>
#include <vector>

#include "polefit/export.hpp"
#include "polefit/fit.hpp"

namespace polefit {

/// What the error of a model is.
enum class Measure {
  relative_rms,    ///< root mean square over all responses, each relative to its own
  worst_response,  ///< largest relative root mean square error of a response
  largest_error,   ///< largest modulus of a difference, in the unit of the data
};

/// What a search is for.
struct Target {
  double error = 1e-3;                      ///< to be reached, above 0
  Measure measure = Measure::relative_rms;  ///< of the error
  std::size_t most_poles = 100;             ///< the limit on the order
  /// Holds out every fifth sample in the order of frequency, when there are 40 at least, and checks on these
  /// that a larger order does not model noise.
  bool hold_out = true;
};

/// Why a search ended. t_k is the error of order k of those tried on the samples used, h_k that on the
/// samples held out, 0 without any, e_k = max(t_k, h_k), and E the least e of the orders before.
enum class SearchEnd {
  target_met,  ///< e_k <= Target::error, and the fit of all samples has no larger error either
  /// Three orders in a row, or more, without e_k < 0.9 E, and the last of them at least 48 and twice the one
  /// with the least e; or the fit of all samples missed the target that the search had met.
  no_gain,
  noise,       ///< as many without e_k < 0.9 E, the last of them with t_k below all before and h_k > 1.2 E
  most_poles,  ///< Target::most_poles, or half of what the samples allow
  cancelled,   ///< the callback asked for it
};

/// One order that was tried.
struct Step {
  std::size_t order = 0;        ///< number of poles
  double error = 0.0;           ///< in the measure of the target
  double held_out_error = 0.0;  ///< likewise on the samples held out, 0 without
};

/// What was found.
struct Search {
  Fit fit;                                ///< of all samples
  SearchEnd end = SearchEnd::target_met;  ///< why there were no more orders
  double error = 0.0;                     ///< of the fit, in the measure of the target
  std::vector<Step> steps;                ///< in the order in which they were tried
};

/// Starts small, adds pairs where the error is largest, drops poles that do not pay. Always ends. `options`
/// says everything but the starting poles and their numbers. Throws Error as fit does, and bad_option for a
/// target that is not above 0.
POLEFIT_EXPORT Search fit_to_error(const NetworkData& data, const Target& target,
                                   const Options& options = {});

}  // namespace polefit
