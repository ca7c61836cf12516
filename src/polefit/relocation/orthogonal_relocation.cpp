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
  return factorise(numerics::part_of(std::as_const(b), first, 0, b.rows - first, b.columns)).r;
}

/// What is left of every response's columns of sigma.
std::vector<Matrix> remaining_triangles(const Problem& problem, const Matrix& basis, std::size_t poles,
                                        int threads) {
  OrthogonalFactorisation shared;
  if (!problem.has_own_weights()) {
    shared = factorise(weighted_basis(problem, basis, 0).columns);
  }
  std::vector<Matrix> triangles(problem.responses);
  numerics::in_parallel(threads, problem.responses, [&](std::size_t, std::size_t begin, std::size_t end) {
    for (std::size_t r = begin; r < end; ++r) {
      Matrix columns = sigma_columns(problem, basis, poles, r);
      triangles[r] =
          problem.has_own_weights()
              ? remaining_triangle(factorise(weighted_basis(problem, basis, r).columns), std::move(columns))
              : remaining_triangle(shared, std::move(columns));
    }
  });
  return triangles;
}

/// The equations for sigma: the triangles of all responses one below the other, then the constraint.
Matrix constrained_system(const Problem& problem, const Matrix& basis, const std::vector<Matrix>& triangles,
                          std::size_t poles) {
  const std::size_t columns = poles + 1;
  Matrix system(triangles.size() * columns + 1, columns);
  const double gamma = problem.norm / static_cast<double>(problem.samples);
  for (std::size_t j = 0; j < columns; ++j) {
    for (std::size_t r = 0; r < triangles.size(); ++r) {
      std::copy_n(triangles[r].column(j), columns, system.column(j) + r * columns);
    }
    auto sum = static_cast<double>(problem.samples);
    if (j < poles) {
      sum = 0.0;
      for (std::size_t k = 0; k < problem.samples; ++k) {
        sum += basis(k, j);
      }
    }
    system(system.rows - 1, j) = gamma * sum;
  }
  return system;
}

/// Makes columns other than those of zeros of norm 1; returns what each was multiplied with.
std::vector<double> normalise_columns(Matrix& a) {
  std::vector<double> scale(a.columns);
  for (std::size_t j = 0; j < a.columns; ++j) {
    double squares = 0.0;
    for (std::size_t i = 0; i < a.rows; ++i) {
      squares += a(i, j) * a(i, j);
    }
    scale[j] = squares > 0.0 ? 1.0 / std::sqrt(squares) : 1.0;
    for (std::size_t i = 0; i < a.rows; ++i) {
      a(i, j) *= scale[j];
    }
  }
  return scale;
}

/// The residual of the data, relative to them, for a right-hand side of `goal` in the last row alone and
/// `rest` the sum of the squares of what is left of it: with e^2 in all, the data have e^2 (1 - e^2), and the
/// constraint the rest.
double residual_of_data(double rest, double goal) {
  const double share = rest / (goal * goal);
  return std::sqrt(share * std::max(0.0, 1.0 - share));
}

}  // namespace

Sigma solve_sigma_orthogonally(const Problem& problem, const Poles& poles, int threads) {
  const Matrix basis = unweighted_basis(problem, poles);
  Matrix system = constrained_system(
      problem, basis, remaining_triangles(problem, basis, poles.size(), threads), poles.size());
  const std::vector<double> scale = normalise_columns(system);
  Matrix goal(system.rows, 1);
  goal(system.rows - 1, 0) = problem.norm;
  const OrthogonalFactorisation factorisation = factorise(system);
  apply_transposed(factorisation, goal);
  double rest = 0.0;
  for (std::size_t i = system.columns; i < goal.rows; ++i) {
    rest += goal(i, 0) * goal(i, 0);
  }
  Sigma sigma;
  sigma.residual = residual_of_data(rest, problem.norm);
  if (!std::isfinite(sigma.residual)) {
    throw Error(ErrorKind::numerical_breakdown, "the relocation of the poles overflowed");
  }
  sigma.condition_sigma = triangle_condition(factorisation.r);
  solve_triangular(numerics::ordered_triangle(factorisation.r), goal);
  for (std::size_t j = 0; j < system.columns; ++j) {
    sigma.unknowns.push_back(goal(j, 0) * scale[j]);
  }
  return sigma;
}

}  // namespace polefit
