/// The products of the normal equations, over a block of rows that fits the cache.
///
/// They use the widest vector instructions of the processor and give the same bits with any: the order of
/// every sum is fixed, and products and sums are not contracted.
///
/// a       a block of rows; their number is a multiple of row_step, which the caller reaches by zeros
/// unit    one that this processor has
#pragma once

#include <cstdint>

#include "numerics/matrix_view.hpp"
#include "numerics/vector_unit.hpp"

namespace numerics {

inline constexpr int row_step = 16;
inline constexpr int column_step = 8;
inline constexpr int left_inverse_rows = 4;

/// The number of rows that a block with so many columns should have: few enough for the second-level cache,
/// enough for the work on a whole block not to be felt. A multiple of row_step.
std::int64_t rows_per_block(std::int64_t columns);

/// Adds a^T a to the lower triangle of gram; each element is summed row after row, on from what it holds.
///
/// gram     square, of the number of columns of a rounded up to a multiple of column_step; above the diagonal
///          and outside a^T a elements may be changed or not
/// packed   room for a.rows() times that number of values
void add_gram_matrix(const MatrixView<const double>& a, const MatrixView<double>& gram, double* packed,
                     VectorUnit unit);

/// x += (inverse a^T) b. The product in parentheses, the left inverse, is formed first, left_inverse_rows of
/// its rows at a time; each element is summed in the order of the columns of a. The sums over the rows of a,
/// the product with b, have eight parts.
///
/// inverse        as many columns as a; as many rows, rounded up to a multiple of left_inverse_rows
/// count          the rows of a that are not filled up; those behind them take no part
/// b              a.rows() values
/// x              as many values as the inverse has rows
/// left_inverse   room for left_inverse_rows times a.rows() values
void add_left_inverse_product(const MatrixView<const double>& inverse, const MatrixView<const double>& a,
                              std::int64_t count, const double* b, double* x, double* left_inverse,
                              VectorUnit unit);

/// Columns packed for add_packed_products, column_step of them together: element (k, c) of a group is
/// packed[k * column_step + c], and the groups follow each other. Columns beyond the last are filled up with
/// zeros.
///
/// packed   room for a.rows() times the number of columns, rounded up to a multiple of column_step, values
void pack_columns(const MatrixView<const double>& a, double* packed);

/// product(j, i) += the product of column i of `left` and column j of `right`, summed row after row.
///
/// left, right   packed, with `rows` rows and the given numbers of groups of columns
/// product       as many rows as right has columns, as many columns as left, the filled up ones included
void add_packed_products(const double* left, int left_groups, const double* right, int right_groups, int rows,
                         const MatrixView<double>& product, VectorUnit unit);

/// out = a factors^T for a lower triangular matrix of factors: column i of out is the sum of factors(i, j)
/// times column j of a for j up to i, in that order.
///
/// factors   as many columns as a; 0 above the diagonal; its number of rows a multiple of left_inverse_rows
/// out       as many rows as a, as many columns as factors has rows, without gaps
void combine_columns_lower(const MatrixView<const double>& factors, const MatrixView<const double>& a,
                           double* out, VectorUnit unit);

}  // namespace numerics
