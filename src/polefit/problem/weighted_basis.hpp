/// The basis functions, the constant and the proportional term as columns over all samples.
#pragma once

#include <cstddef>
#include <vector>

#include "numerics/matrix.hpp"
#include "polefit/problem/pole_basis.hpp"
#include "polefit/problem/problem.hpp"

namespace polefit {

using numerics::Matrix;

/// Writes the basis functions and the terms that the problem has, at `count` samples from `first` on, to
/// columns `ld` values apart: real parts over imaginary parts.
void fill_terms(const Problem& problem, const Poles& poles, std::size_t first, std::size_t count,
                double* columns, std::size_t ld);

/// Columns of the basis functions and of the terms that the problem has; real parts over imaginary parts.
Matrix unweighted_basis(const Problem& problem, const Poles& poles);

struct WeightedBasis {
  Matrix columns;             ///< of norm 1, or of zeros where nothing has a weight
  std::vector<double> scale;  ///< what each was multiplied with, beside the weights
};

/// The columns with the weights of response r (which are everybody's unless responses have their own).
WeightedBasis weighted_basis(const Problem& problem, const Matrix& basis, std::size_t r);

}  // namespace polefit
