/// What a fit is asked for.
#pragma once

#include <complex>
#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

namespace polefit {

/// Where poles start that are not given one by one.
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

/// What is told after a relocation and after a step of polishing.
struct Progress {
  int iteration = 0;         ///< from 1
  std::size_t order = 0;     ///< number of poles
  double residual = 0.0;     ///< of the relocation, relative to the weighted data
  double pole_change = 0.0;  ///< largest relative move of a pole, as in Options::pole_tolerance
  Path path = Path::gram;    ///< how it was solved
  bool polishing = false;    ///< whether the poles were not relocated but moved downhill
  double error = 0.0;  ///< of a model with these poles, relative to the weighted data; 0 where not known
};

/// The choices of a fit.
struct Options {
  std::size_t real_poles = 0;      ///< to start with
  std::size_t complex_pairs = 10;  ///< likewise, of two poles each
  /// In rad/s, pairs side by side; when there are some, they stand in place of the numbers above and the
  /// placement.
  std::vector<std::complex<double>> starting_poles;
  Placement placement = Placement::linear;  ///< of the poles to start with
  bool constant = true;                     ///< whether there is a term d
  bool proportional = false;                ///< whether there is a term s h
  bool stable = true;                       ///< mirrors poles of the right half-plane
  bool orthogonal = false;                  ///< orthogonal factorisation throughout
  int iterations = 30;                      ///< relocations at most
  /// The poles have settled when max over new poles a of min over old poles b of |a - b| / |a| is below this.
  double pole_tolerance = 1e-8;
  /// Moves the poles of a fit downhill when relocations have ended, as long as that makes the error smaller:
  /// relocation does not minimise the error of data that no stable poles follow.
  bool polish = true;
  int threads = 1;  ///< the results do not depend on it
  /// The model takes the value of every response there exactly; with a single unknown a response one part
  /// only. At 0 Hz, where a model is real, an imaginary part below 1e-6 of the value or 1e-9 of the largest
  /// value of the response counts as rounding. What no model can meet is refused (bad_option): a larger
  /// imaginary part, samples at 0 Hz that differ by more than that, and any value other than 0 without a pole
  /// and a constant.
  std::optional<std::size_t> exact_sample;
  /// Called after each relocation; false ends the run with the model so far.
  std::function<bool(const Progress&)> progress;
  /// Called as often, and between rounds of an enforcement that follows: what it throws ends the run and
  /// reaches the caller, as what `progress` throws does. Both are called by the thread of the caller alone.
  std::function<void()> check_in = {};
};

}  // namespace polefit
