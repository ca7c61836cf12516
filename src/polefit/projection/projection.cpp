#include "polefit/projection/projection.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "numerics/tile_products.hpp"
#include "numerics/upper_triangle.hpp"
#include "polefit/problem/weighted_basis.hpp"
#include "polefit/projection/folded_basis.hpp"

namespace polefit {
namespace {

/// Samples whose residuals are computed together.
constexpr std::size_t samples_together = 512;

ProjectedGroup project(const Problem& problem, const Poles& poles, std::size_t first, std::size_t count,
                       double delta, double& squares) {
  FoldedBasis basis(problem, poles, first);
  RidgedTriangle folded = fold_with_ridge(
      basis, delta, count,
      [&](const SampleBlock& block, std::size_t top, Matrix& right) {
        set_responses(problem, block, first, count, top, 0, right);
      },
      [&](std::size_t top, const Matrix& right) {
        for (std::size_t r = 0; r < count; ++r) {
          for (std::size_t i = top; i < right.rows; ++i) {
            squares += right(i, r) * right(i, r);
          }
        }
      });
  Matrix coefficients = numerics::solve_upper(folded.u, std::move(folded.c));
  return {first, count, std::move(folded.scale), std::move(folded.u), std::move(coefficients)};
}

}  // namespace

Projection::Projection(const Problem& problem, Poles poles, double delta)
    : problem_(&problem), poles_(std::move(poles)), delta_(delta) {
  const std::size_t step = problem.has_own_weights() ? 1 : problem.responses;
  double squares = 0.0;
  for (std::size_t first = 0; first < problem.responses; first += step) {
    groups_.push_back(project(problem, poles_, first, step, delta, squares));
  }
  error_ = std::sqrt(squares) / problem.norm;
}

namespace {

/// Calls visit(response, sample, residual), samples in their order for each response.
template <class Visit>
void for_each_residual(const Problem& problem, const Projection& projection, const Visit& visit) {
  const std::size_t m = problem.samples;
  const std::size_t terms = projection.poles().size() + problem.terms();
  const std::size_t most = std::min(m, samples_together);
  Matrix basis(numerics::padded_rows(2 * most), terms);
  for (SampleBlock block{0, most}; block.count > 0;
       block = {block.first + block.count, std::min(most, m - block.first - block.count)}) {
    fill_terms(problem, projection.poles(), block.first, block.count, basis.elements.data(), basis.rows);
    for (const ProjectedGroup& group : projection.groups()) {
      Matrix unscaled = group.coefficients;
      Matrix left(basis.rows, group.count);
      for (std::size_t r = 0; r < group.count; ++r) {
        for (std::size_t j = 0; j < terms; ++j) {
          unscaled(j, r) *= group.scale[j];
        }
        // The coefficients are of the scaled values: those of the problem times the response's own scale.
        const std::size_t response = group.first + r;
        const double scale = problem.response_scale[response];
        set_block(
            block, [&](std::size_t k) { return scale * problem.value(response, k); }, 0, r, left);
      }
      numerics::subtract_product(numerics::part_of(std::as_const(basis), 0, 0, basis.rows, terms),
                                 numerics::part_of(std::as_const(unscaled), 0, 0, terms, group.count),
                                 numerics::part_of(left, 0, 0, left.rows, group.count),
                                 numerics::widest_vector_unit());
      for (std::size_t r = 0; r < group.count; ++r) {
        const std::size_t response = group.first + r;
        for (std::size_t i = 0; i < block.count; ++i) {
          const std::size_t k = block.first + i;
          visit(response, k,
                problem.sample_weight(response, k) * Complex(left(i, r), left(block.count + i, r)));
        }
      }
    }
  }
}

}  // namespace

std::vector<Complex> Projection::residual() const { return residual_on(*problem_, *this); }

std::vector<Complex> residual_on(const Problem& problem, const Projection& projection) {
  std::vector<Complex> residual(problem.responses * problem.samples);
  for_each_residual(problem, projection, [&](std::size_t r, std::size_t k, Complex value) {
    residual[r * problem.samples + k] = value;
  });
  return residual;
}

std::vector<double> squared_residuals_on(const Problem& problem, const Projection& projection) {
  std::vector<double> squares(problem.samples);
  for_each_residual(problem, projection,
                    [&](std::size_t, std::size_t k, Complex value) { squares[k] += std::norm(value); });
  return squares;
}

}  // namespace polefit
