/// A relocation by orthogonal factorisations.

#include <algorithm>
#include <cmath>
#include <utility>

#include "numerics/ordered_triangle.hpp"
#include "numerics/orthogonal_factorisation.hpp"
#include "numerics/parallel.hpp"
#include "numerics/triangle_condition.hpp"
#include "polefit/problem/weighted_basis.hpp"
#include "polefit/relocation/relocation.hpp"

namespace polefit {
namespace {

using numerics::factorise;
using numerics::OrthogonalFactorisation;

/// The columns of sigma for response r: -f times the basis and times 1, weighted.
Matrix sigma_columns(const Problem& problem, const Matrix& basis, std::size_t poles, std::size_t r) {
  const std::size_t m = problem.samples;
  Matrix columns(2 * m, poles + 1);
  for (std::size_t k = 0; k < m; ++k) {
    const Complex g = -problem.factor(r, k) * problem.value(r, k);
    for (std::size_t j = 0; j < poles; ++j) {
      const Complex value = g * Complex(basis(k, j), basis(m + k, j));
      columns(k, j) = value.real();
      columns(m + k, j) = value.imag();
    }
    columns(k, poles) = g.real();
    columns(m + k, poles) = g.imag();
  }
  return columns;
}

/// The triangle that is left of b when the basis is projected out.
Matrix remaining_triangle(const OrthogonalFactorisation& basis, Matrix b) {
  apply_transposed(basis, b);
  const std::size_t first = basis.r.columns;
  const std::size_t n = b.columns;
  Matrix rest(std::max(b.rows - first, n), n);
  for (std::size_t j = 0; j < n; ++j) {
    std::copy(b.column(j) + first, b.column(j) + b.rows, rest.column(j));
  }
  return factorise(rest).r;
}

}  // namespace

Sigma solve_sigma_orthogonally(const Problem& problem, const Poles& poles, int threads) {
  const std::size_t n = poles.size();
  const std::size_t right = n + 1;
  const Matrix basis = unweighted_basis(problem, poles);
  OrthogonalFactorisation shared;
  if (!problem.has_own_weights()) {
    shared = factorise(weighted_basis(problem, basis, 0).columns);
  }
  std::vector<Matrix> triangles(problem.responses);
  numerics::in_parallel(threads, problem.responses, [&](std::size_t, std::size_t begin, std::size_t end) {
    for (std::size_t r = begin; r < end; ++r) {
      Matrix columns = sigma_columns(problem, basis, n, r);
      triangles[r] =
          problem.has_own_weights()
              ? remaining_triangle(factorise(weighted_basis(problem, basis, r).columns), std::move(columns))
              : remaining_triangle(shared, std::move(columns));
    }
  });

  // The triangles of all responses one below the other, then the constraint; the right-hand side is the last
  // column.
  Matrix system(problem.responses * right + 1, right + 1);
  const std::size_t last = system.rows - 1;
  const double gamma = problem.norm / static_cast<double>(problem.samples);
  for (std::size_t j = 0; j < right; ++j) {
    for (std::size_t r = 0; r < problem.responses; ++r) {
      std::copy_n(triangles[r].column(j), right, system.column(j) + r * right);
    }
    auto sum = static_cast<double>(problem.samples);
    if (j < n) {
      sum = 0.0;
      for (std::size_t k = 0; k < problem.samples; ++k) {
        sum += basis(k, j);
      }
    }
    system(last, j) = gamma * sum;
  }
  std::vector<double> scale(right);
  for (std::size_t j = 0; j < right; ++j) {
    double squares = 0.0;
    for (std::size_t i = 0; i < system.rows; ++i) {
      squares += system(i, j) * system(i, j);
    }
    scale[j] = squares > 0.0 ? 1.0 / std::sqrt(squares) : 1.0;
    for (std::size_t i = 0; i < system.rows; ++i) {
      system(i, j) *= scale[j];
    }
  }
  Matrix goal(system.rows, 1);
  goal(last, 0) = problem.norm;
  Matrix left(system.rows, right);
  std::copy_n(system.elements.begin(), left.elements.size(), left.elements.begin());
  const OrthogonalFactorisation factorisation = factorise(left);
  apply_transposed(factorisation, goal);
  Sigma sigma;
  double squares = 0.0;
  for (std::size_t i = right; i < goal.rows; ++i) {
    squares += goal(i, 0) * goal(i, 0);
  }
  // The constraint has a share of that: with e in all, the data have e (1 - e).
  const double share = squares / (problem.norm * problem.norm);
  sigma.residual = std::sqrt(share * std::max(0.0, 1.0 - share));
  if (!std::isfinite(sigma.residual)) {
    throw Error(ErrorKind::numerical_breakdown, "the relocation of the poles overflowed");
  }
  sigma.condition_sigma = triangle_condition(factorisation.r);
  solve_triangular(numerics::ordered_triangle(factorisation.r), goal);
  for (std::size_t j = 0; j < right; ++j) {
    sigma.unknowns.push_back(goal(j, 0) * scale[j]);
  }
  return sigma;
}

}  // namespace polefit
