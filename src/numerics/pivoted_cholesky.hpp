/// A positive semidefinite matrix, by as few columns as it needs.
#pragma once

#include <cstddef>
#include <vector>

#include "numerics/matrix.hpp"

namespace numerics {

struct PivotedCholesky {
  Matrix l;                         ///< n x k: A ~ L L^T
  std::vector<std::size_t> pivots;  ///< k rows: L(pivots[j], i) is 0 for i > j and above 0 for i = j
  double rest = 0.0;                ///< trace of A - L L^T, which is positive semidefinite but for rounding
};

/// Cholesky's factorisation with the largest element of the diagonal first (Higham, "Analysis of the Cholesky
/// decomposition of a semi-definite matrix", in Reliable Numerical Computation, 1990), until the trace of
/// what is left is at most `tolerance`, or rounding. n k^2 operations.
///
/// a   n x n; its lower triangle is used
PivotedCholesky pivoted_cholesky(const Matrix& a, double tolerance);

}  // namespace numerics
