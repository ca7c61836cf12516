/// The two products of a block of reflections with other columns, in tiles that stay in registers.
///
/// v   rows x k, not changed
/// w   k x n
/// b   rows x n
/// The number of rows is a multiple of row_group, which callers reach by zeros. The results have the same
/// bits with any unit: the order of every sum is fixed, and products and sums are not contracted.
#pragma once

#include <cstddef>

#include "numerics/matrix_view.hpp"
#include "numerics/vector_form.hpp"

namespace numerics {

inline constexpr std::size_t row_group = sum_parts;

/// Rows of a storage for so many: whole groups, and an odd number of them so that columns do not fall onto
/// the same places of a cache.
inline std::size_t padded_rows(std::size_t rows) {
  return ((rows + row_group - 1) / row_group | 1) * row_group;
}

/// w += v^T b. Each element is summed over blocks of rows, and there in eight parts.
void add_transposed_product(const MatrixView<const double>& v, const MatrixView<const double>& b,
                            const MatrixView<double>& w, VectorUnit unit);

/// b -= v w. Each element has the products subtracted in the order of the columns of v.
void subtract_product(const MatrixView<const double>& v, const MatrixView<const double>& w,
                      const MatrixView<double>& b, VectorUnit unit);

}  // namespace numerics
