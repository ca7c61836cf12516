#include "polefit/problem/weighted_basis.hpp"

#include <algorithm>
#include <cmath>

namespace polefit {

Matrix unweighted_basis(const Problem& problem, const Poles& poles) {
  const std::size_t m = problem.samples;
  Matrix basis(2 * m, poles.size() + problem.terms());
  fill_basis(poles, m, problem.omega.data(), problem.zeros.data(), basis.elements.data(), 2 * m);
  std::size_t j = poles.size();
  if (problem.constant) {
    std::fill_n(basis.column(j++), m, 1.0);
  }
  if (problem.proportional) {
    std::copy_n(problem.omega.data(), m, basis.column(j) + m);
  }
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
