#include "numerics/pivoted_cholesky.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

namespace numerics {

PivotedCholesky pivoted_cholesky(const Matrix& a, double tolerance) {
  const std::size_t n = a.rows;
  std::vector<double> diagonal(n);
  for (std::size_t i = 0; i < n; ++i) {
    diagonal[i] = std::max(0.0, a(i, i));
  }
  const auto trace = [&] {
    double sum = 0.0;
    for (const double element : diagonal) {
      sum += element;
    }
    return sum;
  };
  PivotedCholesky result;
  result.l.rows = n;
  result.rest = trace();
  const double rounding = static_cast<double>(n) * std::numeric_limits<double>::epsilon() * result.rest;
  while (result.rest > std::max(tolerance, rounding)) {
    const auto p =
        static_cast<std::size_t>(std::max_element(diagonal.begin(), diagonal.end()) - diagonal.begin());
    const std::size_t k = result.l.columns;
    result.l.elements.resize(n * (k + 1));
    result.l.columns = k + 1;
    double* const column = result.l.column(k);
    for (std::size_t i = 0; i < n; ++i) {
      column[i] = a(std::max(i, p), std::min(i, p));
    }
    for (std::size_t j = 0; j < k; ++j) {
      const double* const other = result.l.column(j);
      const double factor = other[p];
      for (std::size_t i = 0; i < n; ++i) {
        column[i] -= factor * other[i];
      }
    }
    const double root = std::sqrt(diagonal[p]);
    for (std::size_t i = 0; i < n; ++i) {
      column[i] /= root;
      diagonal[i] = std::max(0.0, diagonal[i] - column[i] * column[i]);
    }
    for (const std::size_t before : result.pivots) {
      column[before] = 0.0;
    }
    column[p] = root;
    diagonal[p] = 0.0;
    result.pivots.push_back(p);
    result.rest = trace();
  }
  return result;
}

}  // namespace numerics
