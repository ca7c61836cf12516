#include "polefit/projection/projection.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "polefit/problem/weighted_basis.hpp"

namespace polefit {
namespace {

/// b(0 .. n - 1, :) = U^-1 b(0 .. n - 1, :) for the upper triangle of u.
Matrix solved(const Matrix& u, const Matrix& b) {
  const std::size_t n = u.columns;
  Matrix x(n, b.columns);
  for (std::size_t c = 0; c < b.columns; ++c) {
    double* const column = x.column(c);
    std::copy_n(b.column(c), n, column);
    for (std::size_t j = n; j-- > 0;) {
      column[j] = u(j, j) == 0.0 ? 0.0 : column[j] / u(j, j);
      for (std::size_t i = 0; i < j; ++i) {
        column[i] -= u(i, j) * column[j];
      }
    }
  }
  return x;
}

/// The weighted responses over rows of zeros.
Matrix right_sides(const Problem& problem, std::size_t first, std::size_t count, std::size_t rows) {
  Matrix b(rows, count);
  for (std::size_t r = 0; r < count; ++r) {
    double* const column = b.column(r);
    for (std::size_t k = 0; k < problem.samples; ++k) {
      const Complex value = problem.factor(first + r, k) * problem.value(first + r, k);
      column[k] = value.real();
      column[problem.samples + k] = value.imag();
    }
  }
  return b;
}

ProjectedGroup project(const Problem& problem, const Matrix& basis, std::size_t first, std::size_t count,
                       double delta) {
  WeightedBasis weighted = weighted_basis(problem, basis, first);
  const std::size_t rows = 2 * problem.samples;
  const std::size_t terms = basis.columns;
  Matrix augmented(rows + terms, terms);
  for (std::size_t j = 0; j < terms; ++j) {
    std::copy_n(weighted.columns.column(j), rows, augmented.column(j));
    augmented(rows + j, j) = delta;
  }
  ProjectedGroup group;
  group.first = first;
  group.count = count;
  group.scale = std::move(weighted.scale);
  group.factorisation = numerics::factorise(augmented);
  group.rest = right_sides(problem, first, count, rows + terms);
  apply_transposed(group.factorisation, group.rest);
  group.coefficients = solved(group.factorisation.r, group.rest);
  return group;
}

}  // namespace

Projection::Projection(const Problem& problem, Poles poles, double delta)
    : problem_(&problem), poles_(std::move(poles)) {
  const Matrix basis = unweighted_basis(problem, poles_);
  const std::size_t step = problem.has_own_weights() ? 1 : problem.responses;
  double squares = 0.0;
  for (std::size_t first = 0; first < problem.responses; first += step) {
    groups_.push_back(project(problem, basis, first, step, delta));
    const ProjectedGroup& group = groups_.back();
    for (std::size_t r = 0; r < step; ++r) {
      for (std::size_t i = basis.columns; i < group.rest.rows; ++i) {
        squares += group.rest(i, r) * group.rest(i, r);
      }
    }
  }
  error_ = std::sqrt(squares) / problem.norm;
}

void Projection::release() {
  for (ProjectedGroup& group : groups_) {
    group.factorisation.v = Matrix();
    group.factorisation.t = Matrix();
    group.rest = Matrix();
  }
  released_ = true;
}

std::vector<Complex> Projection::residual() const { return residual_on(*problem_, *this); }

std::vector<Complex> residual_on(const Problem& problem, const Projection& projection) {
  const Matrix basis = unweighted_basis(problem, projection.poles());
  const std::size_t m = problem.samples;
  std::vector<Complex> residual;
  residual.reserve(problem.responses * m);
  std::vector<double> fitted(2 * m);
  for (const ProjectedGroup& group : projection.groups()) {
    for (std::size_t r = 0; r < group.count; ++r) {
      std::fill(fitted.begin(), fitted.end(), 0.0);
      for (std::size_t j = 0; j < basis.columns; ++j) {
        const double factor = group.coefficients(j, r) * group.scale[j];
        const double* const column = basis.column(j);
        for (std::size_t i = 0; i < 2 * m; ++i) {
          fitted[i] += factor * column[i];
        }
      }
      // The coefficients are of the scaled values: those of the problem times the response's own scale.
      const std::size_t response = group.first + r;
      for (std::size_t k = 0; k < m; ++k) {
        const Complex value = problem.response_scale[response] * problem.value(response, k);
        residual.push_back(problem.sample_weight(response, k) * (value - Complex(fitted[k], fitted[m + k])));
      }
    }
  }
  return residual;
}

}  // namespace polefit
