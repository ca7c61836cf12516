/// Models of passive networks made passive, with the least harm to the fit.
#pragma once

#include <cstddef>
#include <functional>
#include <vector>

#include "polefit/export.hpp"
#include "polefit/model.hpp"
#include "polefit/network_data.hpp"
#include "polefit/network_matrix.hpp"
#include "polefit/passivity.hpp"

namespace polefit {

/// What made a model passive.
enum class Remedy {
  none,           ///< nothing: it was passive
  shrinking,      ///< S was multiplied by less than 1; a multiple of the unit matrix was added to Y or Z
  nearest,        ///< residues and constants are those of the passive model that is nearest to the data, with
                  ///< poles that may have moved
  drawn_inwards,  ///< the same at a point where the search for it had to end, drawn inwards until it was
                  ///< passive
};

/// The choices of an enforcement.
struct EnforcementOptions {
  /// Whether poles may move where the error would grow by more than 5 per cent without that. They stay
  /// stable. Resonances whose damping is less than 1e-8 of their modulus get that in any case, unless the
  /// value at 0 Hz is kept.
  bool move_poles = false;
  /// Pairs of poles that may be added beyond the band, where nothing else keeps the error.
  std::size_t most_room_pairs = 0;
  /// An error, measured as EnforcementReport::error_after, that is small enough whatever it was before.
  double error_wanted = 0.0;
  bool keep_value_at_zero = false;  ///< keeps the values at 0 Hz, to rounding
  std::size_t most_rounds = 20;     ///< of cutting planes, for each trial
  double most_operations = 1e10;    ///< multiplications, roughly, after which no trial begins
  /// Called between rounds; what it throws ends the enforcement and reaches the caller.
  std::function<void()> check_in = {};
};

/// What it took.
struct EnforcementReport {
  Passivity passivity;           ///< of the model, at every frequency
  Remedy remedy = Remedy::none;  ///< what made it passive
  std::size_t room_pairs = 0;    ///< pairs of poles that were added
  std::size_t rounds = 0;        ///< of cutting planes, of all trials
  std::size_t moves = 0;         ///< of the poles, that made the error smaller
  double operations = 0.0;       ///< multiplications, roughly, of all trials
  /// Root mean square of the weighted differences relative to that of the weighted data; without weights of
  /// all responses, each relative to its own root mean square.
  double error_before = 0.0;
  double error_after = 0.0;                  ///< likewise, of the passive model
  std::vector<ResponseError> errors_before;  ///< one a response, without weights
  std::vector<ResponseError> errors_after;   ///< likewise, of the passive model
};

/// A passive model.
struct Enforcement {
  Model model;               ///< of all responses, passive if the report says so
  EnforcementReport report;  ///< what it took
};

/// The passive model that has the poles of `model`, unless these may move or be more, and is nearest to the
/// data. Passive models with given poles are a convex set, and the weighted squared distance is a convex
/// function: residues and constants are found by cutting planes (docs/polefit.md), and the result is
/// certified at every frequency. A model that is
/// symmetric to a part in a billion, as those of reciprocal networks are, becomes and stays exactly
/// symmetric. Terms proportional to s of Y and Z are replaced by the nearest symmetric ones without a
/// negative eigenvalue; those of S are left out.
///
/// `data` has the responses of the model. Weights count as a product of one factor a response and one a
/// sample, those of a table that is no such product by their root mean squares. Always ends; the model is the
/// input itself where that is passive.
///
/// Throws Error: as passivity and check of the data do; bad_shape for data that have not the responses of the
/// model; bad_option where values at 0 Hz are to be kept that are not passive.
POLEFIT_EXPORT Enforcement enforce_passivity(const Model& model, const NetworkData& data,
                                             const EnforcementOptions& options = {});

/// How passive samples are.
struct SampledPassivity {
  bool passive = true;  ///< at all samples, with the tolerance
  /// By which S may exceed 1, or Y and Z fall below 0 relative to their norm; where that is small, the noise
  /// counts as it is.
  double tolerance = 1e-3;
  /// The largest singular value of S; the least eigenvalue of the Hermitian part of Y or Z, over the norm.
  double extreme = 0.0;
  double frequency = 0.0;   ///< in hertz, where that is
  std::size_t samples = 0;  ///< that violate
  double lowest = 0.0;      ///< in hertz, of those that violate
  double highest = 0.0;     ///< likewise
};

/// Whether the samples of a whole S, Y or Z matrix are those of a passive network, to 1e-3 or to three times
/// their noise, if that is more. The elements of `matrix` are the responses of the data. `noise` has one
/// element a response, relative to its root mean square, as Findings::noise, or none. Throws Error as check,
/// and bad_shape for what is no whole matrix, or noise of another number of responses.
POLEFIT_EXPORT SampledPassivity sampled_passivity(const NetworkData& data, const NetworkMatrix& matrix,
                                                  const std::vector<double>& noise = {});

}  // namespace polefit
