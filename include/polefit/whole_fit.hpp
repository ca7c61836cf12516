/// Fits from data to verdict: the order given or found, the model passive where the data are.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "polefit/enforcement.hpp"
#include "polefit/export.hpp"
#include "polefit/fit.hpp"
#include "polefit/network.hpp"
#include "polefit/network_data.hpp"
#include "polefit/network_matrix.hpp"
#include "polefit/options.hpp"
#include "polefit/order_search.hpp"
#include "polefit/passive_search.hpp"
#include "polefit/passivity.hpp"

namespace polefit {

/// What a whole fit is asked for; without any choice it finds an order for a relative error of 1e-3.
struct WholeFitOptions {
  std::optional<std::size_t> poles = std::nullopt;  ///< the order; without it one is searched for
  /// So many of the poles that are given start as real ones; without it one where their number is odd.
  std::optional<std::size_t> real_poles = std::nullopt;
  std::optional<double> error = std::nullopt;     ///< target of a search, or what a given order has to meet
  std::optional<Measure> measure = std::nullopt;  ///< of that error
  std::optional<std::size_t> most_poles = std::nullopt;  ///< limit of a search on the order
  /// Whether the model is made passive: in any case, or never; without it where the data of a whole matrix
  /// are passive, unless poles may be in the right half-plane.
  std::optional<bool> passive = std::nullopt;
  Options options = {};  ///< all else; the numbers of poles to start with are those above
};

/// What a whole fit came to.
struct WholeFit {
  Fit fit;                               ///< its model records what was certified of its passivity
  std::optional<bool> search_succeeded;  ///< none for a given order
  std::optional<Target> target;          ///< of a given order, where one was named
  std::size_t orders_tried = 0;          ///< by a search
  std::vector<double> noise;             ///< of each response, where a search could tell it from the data
  std::optional<Passivity> passivity;    ///< of a stable model of a whole matrix, where it can be told
  bool to_be_passive = false;            ///< whether it was to be made passive
  std::optional<EnforcementReport> enforcement;  ///< what that took
  FirstFit first;                                ///< what there was before, where that was done
  /// What the values of Options::exact_sample are off by, as a part of the largest of their response.
  double off_at_exact_sample = 0.0;
  std::string not_corrected;               ///< why it was not made passive, where that was tried
  std::optional<SampledPassivity> active;  ///< the data, where they are not passive
};

/// Fits the responses of `data`, which are the elements of `matrix` where there is one, as
/// `polefit fit` does with the same choices. Throws Error as fit, fit_to_error and sampled_passivity do;
/// bad_option for more real poles than poles, a pole without its conjugate, an error that is no finite number
/// above 0, or a model that is to be passive and need not be stable; bad_shape for a matrix that has not an
/// element for each response, is none of S, Y and Z or has references that are none, and where a model is to
/// be passive that is of no whole matrix.
POLEFIT_EXPORT WholeFit whole_fit(const NetworkData& data, const std::optional<NetworkMatrix>& matrix,
                                  const WholeFitOptions& options = {});

/// The same of a network. Throws Error as that and as check, with the network's file in front.
POLEFIT_EXPORT WholeFit whole_fit(const Network& network, const WholeFitOptions& options = {},
                                  std::span<const double> weights = {});

/// Whether the model followed the data until it was made passive, and does not any more: its error is above
/// 0.3, and more than ten times what it was.
POLEFIT_EXPORT bool lost_the_data(const WholeFit& fit);

/// Whether the model follows the data: its relative error is at most 0.3.
POLEFIT_EXPORT bool follows_the_data(const WholeFit& fit);

/// Whether what was to be taken exactly at a sample is, to 1e-9.
POLEFIT_EXPORT bool is_exact(const WholeFit& fit);

/// Whether a user may take the model without another thought: it fits as was asked, and is passive where it
/// was to be and follows the data for all that. A model of given order fits when it meets the target that was
/// named; without one when its relocations have settled and its error is at most 0.3.
POLEFIT_EXPORT bool converged(const WholeFit& fit);

/// Whether a model of S parameters amplifies what it does not fit: its error is above 1e-2, and somewhere,
/// in the band or out of it, it is more than twice as large as the data ever are.
POLEFIT_EXPORT bool harmful(const WholeFit& fit, const std::optional<NetworkMatrix>& matrix);

}  // namespace polefit
