#include "polefit/passivity/hamiltonian.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "independent_passivity.hpp"
#include "passivity_models.hpp"

namespace polefit {
namespace {

using passivity_models::matrix_model;
using passivity_models::random_model;
using testing_support::Complex;

/// The measure of the tests' own code, in units of the scaled model.
double measure(const Model& model, const ScaledModel& scaled, double omega) {
  return static_cast<double>(independent::measure_at(model, omega * scaled.unit)) /
         (scaled.scattering ? 1.0 : scaled.scale);
}

/// Where the measure passes the limit between neighbours of a fine grid, halved until nothing is between.
std::vector<double> crossings_by_bisection(const Model& model, const ScaledModel& scaled, double limit) {
  std::vector<double> grid{0.0};
  for (int i = 0; i <= 2000; ++i) {
    grid.push_back(std::pow(10.0, -5.0 + 9.0 * i / 2000.0));
  }
  for (const Complex pole : scaled.poles) {
    for (int i = -40; i <= 40; ++i) {
      grid.push_back(std::abs(pole.imag() + pole.real() * std::sinh(0.1 * i)));
    }
  }
  std::sort(grid.begin(), grid.end());
  std::vector<double> crossings;
  const auto above = [&](double omega) { return measure(model, scaled, omega) > limit; };
  bool was_above = above(grid.front());
  for (std::size_t i = 1; i < grid.size(); ++i) {
    const bool is_above = above(grid[i]);
    if (is_above == was_above) {
      continue;
    }
    double low = grid[i - 1];
    double high = grid[i];
    for (double middle = 0.5 * (low + high); middle > low && middle < high; middle = 0.5 * (low + high)) {
      (above(middle) == was_above ? low : high) = middle;
    }
    crossings.push_back(high);
    was_above = is_above;
  }
  return crossings;
}

TEST(Hamiltonian, has_every_crossing_that_bisection_finds) {
  std::size_t compared = 0;
  for (std::uint64_t seed = 0; seed < 40; ++seed) {
    const bool scattering = seed % 3 != 0;
    const Model model = random_model(seed, scattering, (scattering ? 1.0 : 0.0) + 0.1);
    const ScaledModel scaled = scaled_model(model);
    const double limit = scattering ? 1.0 : 0.0;
    const std::optional<std::vector<double>> found = hamiltonian_crossings(scaled, limit);
    ASSERT_TRUE(found) << seed;
    for (const double expected : crossings_by_bisection(model, scaled, limit)) {
      const auto nearest = std::min_element(found->begin(), found->end(), [&](double a, double b) {
        return std::abs(a - expected) < std::abs(b - expected);
      });
      ASSERT_NE(nearest, found->end()) << seed << " " << expected;
      // What moves the eigenvalue is rounding of the order of the matrix, times its norm (poles of up to 100
      // beside crossings at 0.1), through the square root where two crossings are nearly one.
      EXPECT_NEAR(*nearest, expected, 1e-8 * std::max(1.0, expected)) << seed;
      ++compared;
    }
  }
  EXPECT_GT(compared, 50U);
}

TEST(Hamiltonian, has_no_crossing_where_no_singular_value_is_near_the_limit) {
  std::size_t compared = 0;
  for (std::uint64_t seed = 0; seed < 60; ++seed) {
    const Model model = random_model(seed, true, seed % 2 == 0 ? 1.1 : 0.9);
    const ScaledModel scaled = scaled_model(model);
    const std::optional<std::vector<double>> found = hamiltonian_crossings(scaled, 1.0);
    ASSERT_TRUE(found) << seed;
    if (seed % 2 != 0) {
      EXPECT_TRUE(found->empty()) << seed;
      continue;
    }
    for (const double omega : *found) {
      // An eigenvalue within 1e-6 of its size from the axis: I - S^H S is no farther from being singular than
      // it changes over some such steps.
      const double here = measure(model, scaled, omega);
      const double beside = measure(model, scaled, omega * (1.0 + 1e-5));
      // The largest value has to be the one that crosses, or another one of the matrix is.
      if (scaled.ports == 1) {
        EXPECT_NEAR(here, 1.0, 1e-8 + std::abs(here - beside)) << seed << " " << omega;
        ++compared;
      } else {
        EXPECT_GE(here, 1.0 - 1e-8 - std::abs(here - beside)) << seed << " " << omega;
      }
    }
  }
  EXPECT_GT(compared, 5U);
}

TEST(Hamiltonian, of_a_low_pass_crosses_where_the_formula_says) {
  // |d + r / (s + 1)|^2 = 1 where omega^2 = ((d + r)^2 - 1) / (1 - d^2).
  for (const double d : {0.0, 0.5, -0.5}) {
    const double r = 1.8;
    const double expected = std::sqrt(((d + r) * (d + r) - 1.0) / (1.0 - d * d));
    const ScaledModel model = scaled_model(matrix_model('S', 1, {-1.0}, {r}, {d}));
    const std::optional<std::vector<double>> found = hamiltonian_crossings(model, 1.0);
    ASSERT_TRUE(found);
    ASSERT_EQ(found->size(), 1U);
    EXPECT_NEAR(found->front(), expected, 1e-14 * expected);  // a matrix of order 2
  }
}

TEST(Hamiltonian, does_not_exist_at_the_singular_values_of_the_constant) {
  const ScaledModel model =
      scaled_model(matrix_model('S', 2, {-1.0}, {-0.1, 0.0, 0.0, 0.1}, {1.0, 0.0, 0.0, -0.5}));
  EXPECT_FALSE(hamiltonian_crossings(model, 1.0));
  EXPECT_FALSE(hamiltonian_crossings(model, 0.5));
  EXPECT_TRUE(hamiltonian_crossings(model, 0.7));
  EXPECT_TRUE(hamiltonian_crossings(model, 1.0 + 1e-9));
  EXPECT_FALSE(hamiltonian_crossings(model, 1.0 + 1e-12));  // what is left of D^T D - limit^2 I is rounding
  const ScaledModel reactance = scaled_model(matrix_model('Y', 1, {-1.0}, {0.1}, {0.0}));
  EXPECT_FALSE(hamiltonian_crossings(reactance, 0.0));
}

}  // namespace
}  // namespace polefit
