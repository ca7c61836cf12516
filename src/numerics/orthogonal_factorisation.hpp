/// An orthogonal factorisation A = Q R.
///
/// Q is the product of reflections, taken together in panels as I - V T V^T (Schreiber, Van Loan, "A
/// storage-efficient WY representation for products of Householder transformations", SIAM J. Sci. Stat.
/// Comput. 10(1), 1989); a panel is factorised by halves (Elmroth, Gustavson, "Applying recursion to serial
/// and parallel QR factorization leads to better performance", IBM J. Res. Dev. 44(4), 2000).
#pragma once

#include <cstddef>

#include "numerics/matrix.hpp"
#include "numerics/vector_form.hpp"

namespace numerics {

struct OrthogonalFactorisation {
  std::size_t rows = 0;  ///< of A
  Matrix r;              ///< n x n for the n columns of A, upper triangular, of either sign on the diagonal
  Matrix v;              ///< lower trapezoidal with a diagonal of ones; rows of zeros below those of A
  Matrix t;              ///< T^T of every panel, side by side
};

/// Factorises a; where it has fewer rows than columns, with rows of zeros below. Columns may have any scale
/// as long as their norms are finite; for a column of which nothing is left there is no reflection. Elements
/// that are not finite make those of the result so. The results do not depend on the unit, which must be one
/// of the processor.
OrthogonalFactorisation factorise(const MatrixView<const double>& a, VectorUnit unit = widest_vector_unit());
OrthogonalFactorisation factorise(const Matrix& a, VectorUnit unit = widest_vector_unit());

/// Room for the factorisation of a matrix whose elements are still to be written to the first rows of v.
OrthogonalFactorisation room_for_factorisation(std::size_t rows, std::size_t columns);

/// Factorises the matrix that v holds. What T had before does not matter.
void factorise_in_place(OrthogonalFactorisation& factorisation, VectorUnit unit = widest_vector_unit());

/// b = Q^T b for all columns of b, which has as many rows as A, and A no more columns than that.
void apply_transposed(const OrthogonalFactorisation& factorisation, Matrix& b,
                      VectorUnit unit = widest_vector_unit());

}  // namespace numerics
