/// Fits whose order is found, not given.
#pragma once

#include <cstddef>
#include <optional>
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
  /// The limit on the order. Without one it is 100, and for data that turn more often than that many poles
  /// can follow up to 400; in any case not more than half the number of samples.
  std::optional<std::size_t> most_poles = std::nullopt;
};

/// Why a search ended. e is Search::error; the others are in Findings.
enum class SearchEnd {
  target_met,  ///< e <= Target::error
  /// e as small as the noise allows: with e_r the relative error and n_r the noise of response r, the mean of
  /// e_r^2 / (Target::error^2 + (1.1 n_r)^2) is at most 1.
  met_to_noise,
  noise,       ///< what is left is white: more poles would model noise
  not_causal,  ///< stable poles cannot follow, as many on either side of the axis could
  no_gain,     ///< two doublings of the order took less than 10 per cent each off the error
  /// The error that is minimised, of the weighted data, met its goal, that of Target::measure did not.
  missed_measure,
  too_coarse,  ///< the phase turns too far from sample to sample for any order
  most_poles,  ///< the limit on the order
  cancelled,   ///< the callback asked for it
  /// The target was met, or met to the noise, before the model was made passive; or the error was smaller by
  /// more than 5 per cent (passive_search.hpp).
  lost_to_passivity,
};

/// One order that was tried.
struct Step {
  std::size_t order = 0;  ///< number of poles
  double error = 0.0;     ///< relative to the weighted data
};

/// What a search found out about the data.
struct Findings {
  /// Of each response, relative to its root mean square; 0 where none can be told.
  std::vector<double> noise;
  double noise_floor = 0.0;  ///< root mean square of these
  double turns = 0.0;        ///< around the origin, of the response that turns most; a pole pair follows one
  /// Mean phase of that response from sample to sample; below 0 where it runs forward, as it does in data
  /// that are advanced or sampled too coarsely for their delay.
  double degrees_a_sample = 0.0;
  /// The residual of the linearised equations of the best relocation, in which poles may be on either side of
  /// the axis, relative to the weighted data; as small as rounding where they could follow exactly.
  double either_side = 0.0;
  /// Seconds by which the data are advanced, where delaying them by so much lets stable poles follow; else 0.
  double advance = 0.0;
};

/// What was found.
struct Search {
  Fit fit;                                ///< of all samples
  SearchEnd end = SearchEnd::target_met;  ///< why there were no more orders
  double error = 0.0;                     ///< of the fit, in the measure of the target
  Findings findings;                      ///< about the data
  std::vector<Step> steps;                ///< orders in the order in which they were tried
};

/// The error of a fit in the measure of a target.
inline double measured(const Report& report, Measure measure) {
  switch (measure) {
    case Measure::relative_rms:
      return report.relative_error;
    case Measure::worst_response:
      return report.worst_relative_error;
    default:
      return report.largest_error;
  }
}

/// Whether a search did what was asked: the target is met; or as far as the noise allows, of data that are
/// not mostly noise in all responses; or an end that is the data's (noise, not_causal, no_gain) left a
/// relative error of at most 1e-2, which is common practice.
POLEFIT_EXPORT bool succeeded(const Search& search);

/// Tries orders, first two poles a turn of the data but at least 4, then each twice the one before, until the
/// target is met or an end is recognised, then takes as few poles as keep the error. Always ends. `options`
/// says everything but the starting poles, their numbers and places; the limit on relocations, the tolerance
/// of poles and the choice to polish are those of a fit of given order, a search has its own. Throws Error as
/// fit does, and bad_option for a target that is not above 0.
POLEFIT_EXPORT Search fit_to_error(const NetworkData& data, const Target& target,
                                   const Options& options = {});

}  // namespace polefit
