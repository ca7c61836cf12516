/// How well-conditioned a triangle is.
#pragma once

#include "numerics/matrix.hpp"

namespace numerics {

/// The reciprocal condition 1 / (|R| |R^-1|) of the upper triangle of r, n x n, in the norm of largest column
/// sums; from the columns of the inverse, n^3 / 3 operations. 0 when a diagonal element is 0, or when the
/// condition overflows or an element is not finite; 1 for n = 0.
double triangle_condition(const Matrix& r);

}  // namespace numerics
