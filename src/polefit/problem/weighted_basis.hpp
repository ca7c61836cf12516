/// The basis functions, the constant and the proportional term as columns over all samples.
#pragma once

#include <vector>

#include "numerics/matrix.hpp"
#include "polefit/problem/pole_basis.hpp"
#include "polefit/problem/problem.hpp"

namespace polefit {

using numerics::Matrix;

/// Columns of the basis functions and of the terms that the problem has; real parts over imaginary parts.
Matrix unweighted_basis(const Problem& problem, const Poles& poles);

struct WeightedBasis {
  Matrix columns;             ///< of norm 1, or of zeros where nothing has a weight
  std::vector<double> scale;  ///< what each was multiplied with, beside the weights
};

/// The columns with the weights of response r (which are everybody's unless responses have their own).
WeightedBasis weighted_basis(const Problem& problem, const Matrix& basis, std::size_t r);

}  // namespace polefit
