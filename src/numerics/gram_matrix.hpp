/// The products of a tall matrix' columns with each other, in blocks of rows that fit the cache.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "numerics/block_products.hpp"
#include "numerics/matrix.hpp"

namespace numerics {

/// The lower triangle of a^T a, zeros above, for a matrix of the given size that is made block by block:
/// fill(first, count, block) writes its rows first .. first + count - 1 to the first rows of a block of
/// zeros.
template <class Fill>
Matrix gram_matrix(std::size_t rows, std::size_t columns, const Fill& fill) {
  const std::size_t padded = (columns + column_step - 1) / column_step * column_step;
  const auto height = static_cast<std::size_t>(rows_per_block(static_cast<std::int64_t>(columns)));
  Matrix gram(padded, padded);
  Matrix block(height, columns);
  std::vector<double> packed(height * padded);
  for (std::size_t first = 0; first < rows; first += height) {
    const std::size_t count = std::min(height, rows - first);
    if (count < height) {
      std::fill(block.elements.begin(), block.elements.end(), 0.0);
    }
    fill(first, count, block);
    add_gram_matrix(part_of(std::as_const(block), 0, 0, height, columns), part_of(gram, 0, 0, padded, padded),
                    packed.data(), widest_vector_unit());
  }
  Matrix result(columns, columns);
  for (std::size_t j = 0; j < columns; ++j) {
    std::copy(gram.column(j) + j, gram.column(j) + columns, result.column(j) + j);
  }
  return result;
}

}  // namespace numerics
