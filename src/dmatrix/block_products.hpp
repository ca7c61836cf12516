/// The products of the normal equations, over a block of rows that fits the cache.
///
/// They use the widest vector instructions of the processor and give the same bits with any: the order of
/// every sum is fixed, and products and sums are not contracted.
///
/// a       a block of rows; their number is a multiple of row_step, which the caller reaches by zeros
/// unit    one that this processor has
#pragma once

#include "dmatrix/matrix_view.hpp"

namespace s_solver {

inline constexpr int row_step = 16;
inline constexpr int column_step = 8;
inline constexpr int left_inverse_rows = 4;

enum class VectorUnit { baseline, avx2, avx512 };

/// The widest that this processor has.
VectorUnit widest_vector_unit();

/// Adds a^T a to the lower triangle of gram; each element is summed row after row, on from what it holds.
/// gram     square, of the number of columns of a rounded up to a multiple of column_step; above the diagonal
///          and outside a^T a elements may be changed or not
/// packed   room for a.rows() times that number of values
void add_gram_matrix(const MatrixView<const double>& a, const MatrixView<double>& gram, double* packed,
                     VectorUnit unit);

/// x += (inverse a^T) b. The product in parentheses, the left inverse, is formed first, left_inverse_rows of
/// its rows at a time; each element is summed in the order of the columns of a. The sums over the rows of a,
/// the product with b, have eight parts. inverse        as many columns as a; as many rows, rounded up to a
/// multiple of left_inverse_rows b              as many values as a has rows x              as many values as
/// the inverse has rows left_inverse   room for left_inverse_rows times a.rows() values
void add_left_inverse_product(const MatrixView<const double>& inverse, const MatrixView<const double>& a,
                              const double* b, double* x, double* left_inverse, VectorUnit unit);

}  // namespace s_solver
