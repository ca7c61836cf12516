/// Fits of given order.
#pragma once

#include <complex>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "polefit/error.hpp"
#include "polefit/export.hpp"
#include "polefit/model.hpp"
#include "polefit/network_data.hpp"

namespace polefit {

enum class Placement {
  linear,       ///< evenly over the band
  logarithmic,  ///< evenly over the decades of the band
  peaks,        ///< complex pairs on the largest peaks of the data, the rest linear
};

/// How a relocation was solved.
enum class Path {
  gram,        ///< normal equations from Cauchy sums
  orthogonal,  ///< orthogonal factorisation
};

enum class StopReason {
  poles_settled,     ///< the poles moved less than the tolerance
  residual_settled,  ///< the residual of the relocation no longer falls
  iteration_limit,
  cancelled,  ///< the callback asked for it
};

struct Progress {
  int iteration = 0;  ///< from 1
  std::size_t order = 0;
  double residual = 0.0;     ///< of the relocation, relative to the weighted data
  double pole_change = 0.0;  ///< largest relative move of a pole
  Path path = Path::gram;
};

struct Options {
  std::size_t real_poles = 0;
  std::size_t complex_pairs = 10;
  /// In rad/s, pairs side by side; when there are some, they stand in place of the numbers above and the
  /// placement.
  std::vector<std::complex<double>> starting_poles;
  Placement placement = Placement::linear;
  bool constant = true;
  bool proportional = false;
  bool stable = true;            ///< mirrors poles of the right half-plane
  bool orthogonal = false;       ///< orthogonal factorisation throughout
  int iterations = 30;           ///< relocations at most
  double pole_tolerance = 1e-8;  ///< relative move of the poles below which they have settled
  int threads = 1;               ///< the results do not depend on it
  /// The model takes the value of every response there exactly; at 0 Hz its real part, and with a single
  /// unknown a response one part only.
  std::optional<std::size_t> exact_sample;
  /// Called after each relocation; false ends the run with the model so far.
  std::function<bool(const Progress&)> progress;
};

/// What a run did and how far to trust it.
struct Report {
  int iterations = 0;
  StopReason reason = StopReason::iteration_limit;
  Path last_path = Path::gram;
  int gram_relocations = 0;
  int orthogonal_relocations = 0;
  double residual = 0.0;  ///< of the last relocation, relative to the weighted data
  /// Reciprocal condition of the scaled basis' normal matrix, of the last relocation by normal equations.
  double condition_basis = 0.0;
  /// Reciprocal condition of the equations for the weighting function, of the last relocation; after an
  /// orthogonal one that of the system itself, the square root of what normal equations would have.
  double condition_sigma = 0.0;
  std::vector<ResponseError> errors;
  double relative_error = 0.0;  ///< root mean square over all responses, each relative to its own
  double worst_relative_error = 0.0;
  double largest_error = 0.0;  ///< largest modulus of a difference over all responses
};

struct Fit {
  Model model;
  Report report;
};

/// Fits all responses with one set of poles by Vector Fitting with the relaxed constraint. Throws Error for
/// data or options that cannot be fitted; never for data that fit badly.
POLEFIT_EXPORT Fit fit(const NetworkData& data, const Options& options = {});

}  // namespace polefit
