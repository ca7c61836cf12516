// Ours, with the condition, takes 1.7 (20 rows) to 0.8 (162 rows) of the time that Eigen's takes without
// (scripts/benchmark factorisations).

#include "numerics/inverse_factor.hpp"

#include <algorithm>
#include <cmath>

#include "numerics/vector_operations.hpp"

namespace numerics {
namespace {

/// Scales rows and columns to a diagonal of ones; false when the diagonal is not positive.
bool scale_to_ones(Matrix& a, std::vector<double>& factors) {
  const std::size_t n = a.rows;
  factors.resize(n);
  for (std::size_t i = 0; i < n; ++i) {
    if (!(a(i, i) > 0.0)) {
      return false;
    }
    factors[i] = 1.0 / std::sqrt(a(i, i));
  }
  for (std::size_t j = 0; j < n; ++j) {
    for (std::size_t i = j; i < n; ++i) {
      a(i, j) *= factors[i] * factors[j];
    }
  }
  return true;
}

/// The Cholesky factor of the lower triangle of a, in its place; false when there is none.
[[gnu::always_inline]] inline bool factorise(Matrix& a) {
  const std::size_t n = a.rows;
  for (std::size_t j = 0; j < n; ++j) {
    double* const column = a.column(j);
    if (!(column[j] > 0.0)) {
      return false;
    }
    column[j] = std::sqrt(column[j]);
    scale(n - j - 1, 1.0 / column[j], column + j + 1);
    for (std::size_t i = j + 1; i < n; ++i) {
      subtract_multiple(n - i, column[i], column + i, a.column(i) + i);
    }
  }
  return true;
}

/// w = the inverse of the lower triangle of a.
[[gnu::always_inline]] inline void invert(const Matrix& a, Matrix& w) {
  const std::size_t n = a.rows;
  for (std::size_t j = 0; j < n; ++j) {
    double* const x = w.column(j);
    x[j] = 1.0;
    for (std::size_t m = j; m < n; ++m) {
      x[m] /= a(m, m);
      subtract_multiple(n - m - 1, x[m], a.column(m) + m + 1, x + m + 1);
    }
  }
}

/// The largest column sum of moduli of the symmetric matrix whose lower triangle is element(i, j).
template <class Element>
[[gnu::always_inline]] inline double largest_column_sum(std::size_t n, const Element& element) {
  std::vector<double> sums(n);
  for (std::size_t j = 0; j < n; ++j) {
    for (std::size_t i = j; i < n; ++i) {
      const double size = std::abs(element(i, j));
      sums[j] += size;
      sums[i] += i == j ? 0.0 : size;
    }
  }
  return n == 0 ? 0.0 : *std::max_element(sums.begin(), sums.end());
}

/// The norm of W^T W.
template <std::size_t width>
[[gnu::always_inline]] inline double norm_of_inverse(const Matrix& w) {
  const std::size_t n = w.rows;
  return largest_column_sum(
      n, [&](std::size_t i, std::size_t j)
             __attribute__((always_inline)) { return dot<width>(n - i, w.column(i) + i, w.column(j) + i); });
}

}  // namespace

std::optional<InverseFactor> invert_positive(Matrix a, VectorUnit unit) {
  InverseFactor result;
  if (!scale_to_ones(a, result.scale)) {
    return std::nullopt;
  }
  const std::size_t n = a.rows;
  const double norm = largest_column_sum(n, [&](std::size_t i, std::size_t j) { return a(i, j); });
  if (!in_vector_form(
          unit, [&](auto) __attribute__((always_inline)) { return factorise(a); })) {
    return std::nullopt;
  }
  result.w = Matrix(n, n);
  const double inverse_norm = in_vector_form(
      unit, [&](auto width) __attribute__((always_inline)) {
        invert(a, result.w);
        return norm_of_inverse<width()>(result.w);
      });
  result.condition = 1.0 / (norm * inverse_norm);
  if (!std::isfinite(result.condition)) {
    return std::nullopt;
  }
  return result;
}

}  // namespace numerics
