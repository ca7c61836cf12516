#include "polefit/projection/folded_basis.hpp"

#include <algorithm>
#include <cmath>

#include "numerics/tile_products.hpp"
#include "polefit/problem/weighted_basis.hpp"

namespace polefit {
namespace {

/// Elements of a block: half a megabyte, so that it stays in the second-level cache.
constexpr std::size_t elements_of_block = 65536;
/// Rows of a block for each of the triangle's, which is factorised again with every block.
constexpr std::size_t rows_for_each = 4;
constexpr std::size_t row_multiple = 16;

std::size_t rows_of_block(std::size_t samples, std::size_t columns) {
  const std::size_t fit = elements_of_block / std::max<std::size_t>(1, columns);
  const std::size_t rows = std::min(std::max(fit, rows_for_each * columns), 2 * samples);
  return (rows + row_multiple - 1) / row_multiple * row_multiple;
}

}  // namespace

FoldedBasis::FoldedBasis(const Problem& problem, const Poles& poles, std::size_t response)
    : problem_(problem),
      poles_(poles),
      response_(response),
      triangle_(poles.size() + problem.terms(),
                rows_of_block(problem.samples, poles.size() + problem.terms())) {}

bool FoldedBasis::fold() {
  block_.first += block_.count;
  block_.count = std::min(problem_.samples - block_.first, triangle_.height() / 2);
  if (block_.count == 0) {
    return false;
  }
  const numerics::MatrixView<double> rows = triangle_.block();
  const auto ld = static_cast<std::size_t>(rows.leading_dimension());
  fill_terms(problem_, poles_, block_.first, block_.count, rows.data(), ld);
  for (std::size_t j = 0; j < columns(); ++j) {
    double* const column = rows.data() + j * ld;
    for (std::size_t i = 0; i < block_.count; ++i) {
      const double weight = problem_.sample_weight(response_, block_.first + i);
      column[i] *= weight;
      column[block_.count + i] *= weight;
    }
    std::fill(column + 2 * block_.count, column + triangle_.height(), 0.0);
  }
  triangle_.fold();
  return true;
}

std::vector<double> FoldedBasis::scale() const {
  const Matrix& r = triangle_.triangle();
  std::vector<double> scale(r.columns);
  for (std::size_t j = 0; j < r.columns; ++j) {
    double squares = 0.0;
    for (std::size_t i = 0; i <= j; ++i) {
      squares += r(i, j) * r(i, j);
    }
    scale[j] = squares > 0.0 ? 1.0 / std::sqrt(squares) : 0.0;
  }
  return scale;
}

Matrix FoldedBasis::scaled_triangle() const {
  Matrix scaled = triangle_.triangle();
  const std::vector<double> factors = scale();
  for (std::size_t j = 0; j < scaled.columns; ++j) {
    for (std::size_t i = 0; i <= j; ++i) {
      scaled(i, j) *= factors[j];
    }
  }
  return scaled;
}

void set_responses(const Problem& problem, const SampleBlock& block, std::size_t first, std::size_t count,
                   std::size_t top, std::size_t column, Matrix& right) {
  for (std::size_t r = first; r < first + count; ++r) {
    set_block(
        block, [&](std::size_t k) { return problem.factor(r, k) * problem.value(r, k); }, top,
        column + r - first, right);
  }
}

Matrix with_ridge(const Matrix& a, double ridge) {
  if (ridge == 0.0) {
    return a;
  }
  const std::size_t groups = (a.columns + numerics::row_group - 1) / numerics::row_group;
  Matrix both(a.rows + groups * numerics::row_group, a.columns);
  for (std::size_t j = 0; j < a.columns; ++j) {
    std::copy_n(a.column(j), a.rows, both.column(j));
    both(a.rows + j, j) = ridge;
  }
  return both;
}

Matrix top_of(const Matrix& a, std::size_t rows) {
  Matrix top(rows, a.columns);
  for (std::size_t j = 0; j < a.columns; ++j) {
    std::copy_n(a.column(j), rows, top.column(j));
  }
  return top;
}

}  // namespace polefit
