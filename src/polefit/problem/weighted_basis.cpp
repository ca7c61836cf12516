#include "polefit/problem/weighted_basis.hpp"

#include <algorithm>
#include <cmath>

namespace polefit {

void fill_terms(const Problem& problem, const Poles& poles, std::size_t first, std::size_t count,
                double* columns, std::size_t ld) {
  const double* const omega = problem.omega.data() + first;
  fill_basis(poles, count, omega, problem.zeros.data() + first, columns, ld);
  double* column = columns + poles.size() * ld;
  if (problem.constant) {
    std::fill_n(column, count, 1.0);
    std::fill_n(column + count, count, 0.0);
    column += ld;
  }
  if (problem.proportional) {
    std::fill_n(column, count, 0.0);
    std::copy_n(omega, count, column + count);
  }
}

Matrix unweighted_basis(const Problem& problem, const Poles& poles) {
  Matrix basis(2 * problem.samples, poles.size() + problem.terms());
  fill_terms(problem, poles, 0, problem.samples, basis.elements.data(), basis.rows);
  return basis;
}

WeightedBasis weighted_basis(const Problem& problem, const Matrix& basis, std::size_t r) {
  const std::size_t m = problem.samples;
  WeightedBasis result{basis, std::vector<double>(basis.columns)};
  for (std::size_t j = 0; j < basis.columns; ++j) {
    double* const column = result.columns.column(j);
    double squares = 0.0;
    double unweighted = 0.0;
    for (std::size_t k = 0; k < m; ++k) {
      const double weight = problem.sample_weight(r, k);
      unweighted += column[k] * column[k] + column[m + k] * column[m + k];
      column[k] *= weight;
      column[m + k] *= weight;
      squares += column[k] * column[k] + column[m + k] * column[m + k];
    }
    // Where no sample counts there may still be one that is to be exact.
    const double size = squares > 0.0 ? squares : unweighted;
    result.scale[j] = size > 0.0 ? 1.0 / std::sqrt(size) : 1.0;
    for (std::size_t k = 0; k < 2 * m; ++k) {
      column[k] *= result.scale[j];
    }
  }
  return result;
}

}  // namespace polefit
