/// What a search wants.
#pragma once

#include <cstddef>
#include <functional>

#include "polefit/options.hpp"

namespace polefit {

/// Thrown where the caller wants an end.
struct Cancelled {};

/// What is being tried.
struct Trial {
  std::size_t order = 0;  ///< poles
  double error = 0.0;     ///< of this trial, relative to the weighted data
  double residual = 0.0;  ///< of the relocation, 0 where there was none
  bool orthogonal = false;
};

struct Goal {
  double error = 1e-3;  ///< relative to the weighted data
  /// Of the ridge: bounds scaled coefficients by the error over delta.
  double delta = 1e-9;
  bool stable = true;       ///< mirrors poles of the right half-plane
  bool orthogonal = false;  ///< relocates by orthogonal factorisation throughout
  int threads = 1;
  /// Told of each relocation and each step of polishing; throws Cancelled to end the search.
  std::function<void(const Trial&)> watch;
};

/// Calls what the caller wants called between two steps, with the progress `now()`; whether the run goes on.
template <class Now>
bool goes_on(const Options& options, const Now& now) {
  if (options.check_in) {
    options.check_in();
  }
  return !options.progress || options.progress(now());
}

}  // namespace polefit
