/// Fits of given order.
#pragma once

#include <string>
#include <vector>

#include "polefit/error.hpp"
#include "polefit/export.hpp"
#include "polefit/model.hpp"
#include "polefit/network_data.hpp"
#include "polefit/options.hpp"

namespace polefit {

/// Why relocations ended. r_k is the residual of relocation k, Report::residual.
enum class StopReason {
  /// max over new poles a of min over old poles b of |a - b| / |a| < Options::pole_tolerance; also without
  /// poles.
  poles_settled,
  /// |r_k - r_(k-1)| <= 1e-3 r_(k-1) or r_k < 1e-13, four times in a row.
  residual_settled,
  iteration_limit,  ///< Options::iterations
  searched,         ///< a search for the order decided how many there were
  cancelled,        ///< the callback asked for it
};

/// What a run did and how far to trust it.
///
/// A relocation takes normal equations (Path::gram) while these can be trusted. With r its residual, b and g
/// its condition_basis and condition_sigma, l >= 1 what its sums lose to cancellation and eps = 2^-52:
///   b < 1e-9 l, g < 1e-12, or a pole that is not in the left half-plane:
///                                      this relocation is done by orthogonal factorisation instead;
///   r < 1e-6 and (b < 1e-3 or g < 1e-4 or l > 1e3), or eps l / (b g) > max(1e-9, r / 10):
///                                      it hides digits; after two of these in a row all further ones are
///                                      orthogonal.
/// Where the data have noise n > 1e-6, told from neighbouring samples and relative to the weighted data, and
/// r >= n / 2, none of this holds but for poles that are not in the left half-plane: there equations get a
/// ridge of 1e-14, and up to 1e-8 where that is not enough, before a relocation is orthogonal.
/// When relocations have ended, further ones by orthogonal factorisation follow, each with the residues of
/// its poles, and the best model is kept. With e the relative weighted error of the best model so far, they
/// follow after a last one by normal equations that hides digits, and after any orthogonal one while
/// e > max(10 r, 1e-13); they end at Options::iterations, and with four in a row whose model does not have an
/// error below (1 - 1e-3) e. The reason stays that for which relocations ended before these, but for
/// `cancelled`.
///
/// Then, with Options::polish, stable poles and e > 1e-10, but not where n / 2 <= e <= 1.02 n, up to ten
/// steps of variable projection follow, as long as each takes 3 per cent off the error; with r < 0.6 e also
/// from half as many poles more, thinned out to the number that was asked for. Their model counts if it is
/// better.
struct Report {
  int iterations = 0;                               ///< relocations
  StopReason reason = StopReason::iteration_limit;  ///< why they ended
  Path last_path = Path::gram;                      ///< of the last relocation
  int gram_relocations = 0;                         ///< by normal equations
  int orthogonal_relocations = 0;                   ///< by orthogonal factorisation
  int polishing_steps = 0;                          ///< of variable projection behind them
  double residual = 0.0;                            ///< of the last relocation, relative to the weighted data
  /// Reciprocal condition of the scaled basis' normal matrix, of the last relocation by normal equations.
  double condition_basis = 0.0;
  /// Reciprocal condition of the equations for the weighting function, of the last relocation; after an
  /// orthogonal one that of the system itself, the square root of what normal equations would have.
  double condition_sigma = 0.0;
  std::vector<ResponseError> errors;  ///< one a response
  double relative_error = 0.0;        ///< root mean square over all responses, each relative to its own
  double worst_relative_error = 0.0;  ///< largest of a response
  double largest_error = 0.0;         ///< largest modulus of a difference over all responses
  /// Largest modulus of the model at any frequency (largest_gain) over that of the data; 0 for data of zeros.
  double gain = 0.0;
  std::string finding;  ///< why a search for the order ended, in one line; empty for a given order
};

/// A fitted model, and how it came about.
struct Fit {
  Model model;    ///< of all responses
  Report report;  ///< what the run did
};

/// Fits all responses with one set of poles by Vector Fitting with the relaxed constraint. Throws Error for
/// data or options that cannot be fitted; never for data that fit badly. Data of zeros are fitted by zero,
/// without poles.
POLEFIT_EXPORT Fit fit(const NetworkData& data, const Options& options = {});

}  // namespace polefit
