/// Products of small matrices, where their time does not show.
#pragma once

#include <cstddef>

#include "numerics/matrix.hpp"

namespace numerics {

inline Matrix transposed(const Matrix& a) {
  Matrix result(a.columns, a.rows);
  for (std::size_t j = 0; j < a.columns; ++j) {
    for (std::size_t i = 0; i < a.rows; ++i) {
      result(j, i) = a(i, j);
    }
  }
  return result;
}

/// a b, for a with as many columns as b has rows.
inline Matrix product(const Matrix& a, const Matrix& b) {
  Matrix result(a.rows, b.columns);
  for (std::size_t j = 0; j < b.columns; ++j) {
    for (std::size_t k = 0; k < a.columns; ++k) {
      const double factor = b(k, j);
      for (std::size_t i = 0; i < a.rows; ++i) {
        result(i, j) += a(i, k) * factor;
      }
    }
  }
  return result;
}

}  // namespace numerics
