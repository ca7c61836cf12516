/// Equations with an upper triangle.
#pragma once

#include <cstddef>
#include <vector>

#include "numerics/matrix.hpp"

namespace numerics {

/// u^-1 x; unknowns whose diagonal element is 0 are 0. Below the diagonal u is not looked at.
inline Matrix solve_upper(const Matrix& u, Matrix x) {
  for (std::size_t c = 0; c < x.columns; ++c) {
    double* const column = x.column(c);
    for (std::size_t j = u.columns; j-- > 0;) {
      const double* const of_u = u.column(j);
      const double value = of_u[j] == 0.0 ? 0.0 : column[j] / of_u[j];
      column[j] = value;
      for (std::size_t i = 0; i < j; ++i) {
        column[i] -= of_u[i] * value;
      }
    }
  }
  return x;
}

/// The x of u^T x = b, for the first b.size() columns of u, none of whose diagonal elements is 0.
template <class Number>
std::vector<Number> solve_transposed(const Matrix& u, std::vector<Number> b) {
  for (std::size_t j = 0; j < b.size(); ++j) {
    for (std::size_t i = 0; i < j; ++i) {
      b[j] -= u(i, j) * b[i];
    }
    b[j] /= u(j, j);
  }
  return b;
}

}  // namespace numerics
