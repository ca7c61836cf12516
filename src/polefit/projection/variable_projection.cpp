#include "polefit/projection/variable_projection.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <utility>

#include "numerics/inverse_factor.hpp"
#include "numerics/tile_products.hpp"
#include "polefit/projection/folded_basis.hpp"

namespace polefit {
namespace {

using numerics::InverseFactor;

constexpr double least_lambda = 1e-9;
constexpr double after_success = 0.2;
constexpr double after_failure = 8.0;
constexpr int most_tries = 4;
/// Of an unknown in one step: a damping changes by a factor of 4.5 at most.
constexpr double longest_step = 1.5;
/// An imaginary part of a pair, relative to its size.
constexpr double least_imaginary = 1e-9;

/// The derivatives of the basis functions by the poles at the samples of a block, weighted, as columns of
/// right-hand sides from `column` on: with u = 1 / (s - a), v = 1 / (s - a*) the columns u^2 + v^2 and
/// j u^2 - j v^2 for a pair, u^2 for a real pole.
void set_derivatives(const Problem& problem, const Poles& poles, std::size_t response,
                     const SampleBlock& block, std::size_t top, std::size_t column, Matrix& right) {
  const auto squared = [&](Complex pole, std::size_t k) {
    const double re = -pole.real();
    const double im = problem.omega[k] - pole.imag();
    const double size = 1.0 / (re * re + im * im);
    const Complex u(re * size, -im * size);
    return Complex(u.real() * u.real() - u.imag() * u.imag(), 2.0 * u.real() * u.imag()) *
           problem.sample_weight(response, k);
  };
  const auto set = [&](std::size_t i, std::size_t at, Complex value) {
    right(top + at, column + i) = value.real();
    right(top + block.count + at, column + i) = value.imag();
  };
  for_each_group(
      poles,
      [&](std::size_t i) {
        for (std::size_t at = 0; at < block.count; ++at) {
          set(i, at, squared(poles[i], block.first + at));
        }
      },
      [&](std::size_t i) {
        for (std::size_t at = 0; at < block.count; ++at) {
          const Complex u = squared(poles[i], block.first + at);
          const Complex v = squared(poles[i + 1], block.first + at);
          set(i, at, u + v);
          set(i + 1, at, Complex(v.imag() - u.imag(), u.real() - v.real()));
        }
      });
  for (std::size_t i = 0; i < poles.size(); ++i) {
    std::fill(right.column(column + i) + top + 2 * block.count, right.column(column + i) + right.rows, 0.0);
  }
}

/// How an unknown moves the model: part of the derivative column `i` of the poles it has, times the rows of
/// the coefficients.
struct Direction {
  std::array<std::size_t, 2> column;       // of the derivatives
  std::array<std::size_t, 2> coefficient;  // row of the coefficients that each goes with
  std::array<double, 2> factor;
  std::size_t parts;
};

std::vector<Direction> directions(const Poles& poles) {
  std::vector<Direction> result;
  for_each_group(
      poles,
      [&](std::size_t i) {
        result.push_back({{i, 0}, {i, 0}, {poles[i].real(), 0.0}, 1});
      },
      [&](std::size_t i) {
        const double re = poles[i].real();
        result.push_back({{i, i + 1}, {i, i + 1}, {re, re}, 2});
        result.push_back({{i + 1, i}, {i, i + 1}, {-re, re}, 2});
      });
  return result;
}

/// Adds what one group of responses brings.
void add_slope(const Projection& projection, const ProjectedGroup& group,
               const std::vector<Direction>& unknowns, Slope& slope) {
  const Problem& problem = projection.problem();
  const std::size_t n = projection.poles().size();
  // The derivatives and behind them the responses, with each their part outside the span of the basis: the
  // products of those of the derivatives with all.
  const std::size_t right_sides = n + group.count;
  Matrix products(n, right_sides);
  FoldedBasis basis(problem, projection.poles(), group.first);
  fold_with_ridge(
      basis, projection.delta(), right_sides,
      [&](const SampleBlock& block, std::size_t top, Matrix& right) {
        set_derivatives(problem, projection.poles(), group.first, block, top, 0, right);
        set_responses(problem, block, group.first, group.count, top, n, right);
      },
      [&](std::size_t top, const Matrix& right) {
        const std::size_t rows = right.rows - top;
        add_transposed_product(
            numerics::part_of(right, top, 0, rows, n), numerics::part_of(right, top, 0, rows, right_sides),
            numerics::part_of(products, 0, 0, n, right_sides), numerics::widest_vector_unit());
      });
  // Coefficients of the columns as they are, and their products with each other.
  Matrix x(n, group.count);
  for (std::size_t r = 0; r < group.count; ++r) {
    for (std::size_t i = 0; i < n; ++i) {
      x(i, r) = group.coefficients(i, r) * group.scale[i];
    }
  }
  Matrix xx(n, n);
  for (std::size_t r = 0; r < group.count; ++r) {
    for (std::size_t j = 0; j < n; ++j) {
      const double factor = x(j, r);
      for (std::size_t i = 0; i < n; ++i) {
        xx(i, j) += x(i, r) * factor;
      }
    }
  }
  for (std::size_t q = 0; q < unknowns.size(); ++q) {
    const Direction& second = unknowns[q];
    for (std::size_t b = 0; b < second.parts; ++b) {
      double sum = 0.0;
      for (std::size_t r = 0; r < group.count; ++r) {
        sum += x(second.coefficient[b], r) * products(second.column[b], n + r);
      }
      slope.gradient[q] += second.factor[b] * sum;
    }
    for (std::size_t p = q; p < unknowns.size(); ++p) {
      const Direction& first = unknowns[p];
      double sum = 0.0;
      for (std::size_t a = 0; a < first.parts; ++a) {
        for (std::size_t b = 0; b < second.parts; ++b) {
          sum += first.factor[a] * second.factor[b] * products(first.column[a], second.column[b]) *
                 xx(first.coefficient[a], second.coefficient[b]);
        }
      }
      slope.hessian(p, q) += sum;
    }
  }
}

/// The step for one damping; nothing when the equations cannot be solved.
std::optional<std::vector<double>> damped_step(const Slope& slope, double lambda) {
  const std::size_t n = slope.gradient.size();
  Matrix damped = slope.hessian;
  for (std::size_t i = 0; i < n; ++i) {
    damped(i, i) *= 1.0 + lambda;
    if (!(damped(i, i) > 0.0)) {
      damped(i, i) = 1.0;  // an unknown that nothing depends on stays where it is
    }
  }
  const std::optional<InverseFactor> inverse = numerics::invert_positive(std::move(damped));
  if (!inverse) {
    return std::nullopt;
  }
  std::vector<double> half(n);
  for (std::size_t j = 0; j < n; ++j) {
    const double right = slope.gradient[j] * inverse->scale[j];
    for (std::size_t i = j; i < n; ++i) {
      half[i] += inverse->w(i, j) * right;
    }
  }
  std::vector<double> y(n);
  for (std::size_t j = 0; j < n; ++j) {
    for (std::size_t i = j; i < n; ++i) {
      y[j] += inverse->w(i, j) * half[i];
    }
    y[j] = std::clamp(y[j] * inverse->scale[j], -longest_step, longest_step);
    if (std::isnan(y[j])) {
      return std::nullopt;
    }
  }
  return y;
}

Poles moved(Poles poles, const std::vector<double>& y) {
  std::size_t unknown = 0;
  for_each_group(
      poles, [&](std::size_t i) { poles[i].real(poles[i].real() * std::exp(y[unknown++])); },
      [&](std::size_t i) {
        const double re = poles[i].real() * std::exp(y[unknown++]);
        const double im = poles[i].imag() - poles[i].real() * y[unknown++];
        poles[i] = {re, std::max(std::abs(im), least_imaginary * std::abs(re))};
        poles[i + 1] = std::conj(poles[i]);
      });
  return poles;
}

}  // namespace

Slope slope_of(const Projection& projection) {
  const std::vector<Direction> unknowns = directions(projection.poles());
  Slope slope{Matrix(unknowns.size(), unknowns.size()), std::vector<double>(unknowns.size())};
  for (const ProjectedGroup& group : projection.groups()) {
    add_slope(projection, group, unknowns, slope);
  }
  return slope;
}

bool VariableProjection::step(Projection& projection) {
  if (projection.poles().empty()) {
    return false;
  }
  const Slope slope = slope_of(projection);
  for (int i = 0; i < most_tries; ++i) {
    const std::optional<std::vector<double>> y = damped_step(slope, lambda_);
    if (y) {
      Projection next(projection.problem(), moved(projection.poles(), *y), projection.delta());
      if (next.error() < projection.error()) {
        projection = std::move(next);
        lambda_ = std::max(least_lambda, after_success * lambda_);
        return true;
      }
    }
    lambda_ *= after_failure;
  }
  return false;
}

}  // namespace polefit
