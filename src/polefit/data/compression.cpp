#include "polefit/data/compression.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "numerics/gram_matrix.hpp"
#include "numerics/pivoted_cholesky.hpp"
#include "numerics/tile_products.hpp"
#include "numerics/upper_triangle.hpp"

namespace polefit {
namespace {

using numerics::Matrix;
using numerics::PivotedCholesky;

/// Products of responses lose what is smaller than the root of rounding.
constexpr double least_tail = 1e-7;
/// Whatever is wanted, some of the data is kept.
constexpr double largest_tail = 0.5;
/// Samples whose sums are made together.
constexpr std::size_t samples_together = 512;

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

/// L^T L.
Matrix turned(const Matrix& l) {
  Matrix padded(numerics::padded_rows(l.rows), l.columns);
  for (std::size_t j = 0; j < l.columns; ++j) {
    std::copy_n(l.column(j), l.rows, padded.column(j));
  }
  const auto whole = numerics::part_of(std::as_const(padded), 0, 0, padded.rows, padded.columns);
  Matrix product(l.columns, l.columns);
  numerics::add_transposed_product(whole, whole,
                                   numerics::part_of(product, 0, 0, product.rows, product.columns),
                                   numerics::widest_vector_unit());
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

/// The sums of responses times factors: one column of factors for each combination, one row for each of the
/// first of these responses.
std::vector<Complex> combined(const Problem& problem, const std::vector<std::size_t>& responses,
                              const Matrix& factors) {
  const std::size_t m = problem.samples;
  std::vector<Complex> values(factors.columns * m);
  const std::size_t most = std::min(m, samples_together);
  Matrix part(numerics::padded_rows(2 * most), factors.rows);
  Matrix minus_sums(part.rows, factors.columns);
  for (std::size_t first = 0; first < m; first += most) {
    const std::size_t count = std::min(most, m - first);
    for (std::size_t i = 0; i < factors.rows; ++i) {
      for (std::size_t k = 0; k < count; ++k) {
        const Complex value = scaled(problem, responses[i], first + k);
        part(k, i) = value.real();
        part(most + k, i) = value.imag();
      }
    }
    std::fill(minus_sums.elements.begin(), minus_sums.elements.end(), 0.0);
    numerics::subtract_product(numerics::part_of(std::as_const(part), 0, 0, part.rows, factors.rows),
                               numerics::part_of(factors, 0, 0, factors.rows, factors.columns),
                               numerics::part_of(minus_sums, 0, 0, part.rows, factors.columns),
                               numerics::widest_vector_unit());
    for (std::size_t c = 0; c < factors.columns; ++c) {
      for (std::size_t k = 0; k < count; ++k) {
        values[c * m + first + k] = {-minus_sums(k, c), -minus_sums(most + k, c)};
      }
    }
  }
  return values;
}

/// With the products of responses X^T X ~ L L^T, the pivot columns X_p = Q L_p^T with orthonormal Q, and
/// L^T L = C C^T, the combinations are Q C = X_p L_p^-T C: X X^T ~ Q L^T L Q^T. One such turn makes them
/// nearly principal.
Combinations from_products_of_responses(const Problem& problem, double tolerance) {
  const PivotedCholesky first = numerics::pivoted_cholesky(products_of_responses(problem), tolerance);
  const PivotedCholesky second = numerics::pivoted_cholesky(turned(first.l), 0.0);
  const std::size_t n = first.l.columns;
  Matrix pivot_rows(n, n);  // L_p^T
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j <= i; ++j) {
      pivot_rows(j, i) = first.l(first.pivots[i], j);
    }
  }
  const Matrix factors = numerics::solve_upper(pivot_rows, second.l);
  Combinations result;
  result.count = factors.columns;
  result.values = combined(problem, first.pivots, factors);
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
