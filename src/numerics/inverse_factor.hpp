/// The inverse of a symmetric positive definite matrix, as the factor of a product.
#pragma once

#include <optional>
#include <vector>

#include "numerics/matrix.hpp"
#include "numerics/vector_form.hpp"

namespace numerics {

/// A symmetric positive definite matrix A by the inverse W of its Cholesky factor, of rows and columns scaled
/// to a diagonal of ones: A^-1 = D W^T W D with D = diag(scale).
struct InverseFactor {
  std::vector<double> scale;
  Matrix w;                ///< lower triangular
  double condition = 0.0;  ///< reciprocal, of the scaled matrix in the norm of largest column sums
};

/// Of the matrix whose lower triangle a has; what stands above that is not looked at. Empty when it is not
/// positive definite, but for rounding. The results do not depend on the unit, which must be one of the
/// processor.
std::optional<InverseFactor> invert_positive(Matrix a, VectorUnit unit = widest_vector_unit());

}  // namespace numerics
