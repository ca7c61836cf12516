/// The least value of a convex quadratic function over unknowns that are not negative.
#pragma once

#include <vector>

#include "numerics/matrix.hpp"

namespace numerics {

struct NonnegativeMinimum {
  std::vector<double> x;
  bool converged = true;    ///< else the steps were used up; x is not negative all the same
  double operations = 0.0;  ///< multiplications with an addition, roughly
};

/// The x >= 0 at which x^T k x / 2 - d^T x is least, by an active set: unknowns above 0 solve their
/// equations, and the one whose slope asks for it most is let go from 0 next (Lawson, Hanson, "Solving Least
/// Squares Problems", 1974, chapter 23).
///
/// k           positive semidefinite, with a diagonal near 1, of which a part in 1e-12 is added to it
/// start       values above 0 say which unknowns are above 0 to begin with; empty, or one for each
/// tolerance   slopes up to this are none
/// most        changes of the active set
NonnegativeMinimum nonnegative_minimum(const Matrix& k, const std::vector<double>& d,
                                       const std::vector<double>& start, double tolerance, int most);

}  // namespace numerics
