/// Fits whose models are passive.
#pragma once

#include <cstddef>

#include "polefit/enforcement.hpp"
#include "polefit/export.hpp"
#include "polefit/fit.hpp"
#include "polefit/network_data.hpp"
#include "polefit/network_matrix.hpp"
#include "polefit/options.hpp"
#include "polefit/order_search.hpp"

namespace polefit {

/// A fit as it was before anything was done to make its model passive.
struct FirstFit {
  std::size_t order = 0;  ///< number of poles
  /// As EnforcementReport::error_before, and with the weights of EnforcementReport::error_after: what is more
  /// there is the cost, whichever fit was taken.
  double error = 0.0;
};

/// A fit of given order.
struct PassiveFit {
  Fit fit;                        ///< its model is passive, its errors are those of that model
  EnforcementReport enforcement;  ///< of the fit that was taken
  FirstFit first;                 ///< the one that was given
};

/// What was found.
struct PassiveSearch {
  /// Its model is passive, its errors and its end are those of that model; the orders that were tried are
  /// those of all searches.
  Search search;
  EnforcementReport enforcement;  ///< of the model that was taken
  FirstFit first;                 ///< what there was without other orders
};

/// As fit_to_error, for the samples of a whole S, Y or Z matrix, of models made passive: the error that
/// counts is that behind enforcement, in which poles may move. Where the target is lost by it, or where the
/// error that could be reached grows by more than 5 per cent, room poles are added, orders tried that are
/// smaller, with less beyond the band that would have to be mended, and larger, with an error that leaves
/// room for it. Of the models that meet the target the one with the fewest poles is taken, and if none does
/// the one with the least error; room poles count, and do not exceed the limit on the order. Also ends with a
/// passive model for data that are not those of a passive network; it is then as far from them as they are
/// from passive ones. What exact_sample takes exactly at 0 Hz stays.
///
/// What fit_to_error met to the noise counts as met to it as long as the error is not more than 5 per cent
/// larger. Where it is, the search ends with SearchEnd::lost_to_passivity whatever was in the way of the
/// target before, but for SearchEnd::too_coarse and SearchEnd::cancelled. Without weights a response counts
/// in the enforcement by the inverse of the error that it is allowed, the target or 1.1 times its noise.
///
/// Throws Error as fit_to_error and as enforce_passivity do. Models with poles in the right half-plane cannot
/// be passive: bad_option for options that permit them.
POLEFIT_EXPORT PassiveSearch fit_to_error_passively(const NetworkData& data, const NetworkMatrix& matrix,
                                                    const Target& target, const Options& options = {});

/// The same from what fit_to_error has found with the same arguments, which is not searched for again: where
/// its model is passive it is the result. Its orders that were tried are among those of the result. Throws
/// Error as that does, and bad_shape for what was found about another number of responses.
POLEFIT_EXPORT PassiveSearch made_passive(Search found, const NetworkData& data, const NetworkMatrix& matrix,
                                          const Target& target, const Options& options = {});

/// A fit with its model made passive by enforce_passivity. Throws Error as that does.
POLEFIT_EXPORT PassiveFit made_passive(Fit fit, const NetworkData& data, const NetworkMatrix& matrix,
                                       const EnforcementOptions& options = {});

/// The same of a fit with these options. Where the error grows by more than 5 per cent, poles move, if the
/// options permit to polish them; where that does not do, the data are fitted again with fewer poles, down to
/// three eighths, whose place room poles may take; the model with the least error is taken, which has at most
/// as many poles as the fit. Starting poles that were given one by one are not given up. What exact_sample
/// takes exactly at 0 Hz stays. Throws Error as fit and as enforce_passivity do, and bad_option for options
/// that permit poles in the right half-plane.
POLEFIT_EXPORT PassiveFit made_passive_by_refitting(Fit fit, const NetworkData& data,
                                                    const NetworkMatrix& matrix, const Options& options);

}  // namespace polefit
