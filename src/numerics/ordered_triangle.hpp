/// The triangle of an orthogonal factorisation, factorised once more with its columns in an order of falling
/// size (Businger, Golub, "Linear least squares solutions by Householder transformations", Numer. Math. 7,
/// 1965). Without that, a column that is a combination of others would take an equation with it that the
/// columns behind it need.
#pragma once

#include <cstddef>
#include <vector>

#include "numerics/matrix.hpp"
#include "numerics/vector_form.hpp"

namespace numerics {

struct OrderedTriangle {
  Matrix r;                        ///< upper triangular; below, each reflection's v without its leading 1
  std::vector<double> tau;         ///< of the reflections
  std::vector<std::size_t> place;  ///< of each of its columns in the triangle it comes from
  std::size_t rank = 0;            ///< columns that are not negligible
};

/// Of the upper triangle r, n x n, that is left of columns of norm 1 or parts of such: a column is negligible
/// when less than 100 n eps is left of it, and so are those behind it. The results do not depend on the unit,
/// which must be one of the processor.
OrderedTriangle ordered_triangle(const Matrix& r, VectorUnit unit = widest_vector_unit());

/// Solves R x = b(0 .. n - 1, column) for all columns of b, in place; unknowns of negligible columns are 0.
void solve_triangular(const OrderedTriangle& triangle, Matrix& b, VectorUnit unit = widest_vector_unit());

}  // namespace numerics
