/// Steps of poles between planes, against the equations of the whole problem.

#include "polefit/passivity/pole_moves.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

#include "enforcement_cases.hpp"
#include "polefit/passivity/harm.hpp"

namespace polefit {
namespace {

using enforcement_cases::band;
using enforcement_cases::Case;
using enforcement_cases::exact;
using enforcement_cases::random_case;
using passivity_models::matrix_model;
using testing_support::Complex;
using testing_support::infinity;
using testing_support::RandomNumbers;

using Long = long double;

constexpr double hardly_outside = 1e-8;
constexpr double no_damping = 1e-12;

/// A two-port with a real pole and two resonances in the band, all of which its samples show.
Model plain_model(std::uint64_t seed) {
  RandomNumbers numbers(seed);
  const Complex first{-0.2, numbers.between(0.4, 1.0)};
  const Complex second{-0.3, numbers.between(1.5, 2.5)};
  const std::vector<Complex> poles{-0.7, first, std::conj(first), second, std::conj(second)};
  std::vector<Complex> residues;
  std::vector<double> constants;
  for (int r = 0; r < 4; ++r) {
    const Complex a = numbers.complex();
    const Complex b = numbers.complex();
    residues.insert(residues.end(), {numbers(), a, std::conj(a), b, std::conj(b)});
    constants.push_back(numbers());
  }
  return matrix_model(seed % 2 == 0 ? 'S' : 'Y', 2, poles, residues, constants);
}

/// With weights of samples and of responses.
Case weighed_case(std::uint64_t seed, double noise) {
  Case made = exact(plain_model(seed), band(40, 0.1, 3.0));
  enforcement_cases::disturb(made, noise, seed + 1);
  RandomNumbers numbers(seed + 2);
  std::vector<double> of_sample;
  for (std::size_t k = 0; k < made.frequencies.size(); ++k) {
    of_sample.push_back(numbers.between(0.5, 2.0));
  }
  for (int r = 0; r < 4; ++r) {
    const double of_response = numbers.between(0.5, 2.0);
    for (const double weight : of_sample) {
      made.weights.push_back(of_response * weight);
    }
  }
  return made;
}

MatrixSamples samples_of(const ScaledModel& model, const Case& made) {
  return matrix_samples(model, *whole_matrix(made.model.network), made.data());
}

ScaledModel with_poles_moved(ScaledModel model, const std::vector<double>& by) {
  for_each_group(
      model.poles, [&](std::size_t i) { model.poles[i] += by[i]; },
      [&](std::size_t i) {
        model.poles[i] += Complex(by[i], by[i + 1]);
        model.poles[i + 1] = std::conj(model.poles[i]);
      });
  return model;
}

std::vector<double> difference_of_poles(const ScaledModel& model, const ScaledModel& from) {
  std::vector<double> difference(model.poles.size());
  for_each_group(
      model.poles, [&](std::size_t i) { difference[i] = (model.poles[i] - from.poles[i]).real(); },
      [&](std::size_t i) {
        difference[i] = (model.poles[i] - from.poles[i]).real();
        difference[i + 1] = (model.poles[i] - from.poles[i]).imag();
      });
  return difference;
}

/// The unknowns of the whole problem: the poles', then the coefficients of all elements, of the constants
/// only where the value at 0 Hz is free.
class WholeProblem {
 public:
  WholeProblem(const ScaledModel& model, const MatrixSamples& samples, bool keep_zero)
      : model_(model), keep_zero_(keep_zero), functions_(model.functions() - (keep_zero ? 1 : 0)) {
    const std::size_t n = unknowns();
    equations_.assign(n + 1, std::vector<Long>(n + 2));
    for (std::size_t k = 0; k < samples.omega.size(); ++k) {
      const ComplexMatrix value = value_at(model, samples.omega[k]);
      const std::vector<ComplexMatrix> slopes = slopes_at(samples.omega[k]);
      for (std::size_t e = 0; e < model.x.columns; ++e) {
        const double weight = samples.omega_weights[k] * samples.element_weights[e];
        const Complex left =
            samples.values[k * model.x.columns + e] - Complex(value.re.elements[e], value.im.elements[e]);
        add({part_of(slopes, e, false), weight * left.real()}, weight);
        add({part_of(slopes, e, true), weight * left.imag()}, weight);
      }
    }
  }

  /// The moves of the poles that make the squares least, with Re(sum c H) no more than the limit.
  std::vector<double> best_moves(const Peak& plane, double limit) const {
    const std::vector<ComplexMatrix> slopes = slopes_at(plane.omega);
    const ComplexMatrix value = value_at(model_, plane.omega);
    const std::size_t n = unknowns();
    std::vector<Long> row(n);
    Long beyond = -limit;
    for (std::size_t e = 0; e < plane.c.size(); ++e) {
      const Complex c = plane.c[e];
      for (std::size_t u = 0; u < n; ++u) {
        row[u] += (c * Complex(slopes[u].re.elements[e], slopes[u].im.elements[e])).real();
      }
      beyond += (c * Complex(value.re.elements[e], value.im.elements[e])).real();
    }
    std::vector<std::vector<Long>> equations = equations_;
    for (std::size_t u = 0; u < n; ++u) {
      equations[u][n] = equations[n][u] = row[u];
    }
    equations[n][n] = 0.0L;
    equations[n][n + 1] = -beyond;
    std::vector<Long> held = solved(equations);
    if (held[n] <= 0.0L) {  // the plane does not hold
      std::fill(equations[n].begin(), equations[n].end(), 0.0L);
      equations[n][n] = 1.0L;
      held = solved(equations);
    }
    const std::size_t poles = model_.poles.size();
    return {held.begin(), held.begin() + static_cast<std::ptrdiff_t>(poles)};
  }

 private:
  std::size_t unknowns() const { return model_.poles.size() + functions_ * model_.x.columns; }

  /// Of the values by the unknowns: those of the poles by differences, whose error is the square of the step.
  std::vector<ComplexMatrix> slopes_at(double omega) const {
    constexpr double step = 1e-5;
    const auto at = [&](const ScaledModel& model) {
      ComplexMatrix value = value_at(model, omega);
      if (keep_zero_) {
        const ComplexMatrix zero = value_at(model, 0.0);
        for (std::size_t e = 0; e < zero.re.elements.size(); ++e) {
          value.re.elements[e] -= zero.re.elements[e];
        }
      }
      return value;
    };
    std::vector<ComplexMatrix> slopes;
    const auto add_slope = [&](const ScaledModel& above, const ScaledModel& below, double width) {
      ComplexMatrix slope = at(above);
      const ComplexMatrix other = at(below);
      for (std::size_t e = 0; e < other.re.elements.size(); ++e) {
        slope.re.elements[e] = (slope.re.elements[e] - other.re.elements[e]) / width;
        slope.im.elements[e] = (slope.im.elements[e] - other.im.elements[e]) / width;
      }
      slopes.push_back(std::move(slope));
    };
    for (std::size_t i = 0; i < model_.poles.size(); ++i) {
      std::vector<double> by(model_.poles.size());
      by[i] = step;
      const ScaledModel above = with_poles_moved(model_, by);
      by[i] = -step;
      add_slope(above, with_poles_moved(model_, by), 2.0 * step);
    }
    ScaledModel none = model_;
    std::fill(none.x.elements.begin(), none.x.elements.end(), 0.0);
    for (std::size_t e = 0; e < model_.x.columns; ++e) {
      for (std::size_t k = 0; k < functions_; ++k) {
        ScaledModel one = none;
        one.x(k, e) = 1.0;
        add_slope(one, none, 1.0);
      }
    }
    return slopes;
  }

  static std::vector<Long> part_of(const std::vector<ComplexMatrix>& slopes, std::size_t e, bool imaginary) {
    std::vector<Long> row;
    for (const ComplexMatrix& slope : slopes) {
      row.push_back((imaginary ? slope.im : slope.re).elements[e]);
    }
    return row;
  }

  struct Row {
    std::vector<Long> slopes;
    Long right;  // with the weight
  };
  void add(const Row& row, double weight) {
    const std::size_t n = row.slopes.size();
    for (std::size_t j = 0; j < n; ++j) {
      for (std::size_t i = 0; i < n; ++i) {
        equations_[i][j] += weight * weight * row.slopes[i] * row.slopes[j];
      }
      equations_[j][n + 1] += weight * row.slopes[j] * row.right;
    }
  }

  /// Gauss's elimination with pivots of the column.
  static std::vector<Long> solved(std::vector<std::vector<Long>> a) {
    const std::size_t n = a.size();
    for (std::size_t j = 0; j < n; ++j) {
      std::size_t pivot = j;
      for (std::size_t i = j; i < n; ++i) {
        pivot = std::abs(a[i][j]) > std::abs(a[pivot][j]) ? i : pivot;
      }
      std::swap(a[j], a[pivot]);
      for (std::size_t i = 0; i < n; ++i) {
        const Long factor = a[i][j] / a[j][j];
        for (std::size_t k = j; i != j && k <= n; ++k) {
          a[i][k] -= factor * a[j][k];
        }
      }
    }
    std::vector<Long> x;
    for (std::size_t i = 0; i < n; ++i) {
      x.push_back(a[i][n] / a[i][i]);
    }
    return x;
  }

  const ScaledModel& model_;
  bool keep_zero_;
  std::size_t functions_;
  std::vector<std::vector<Long>>
      equations_;  // of the least squares, a row and a column for a plane, the right side
};

TEST(PoleMoves, a_step_without_planes_is_nearer_by_a_square) {
  constexpr double away = 1e-4;
  for (std::uint64_t seed = 0; seed < 10; ++seed) {
    for (const bool keep_zero : {false, true}) {
      const Case made = weighed_case(seed, 0.0);
      const ScaledModel truth = scaled_model(made.model);
      const MatrixSamples samples = samples_of(truth, made);
      RandomNumbers numbers(seed);
      std::vector<double> by;
      for (std::size_t i = 0; i < truth.poles.size(); ++i) {
        by.push_back(away * truth.poles[i].real() * numbers());
      }
      ScaledModel model = with_poles_moved(truth, by);
      for (std::size_t e = 0; e < model.x.columns && keep_zero; ++e) {
        const ComplexMatrix zero = value_at(truth, 0.0);
        const ComplexMatrix now = value_at(model, 0.0);
        model.x(model.poles.size(), e) += zero.re.elements[e] - now.re.elements[e];
      }
      const Harm harm(model, samples, hardly_outside, keep_zero);
      model.x = harm.expanded(harm.centre());
      const PoleMoves moves(model, samples, hardly_outside, keep_zero, {}, 1.0);
      const std::optional<ScaledModel> moved = moves.moved(no_damping);
      ASSERT_TRUE(moved);
      for (std::size_t i = 0; i < truth.poles.size(); ++i) {
        // Second derivatives are at most some tens of the slopes, in units of the damping.
        EXPECT_LE(std::abs(moved->poles[i] - truth.poles[i]), 100.0 * away * away) << seed << " " << i;
      }
    }
  }
}

TEST(PoleMoves, a_plane_holds_the_poles_back_as_in_the_equations_of_the_whole_problem) {
  int held = 0;
  for (std::uint64_t seed = 0; seed < 16; ++seed) {
    const bool keep_zero = seed % 4 >= 2;
    const Case made = weighed_case(seed, 1e-4);
    ScaledModel model = scaled_model(made.model);
    const MatrixSamples samples = samples_of(model, made);
    // Of poles that are not the best, and of coefficients that do not matter to first order.
    model = with_poles_moved(model, std::vector<double>(model.poles.size(), 1e-3));
    const double omega = seed % 5 == 4 && !keep_zero ? infinity : 0.7 + 0.1 * static_cast<double>(seed);
    const Peak peak = peaks_at(model, omega, -infinity, false).front();
    const double limit = peak.measure - 1e-2;
    const PoleMoves moves(model, samples, hardly_outside, keep_zero, {peak}, limit);
    const PoleMoves free_moves(model, samples, hardly_outside, keep_zero, {}, limit);
    const std::optional<ScaledModel> moved = moves.moved(no_damping);
    ASSERT_TRUE(moved);
    const std::vector<double> found = difference_of_poles(*moved, model);
    const std::vector<double> expected = WholeProblem(model, samples, keep_zero).best_moves(peak, limit);
    double largest = 0.0;
    for (const double move : expected) {
      largest = std::max(largest, std::abs(move));
    }
    for (std::size_t i = 0; i < expected.size(); ++i) {
      // Differences miss slopes by the square of their step, which the condition of the problem enlarges.
      EXPECT_NEAR(found[i], expected[i], 1e-5 * largest) << seed << " " << i;
    }
    held += free_moves.moved(no_damping)->poles != moved->poles ? 1 : 0;
  }
  EXPECT_GT(held, 8);
}

TEST(PoleMoves, damping_shortens_a_step_to_nothing) {
  const Case made = weighed_case(1, 1e-2);
  const ScaledModel model = scaled_model(made.model);
  const PoleMoves moves(model, samples_of(model, made), hardly_outside, false, {}, 1.0);
  double last = infinity;
  for (const double damping : {1e-3, 1.0, 1e3, 1e6}) {
    double length = 0.0;
    for (const double move : difference_of_poles(*moves.moved(damping), model)) {
      length = std::max(length, std::abs(move));
    }
    EXPECT_GT(length, 0.0);
    EXPECT_LT(length, last);
    last = length;
  }
  EXPECT_LT(last, 1e-6);
}

TEST(PoleMoves, poles_stay_stable_and_pairs_stay_pairs_in_steps_of_any_length) {
  for (std::uint64_t seed = 0; seed < 30; ++seed) {
    const Case made = random_case(seed, seed % 2 == 0, seed % 2 == 0 ? 1.2 : 0.2, 0.3);
    const ScaledModel model = scaled_model(made.model);
    const PoleMoves moves(model, samples_of(model, made), hardly_outside, false,
                          peaks_at(model, 1.0, -infinity, false), -0.5);
    const std::optional<ScaledModel> moved = moves.moved(1e-6);
    ASSERT_TRUE(moved) << seed;
    bool any = false;
    for_each_group(
        model.poles, [&](std::size_t i) { EXPECT_EQ(moved->poles[i].imag(), 0.0) << seed; },
        [&](std::size_t i) {
          EXPECT_GT(moved->poles[i].imag(), 0.0) << seed;
          EXPECT_EQ(moved->poles[i + 1], std::conj(moved->poles[i])) << seed;
        });
    for (std::size_t i = 0; i < model.poles.size(); ++i) {
      EXPECT_LE(moved->poles[i].real(), 0.4999 * model.poles[i].real()) << seed;
      any = any || moved->poles[i] != model.poles[i];
    }
    EXPECT_TRUE(any) << seed;
  }
}

}  // namespace
}  // namespace polefit
