/// The passive model that is nearest to data, with the poles as they are.
///
/// The nearest model behind all planes so far is found, cut off by planes at its own violations, and found
/// again (Kelley, "The cutting-plane method for solving convex programs", J. SIAM 8, 1960). Planes alone are
/// slow at the end: each round also tries a point that lies inside by what is still violated, which is the
/// result as soon as it is passive and costs next to nothing.
#pragma once

#include <cstddef>
#include <functional>
#include <limits>
#include <vector>

#include "polefit/passivity/harm.hpp"
#include "polefit/passivity/planes.hpp"
#include "polefit/passivity/scaled_model.hpp"

namespace polefit {

struct NearestPassive {
  ScaledModel model;
  bool certified = false;  ///< passive; else the last point, which is not
  double error = 0.0;      ///< in the band
  std::size_t rounds = 0;
  double operations = 0.0;    ///< roughly, a billion a second
  std::vector<Peak> holding;  ///< the planes that hold it back
};

struct NearestOptions {
  bool symmetric = false;     ///< keeps the matrix symmetric
  double margin = 1e-9;       ///< by which measures stay below their limit
  double tolerance = 0.0;     ///< by which the certificate may exceed it
  double error_enough = 0.0;  ///< a passive model with such an error ends the search ...
  /// Where it becomes clear that the error will be larger than this, the search is not ended.
  double error_hopeless = std::numeric_limits<double>::infinity();
  double error_wanted = 0.0;  ///< ... and one with such an error when it has become long
  std::size_t most_rounds = 60;
  double most_operations = std::numeric_limits<double>::infinity();
  std::function<void()> check_in = {};  ///< called in each round
};

/// What measures are to stay below: for Y and Z the margin, in units of the scale, is the least that
/// eigenvalues are to be, of which a little of their value's norm is forgiven.
double limit_with_margin(const ScaledModel& model, double margin);

NearestPassive nearest_passive(const ScaledModel& model, const Harm& harm, const NearestOptions& options);

}  // namespace polefit
