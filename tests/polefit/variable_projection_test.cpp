#include "polefit/projection/variable_projection.hpp"

#include <gtest/gtest.h>

#include <array>
#include <iostream>

#include "numerics/triangle_condition.hpp"
#include "plain_projection.hpp"
#include "samples.hpp"

namespace polefit {
namespace {

using namespace test_networks;
using plain::LongComplex;
using plain::LongPoles;
using plain::Real;

struct Setting {
  NetworkKind kind;
  std::size_t weights = 0;  ///< 0: none, 1: of the samples, 2: of those of each response
};

const std::vector<Setting> settings{
    {{.pairs = 2, .samples = 40, .constant = false}, 0},
    {{.pairs = 0, .real_poles = 2, .samples = 40}, 0},
    {{.pairs = 2, .real_poles = 1, .responses = 3, .samples = 40}, 0},
    {{.pairs = 2, .real_poles = 1, .responses = 2, .samples = 40, .proportional = true}, 1},
    {{.pairs = 2, .real_poles = 1, .responses = 3, .samples = 40, .proportional = true}, 2},
};

/// A noisy network with its problem, and poles near its own.
struct Case {
  Case(const Setting& setting, std::uint64_t seed, double noise, double disturbance)
      : network(noisy(setting.kind, seed, noise)) {
    RandomNumbers numbers(seed);
    weights = random_weights(setting.weights == 0   ? 0
                             : setting.weights == 1 ? network.frequencies.size()
                                                    : network.values.size(),
                             numbers);
    NetworkData data = network.data();
    data.weights = weights;
    problem = make_problem(data, options_for(setting.kind));
    poles = disturbed_poles(network, problem, disturbance, numbers);
  }
  Case(const Case&) = delete;
  Case& operator=(const Case&) = delete;

  static Network noisy(NetworkKind kind, std::uint64_t seed, double noise) {
    kind.noise = noise;
    return random_network(kind, seed);
  }

  Network network;
  std::vector<double> weights;
  Problem problem;
  Poles poles;
};

/// Which pole an unknown belongs to, and whether it is u.
struct Unknown {
  std::size_t pole;
  bool sideways;
};

std::vector<Unknown> unknowns_of(const Poles& poles) {
  std::vector<Unknown> unknowns;
  for_each_group(
      poles,
      [&](std::size_t i) {
        unknowns.push_back({i, false});
      },
      [&](std::size_t i) {
        unknowns.push_back({i, false});
        unknowns.push_back({i, true});
      });
  return unknowns;
}

LongPoles moved(LongPoles poles, const Unknown& unknown, Real by) {
  LongComplex& pole = poles[unknown.pole];
  pole = unknown.sideways ? pole + LongComplex(0.0L, std::abs(pole.real()) * by)
                          : LongComplex(pole.real() * std::exp(by), pole.imag());
  return poles;
}

/// Half the derivative of minus the error's square; from central differences over h and h / 2, whose errors
/// of the order h^2 cancel. What is left is of the order 1e-16.
Real plain_gradient(const Problem& problem, const LongPoles& poles, Real delta, const Unknown& unknown) {
  const auto central = [&](Real h) {
    return (plain::squares(problem, moved(poles, unknown, h), delta) -
            plain::squares(problem, moved(poles, unknown, -h), delta)) /
           (2.0L * h);
  };
  const Real h = 1e-4L;
  return -0.5L * (4.0L * central(h / 2.0L) - central(h)) / 3.0L;
}

/// The weighted derivative of the fit of response r by an unknown, the coefficients held, over zeros.
plain::Column derivative(const Problem& problem, const LongPoles& poles, const plain::Fit& fit,
                         const Unknown& unknown, std::size_t r) {
  const std::size_t m = problem.samples;
  const std::size_t i = unknown.pole;
  const LongComplex a = poles[i];
  const bool pair = a.imag() != 0.0L;
  const LongComplex residue(fit.scale[i] * fit.coefficients[i],
                            pair ? fit.scale[i + 1] * fit.coefficients[i + 1] : 0.0L);
  const LongComplex direction = unknown.sideways ? LongComplex(0.0L, std::abs(a.real())) : a.real();
  plain::Column column(fit.left.size());
  for (std::size_t k = 0; k < m; ++k) {
    const LongComplex s(0.0L, problem.omega[k]);
    LongComplex value = direction * residue / ((s - a) * (s - a));
    if (pair) {
      value += std::conj(direction * residue) / ((s - std::conj(a)) * (s - std::conj(a)));
    }
    value *= static_cast<Real>(problem.sample_weight(r, k));
    column[k] = value.real();
    column[m + k] = value.imag();
  }
  return column;
}

/// J^T J with the derivatives that are left when the basis is projected out.
std::vector<plain::Column> plain_hessian(const Problem& problem, const LongPoles& poles, Real delta,
                                         const std::vector<Unknown>& unknowns) {
  const std::size_t n = unknowns.size();
  std::vector<plain::Column> hessian(n, plain::Column(n));
  for (std::size_t r = 0; r < problem.responses; ++r) {
    const plain::Fit fit = plain::fit(problem, poles, delta, r);
    std::vector<plain::Column> left;
    for (const Unknown& unknown : unknowns) {
      left.push_back(derivative(problem, poles, fit, unknown, r));
      for (const plain::Column& column : fit.orthonormal) {
        plain::subtract(left.back(), plain::dot(column, left.back()), column);
      }
    }
    for (std::size_t p = 0; p < n; ++p) {
      for (std::size_t q = 0; q < n; ++q) {
        hessian[p][q] += plain::dot(left[p], left[q]);
      }
    }
  }
  return hessian;
}

/// n eps condition^2, by which the solution of a least squares problem is rounded at most (Wedin,
/// "Perturbation theory for pseudo-inverses", BIT 13, 1973), and |X|. A derivative of a column times the
/// distance to the axis is no larger than twice the column, whose norm is 1.
struct Rounding {
  explicit Rounding(const Projection& projection) {
    double squares = 0.0;
    for (const ProjectedGroup& group : projection.groups()) {
      const double condition = 1.0 / numerics::triangle_condition(group.triangle);
      unit = std::max(unit, static_cast<double>(group.scale.size()) * eps * condition * condition);
      squares += std::pow(testing_support::norm(group.coefficients.elements), 2);
    }
    coefficients = std::sqrt(squares);
  }
  double unit = 0.0;
  double coefficients = 0.0;
};

TEST(VariableProjection, gradient_is_half_the_derivative_of_minus_the_square_of_the_error) {
  double worst = 0.0;
  for (const Setting& setting : settings) {
    for (std::uint64_t seed = 0; seed < 4; ++seed) {
      for (const double delta : {1e-9, 1e-4}) {
        const Case of(setting, seed, 1e-2, 0.3);
        const Projection projection(of.problem, of.poles, delta);
        const Slope slope = slope_of(projection);
        const std::vector<Unknown> unknowns = unknowns_of(of.poles);
        ASSERT_EQ(slope.gradient.size(), unknowns.size());
        const Rounding rounding(projection);
        const double error = projection.error() * of.problem.norm;
        // A move of a pole scales columns, and with them the ridge, by the same part at most; this is left
        // out of the slope.
        const double unit = rounding.unit * rounding.coefficients * error +
                            4.0 * delta * delta * rounding.coefficients * rounding.coefficients;
        double largest = 0.0;
        for (std::size_t p = 0; p < unknowns.size(); ++p) {
          const auto expected = static_cast<double>(
              plain_gradient(of.problem, plain::long_poles(of.poles), delta, unknowns[p]));
          worst = std::max(worst, std::abs(slope.gradient[p] - expected) / unit);
          largest = std::max(largest, std::abs(expected));
        }
        EXPECT_GT(largest, 1e3 * unit);  // so that there is something to see
      }
    }
  }
  std::cout << "worst: " << worst << "\n";
  EXPECT_LE(worst, 1.0);
}

TEST(VariableProjection, hessian_is_that_of_the_derivatives_with_the_basis_projected_out) {
  double worst = 0.0;
  for (const Setting& setting : settings) {
    for (std::uint64_t seed = 0; seed < 4; ++seed) {
      const Case of(setting, seed, 1e-2, 0.3);
      const Projection projection(of.problem, of.poles, 1e-9);
      const Slope slope = slope_of(projection);
      const std::vector<Unknown> unknowns = unknowns_of(of.poles);
      ASSERT_EQ(slope.hessian.rows, unknowns.size());
      ASSERT_EQ(slope.hessian.columns, unknowns.size());
      const std::vector<plain::Column> expected =
          plain_hessian(of.problem, plain::long_poles(of.poles), 1e-9L, unknowns);
      const Rounding rounding(projection);
      const double unit = rounding.unit * rounding.coefficients * rounding.coefficients;
      for (std::size_t q = 0; q < unknowns.size(); ++q) {
        EXPECT_GT(static_cast<double>(expected[q][q]), 1e3 * unit);
        for (std::size_t p = q; p < unknowns.size(); ++p) {
          worst = std::max(worst, std::abs(slope.hessian(p, q) - static_cast<double>(expected[p][q])) / unit);
        }
      }
    }
  }
  std::cout << "worst: " << worst << "\n";
  EXPECT_LE(worst, 1.0);
}

TEST(VariableProjection, hessian_has_no_negative_eigenvalue) {
  for (const Setting& setting : settings) {
    const Case of(setting, 5, 1e-2, 0.5);
    Slope slope = slope_of(Projection(of.problem, of.poles, 1e-9));
    Matrix& h = slope.hessian;
    const std::size_t n = h.rows;
    double trace = 0.0;
    for (std::size_t i = 0; i < n; ++i) {
      trace += h(i, i);
    }
    // By elimination: what is left of a semidefinite matrix has no negative diagonal but for rounding.
    for (std::size_t k = 0; k < n; ++k) {
      ASSERT_GT(h(k, k), -static_cast<double>(n) * eps * trace);
      for (std::size_t j = k + 1; j < n && h(k, k) > 0.0; ++j) {
        for (std::size_t i = j; i < n; ++i) {
          h(i, j) -= h(i, k) * h(j, k) / h(k, k);
        }
      }
    }
  }
}

void expect_stable_pairs(const Poles& poles, const Poles& before) {
  ASSERT_EQ(poles.size(), before.size());
  for (std::size_t i = 0; i < poles.size(); ++i) {
    EXPECT_LT(poles[i].real(), 0.0);
    EXPECT_EQ(is_real(poles[i]), is_real(before[i]));
    if (!is_real(poles[i])) {
      EXPECT_GT(poles[i].imag(), 0.0);
      EXPECT_EQ(poles[i + 1], std::conj(poles[i]));
      ++i;
    }
  }
}

TEST(VariableProjection, steps_make_the_error_smaller_and_keep_poles_stable_and_pairs) {
  int steps = 0;
  for (const Setting& setting : settings) {
    for (std::uint64_t seed = 0; seed < 10; ++seed) {
      Case of(setting, seed, 1e-3, 0.9);
      if (seed % 2 == 1 && !is_real(of.poles[0])) {
        // Next to the real axis, beyond which a step may want to go.
        of.poles[0].imag(1e-3 * std::abs(of.poles[0].real()));
        of.poles[1] = std::conj(of.poles[0]);
      }
      Projection projection(of.problem, of.poles, 1e-9);
      VariableProjection descent;
      for (int i = 0; i < 15; ++i) {
        const Poles before = projection.poles();
        const double error = projection.error();
        const bool better = descent.step(projection);
        expect_stable_pairs(projection.poles(), before);
        if (!better) {
          EXPECT_EQ(projection.error(), error);
          EXPECT_EQ(projection.poles(), before);
          continue;
        }
        ++steps;
        EXPECT_LT(projection.error(), error);
        EXPECT_EQ(Projection(of.problem, projection.poles(), 1e-9).error(), projection.error());
      }
    }
  }
  EXPECT_GT(steps, 200);
}

TEST(VariableProjection, a_step_changes_a_damping_by_a_factor_of_four_and_a_half_at_most) {
  for (std::uint64_t seed = 0; seed < 20; ++seed) {
    Case of(settings[2], seed, 1e-3, 0.0);
    for (Complex& pole : of.poles) {
      pole.real(50.0 * pole.real());
    }
    Projection projection(of.problem, of.poles, 1e-9);
    VariableProjection descent;
    if (!descent.step(projection)) {
      continue;
    }
    for (std::size_t i = 0; i < of.poles.size(); ++i) {
      const double ratio = projection.poles()[i].real() / of.poles[i].real();
      EXPECT_LE(std::abs(std::log(ratio)), 1.5 + 4.0 * eps);
    }
  }
}

TEST(VariableProjection, steps_converge_to_the_poles_of_the_data) {
  for (const Setting& setting : settings) {
    for (std::uint64_t seed = 0; seed < 5; ++seed) {
      const Case of(setting, seed, 0.0, 1e-2);
      // With so small a ridge the least error is rounding.
      Projection projection(of.problem, of.poles, 1e-15);
      VariableProjection descent;
      const double rounding = Rounding(projection).unit;
      std::vector<double> errors{projection.error()};
      while (errors.size() < 8 && descent.step(projection)) {
        errors.push_back(projection.error());
      }
      // The damping, 1e-3 at first and a fifth after each step, bounds what is left, and so does what is not
      // linear: a part 1e-2 of the distance to the axis squared.
      for (std::size_t i = 1; i < errors.size() && errors[i - 1] > rounding; ++i) {
        EXPECT_LE(errors[i], 0.1 * errors[i - 1] + rounding) << seed << " " << i;
      }
      EXPECT_LE(errors.back(), rounding) << seed;
      for (std::size_t i = 0; i < of.poles.size(); ++i) {
        const Complex expected = of.network.model.poles[i] / of.problem.scale;
        EXPECT_LE(std::abs(projection.poles()[i] - expected), 1e-7 * std::abs(expected.real()));
      }
    }
  }
}

TEST(VariableProjection, ends_where_the_slope_is_flat) {
  for (const Setting& setting : settings) {
    const Case of(setting, 6, 1e-2, 0.2);
    Projection projection(of.problem, of.poles, 1e-9);
    VariableProjection descent;
    int steps = 0;
    while (steps < 200 && descent.step(projection)) {
      ++steps;
    }
    EXPECT_LT(steps, 200);
    const Slope slope = slope_of(projection);
    const double error = projection.error() * of.problem.norm;
    for (std::size_t p = 0; p < slope.gradient.size(); ++p) {
      // A step down the unknown alone would gain g^2 / h of the square of the error, whose rounding hides it.
      EXPECT_LE(std::abs(slope.gradient[p]), std::sqrt(100.0 * eps * slope.hessian(p, p)) * error) << p;
    }
  }
}

TEST(VariableProjection, without_poles_there_is_no_step) {
  const Network network = random_network({.pairs = 2}, 7);
  const Problem problem = make_problem(network.data(), {});
  Projection projection(problem, {}, 1e-9);
  EXPECT_FALSE(VariableProjection().step(projection));
}

}  // namespace
}  // namespace polefit
