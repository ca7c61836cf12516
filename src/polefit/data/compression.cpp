#include "polefit/data/compression.hpp"

#include <algorithm>
#include <cmath>

#include "numerics/gram_matrix.hpp"
#include "numerics/pivoted_cholesky.hpp"

namespace polefit {
namespace {

using numerics::Matrix;
using numerics::PivotedCholesky;

/// Products of responses lose what is smaller than the root of rounding.
constexpr double least_tail = 1e-7;
/// Whatever is wanted, some of the data is kept.
constexpr double largest_tail = 0.5;

Complex scaled(const Problem& problem, std::size_t r, std::size_t k) {
  return problem.response_scale[r] * problem.value(r, k);
}

Combinations responses_themselves(const Problem& problem) {
  Combinations all;
  all.count = problem.responses;
  all.values.reserve(problem.responses * problem.samples);
  for (std::size_t r = 0; r < problem.responses; ++r) {
    double squares = 0.0;
    for (std::size_t k = 0; k < problem.samples; ++k) {
      all.values.push_back(scaled(problem, r, k));
      squares += std::norm(problem.sample_weight(r, k) * all.values.back());
    }
    all.norms.push_back(std::sqrt(squares));
  }
  return all;
}

/// Products of responses with each other, weighted.
Matrix products_of_responses(const Problem& problem) {
  return numerics::gram_matrix(2 * problem.samples, problem.responses,
                               [&](std::size_t first, std::size_t count, Matrix& block) {
                                 for (std::size_t r = 0; r < problem.responses; ++r) {
                                   for (std::size_t i = 0; i < count; ++i) {
                                     const std::size_t k = (first + i) / 2;
                                     const Complex value = problem.weight[k] * scaled(problem, r, k);
                                     block(i, r) = (first + i) % 2 == 0 ? value.real() : value.imag();
                                   }
                                 }
                               });
}

/// Products of samples with each other, weighted: real parts and imaginary parts in turn.
Matrix products_of_samples(const Problem& problem) {
  return numerics::gram_matrix(problem.responses, 2 * problem.samples,
                               [&](std::size_t first, std::size_t count, Matrix& block) {
                                 for (std::size_t k = 0; k < problem.samples; ++k) {
                                   for (std::size_t i = 0; i < count; ++i) {
                                     const Complex value = problem.weight[k] * scaled(problem, first + i, k);
                                     block(i, 2 * k) = value.real();
                                     block(i, 2 * k + 1) = value.imag();
                                   }
                                 }
                               });
}

/// L^T L, its lower triangle.
Matrix turned(const Matrix& l) {
  Matrix product(l.columns, l.columns);
  for (std::size_t j = 0; j < l.columns; ++j) {
    for (std::size_t i = j; i < l.columns; ++i) {
      double sum = 0.0;
      for (std::size_t k = 0; k < l.rows; ++k) {
        sum += l(k, i) * l(k, j);
      }
      product(i, j) = sum;
    }
  }
  return product;
}

std::vector<double> column_norms(const Matrix& a) {
  std::vector<double> norms;
  for (std::size_t j = 0; j < a.columns; ++j) {
    double squares = 0.0;
    for (std::size_t i = 0; i < a.rows; ++i) {
      squares += a(i, j) * a(i, j);
    }
    norms.push_back(std::sqrt(squares));
  }
  return norms;
}

/// With the products of responses X^T X ~ L L^T, the pivot columns X_p = Q L_p^T with orthonormal Q, and
/// L^T L = C C^T, the combinations are Q C = X_p L_p^-T C: X X^T ~ Q L^T L Q^T. One such turn makes them
/// nearly principal.
Combinations from_products_of_responses(const Problem& problem, double tolerance) {
  const PivotedCholesky first = numerics::pivoted_cholesky(products_of_responses(problem), tolerance);
  const PivotedCholesky second = numerics::pivoted_cholesky(turned(first.l), 0.0);
  const std::size_t n = first.l.columns;
  Matrix factors = second.l;
  for (std::size_t c = 0; c < factors.columns; ++c) {
    for (std::size_t i = n; i-- > 0;) {
      for (std::size_t j = i + 1; j < n; ++j) {
        factors(i, c) -= first.l(first.pivots[j], i) * factors(j, c);
      }
      factors(i, c) /= first.l(first.pivots[i], i);
    }
  }
  Combinations result;
  result.count = factors.columns;
  result.values.resize(result.count * problem.samples);
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t k = 0; k < problem.samples; ++k) {
      const Complex value = scaled(problem, first.pivots[i], k);
      for (std::size_t c = 0; c < result.count; ++c) {
        result.values[c * problem.samples + k] += factors(i, c) * value;
      }
    }
  }
  result.norms = column_norms(second.l);
  result.dropped = std::sqrt(first.rest);
  return result;
}

/// With X X^T ~ L L^T, the columns of L are the combinations.
Combinations from_products_of_samples(const Problem& problem, double tolerance) {
  const PivotedCholesky found = numerics::pivoted_cholesky(products_of_samples(problem), tolerance);
  Combinations result;
  result.count = found.l.columns;
  result.values.resize(result.count * problem.samples);
  for (std::size_t c = 0; c < result.count; ++c) {
    for (std::size_t k = 0; k < problem.samples; ++k) {
      const double weight = problem.weight[k];
      const Complex value(found.l(2 * k, c), found.l(2 * k + 1, c));
      result.values[c * problem.samples + k] = weight > 0.0 ? value / weight : Complex();
    }
  }
  result.norms = column_norms(found.l);
  result.dropped = std::sqrt(found.rest);
  return result;
}

}  // namespace

Combinations combine_responses(const Problem& problem, double tail) {
  if (problem.has_own_weights() || problem.responses == 1 || !(tail > least_tail)) {
    return responses_themselves(problem);
  }
  const double part = std::min(tail, largest_tail);
  const double tolerance = part * part * problem.norm * problem.norm;
  Combinations few = problem.responses > 2 * problem.samples ? from_products_of_samples(problem, tolerance)
                                                             : from_products_of_responses(problem, tolerance);
  if (few.count == 0) {
    return responses_themselves(problem);
  }
  return few;
}

}  // namespace polefit
