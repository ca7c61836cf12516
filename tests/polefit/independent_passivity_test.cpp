#include "independent_passivity.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "matrix_model.hpp"
#include "numerics.hpp"

namespace polefit::independent {
namespace {

using passivity_models::matrix_model;
using testing_support::eps;
using testing_support::infinity;
using testing_support::RandomNumbers;

TEST(LargestEigenvalue, of_a_matrix_with_known_eigenvalues) {
  // Reflected at random vectors, D keeps its eigenvalues: (I - 2 v v^H / |v|^2) D (same).
  constexpr long double rounding = std::numeric_limits<long double>::epsilon();
  for (std::uint64_t seed = 0; seed < 50; ++seed) {
    RandomNumbers numbers(seed);
    const auto n = static_cast<std::size_t>(1 + numbers.below(12));
    Square a(n * n);
    long double largest = -std::numeric_limits<long double>::infinity();
    long double size = 0.0L;
    for (std::size_t i = 0; i < n; ++i) {
      // Some of them the same, and some of them tiny.
      const long double value = seed % 3 == 0 ? std::round(3.0 * numbers()) : std::pow(1e-3L, i) * numbers();
      a[i * n + i] = value;
      largest = std::max(largest, value);
      size = std::max(size, std::abs(value));
    }
    for (int times = 0; times < 3; ++times) {
      std::vector<Complex> v(n);
      long double square = 0.0L;
      for (Complex& element : v) {
        element = numbers.complex();
        square += std::norm(element);
      }
      for (int side = 0; side < 2; ++side) {
        // From the left, then as a^H from the left again.
        for (std::size_t j = 0; j < n; ++j) {
          Complex product;
          for (std::size_t i = 0; i < n; ++i) {
            product += std::conj(v[i]) * a[i * n + j];
          }
          for (std::size_t i = 0; i < n; ++i) {
            a[i * n + j] -= 2.0L / square * v[i] * product;
          }
        }
        const Square before = a;
        for (std::size_t i = 0; i < n; ++i) {
          for (std::size_t j = 0; j < n; ++j) {
            a[i * n + j] = std::conj(before[j * n + i]);
          }
        }
      }
    }
    // Six products and some ten sweeps, each with n roundings of the size of the matrix.
    EXPECT_NEAR(static_cast<double>(largest_eigenvalue(a, n) - largest), 0.0,
                static_cast<double>(100.0L * static_cast<long double>(n) * rounding * size))
        << seed;
  }
}

TEST(WorstMeasure, of_a_resonance_is_that_at_its_pole) {
  // 1.02 at omega = 0.6, so narrow that no even grid meets it.
  const std::complex<double> pole(-1e-8, 0.6);
  const Worst spike =
      worst_measure(matrix_model('S', 1, {pole, std::conj(pole)}, {1.02e-8, 1.02e-8}, {0.0}), 1.0);
  EXPECT_NEAR(spike.measure, 1.02, 1e-7);  // beside it stands the conjugate, of a size of 1e-8
  EXPECT_NEAR(spike.omega, 0.6, 1e-8);
  // As Y its least real part is that far from the resonance.
  const Worst dip = worst_measure(matrix_model('Y', 1, {pole, std::conj(pole)}, {-1e-8, -1e-8}, {0.25}), 1.0);
  EXPECT_NEAR(dip.measure, 0.75, 1e-7);
}

TEST(WorstMeasure, of_matrices_is_that_of_their_largest_direction) {
  // [[0.6, 0.6], [0.6, 0.6]] / (1 + s) has the singular values 1.2 and 0 at 0.
  const Worst low =
      worst_measure(matrix_model('S', 2, {-1.0}, {0.6, 0.6, 0.6, 0.6}, {0.0, 0.0, 0.0, 0.0}), 1.0);
  EXPECT_NEAR(low.measure, 1.2, 4.0 * eps);
  EXPECT_EQ(low.omega, 0.0);
  // A constant with the singular value 1.1 from which a low-pass takes something.
  const Worst high =
      worst_measure(matrix_model('S', 2, {-1.0}, {0.0, -0.5, 0.0, 0.0}, {0.0, 1.1, 0.1, 0.0}), 1.0);
  EXPECT_NEAR(high.measure, 1.1, 4.0 * eps);
  EXPECT_TRUE(std::isinf(high.omega));
  // The direction counts where no element does: 0.6 [[1, 1], [1, 1]] s / (1 + s).
  const Worst rising =
      worst_measure(matrix_model('S', 2, {-1.0}, {-0.6, -0.6, -0.6, -0.6}, {0.6, 0.6, 0.6, 0.6}), 1.0);
  EXPECT_NEAR(rising.measure, 1.2, 4.0 * eps);
  // (H + H^H) / 2 of [[1, 3], [1, 1]] has the eigenvalues 3 and -1, whatever is antisymmetric in it.
  const Worst y = worst_measure(matrix_model('Y', 2, {}, {}, {1.0, 3.0, 1.0, 1.0}), 1.0);
  EXPECT_NEAR(y.measure, 1.0, 4.0 * eps);
}

TEST(WorstMeasure, of_a_wide_resonance_is_found_between_the_frequencies_that_are_tried) {
  // k s / ((s - a) (s - a*)) is largest at |a|: k / (2 |Re a|).
  const std::complex<double> a(-0.3, 0.7);
  const std::complex<double> residue = 0.66 * a / (a - std::conj(a));
  const Worst worst =
      worst_measure(matrix_model('S', 1, {a, std::conj(a)}, {residue, std::conj(residue)}, {0.0}), 1.0);
  EXPECT_NEAR(worst.measure, 1.1, 10.0 * eps);  // of the residues
  EXPECT_NEAR(worst.omega, std::abs(a), 1e-6);
}

TEST(WorstMeasure, elements_count_by_their_place_and_not_by_their_order) {
  Model model = matrix_model('S', 2, {}, {}, {0.0, 3.0, 0.0, 0.0});
  EXPECT_NEAR(worst_measure(model, 1.0).measure, 3.0, 4.0 * eps);
  model.network->elements = {{1, 1}, {2, 2}, {1, 2}, {2, 1}};
  model.constants = {0.6, 0.6, 0.8, -0.8};  // a rotation, but only in its own places
  EXPECT_NEAR(worst_measure(model, 1.0).measure, 1.0, 4.0 * eps);
  model.network->elements = all_elements(2);
  EXPECT_GT(worst_measure(model, 1.0).measure, 1.1);
}

TEST(WorstMeasure, an_all_pass_function_has_1_everywhere) {
  // (s + a*) / (s - a) for a pair: 1 + sum of residues.
  const std::complex<double> a(-0.05, 0.7);
  const std::complex<double> b = std::conj(a);
  const std::complex<double> residue = (a + b) * (a + a) / (a - b);
  const Worst worst = worst_measure(matrix_model('S', 1, {a, b}, {residue, std::conj(residue)}, {1.0}), 1.0);
  EXPECT_NEAR(worst.measure, 1.0, 20.0 * eps);  // of the residue, over the distance of the pole: 14
}

TEST(WorstMeasure, terms_proportional_to_s_are_those_of_passive_elements) {
  EXPECT_EQ(worst_measure(matrix_model('S', 1, {}, {}, {0.0}, {1e-15}), 1.0).measure, infinity);
  EXPECT_EQ(worst_measure(matrix_model('Y', 1, {}, {}, {1.0}, {-1e-15}), 1.0).measure, infinity);
  EXPECT_NEAR(worst_measure(matrix_model('Y', 1, {}, {}, {1.0}, {1e-15}), 1.0).measure, -1.0, eps);
  const std::vector<double> unit{1.0, 0.0, 0.0, 1.0};
  EXPECT_EQ(worst_measure(matrix_model('Z', 2, {}, {}, unit, {1.0, 0.1, 0.0, 1.0}), 1.0).measure, infinity);
  EXPECT_EQ(worst_measure(matrix_model('Z', 2, {}, {}, unit, {1.0, 2.0, 2.0, 1.0}), 1.0).measure, infinity);
  EXPECT_NEAR(worst_measure(matrix_model('Z', 2, {}, {}, unit, {1.0, 1.0, 1.0, 1.0}), 1.0).measure, -1.0,
              4.0 * eps);
}

TEST(WorstMeasure, a_value_that_is_none_shows) {
  EXPECT_TRUE(
      std::isnan(worst_measure(matrix_model('S', 1, {}, {}, {testing_support::quiet_nan}), 1.0).measure));
}

TEST(WorstMeasure, of_twelve_ports_is_that_of_the_best_direction) {
  // Q D(s) Q^T with Q = I - 2 v v^T / |v|^2 and diagonal elements r_i / (1 + s / w_i), largest at 0.
  constexpr std::size_t n = 12;
  RandomNumbers numbers(12);
  const std::vector<double> v = numbers.values(n);
  double square = 0.0;
  for (const double element : v) {
    square += element * element;
  }
  const auto q = [&](std::size_t i, std::size_t j) {
    return (i == j ? 1.0 : 0.0) - 2.0 * v[i] * v[j] / square;
  };
  std::vector<std::complex<double>> poles;
  for (std::size_t k = 0; k < n; ++k) {
    poles.emplace_back(-0.1 * static_cast<double>(k + 1), 0.0);
  }
  std::vector<std::complex<double>> residues;
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j < n; ++j) {
      for (std::size_t k = 0; k < n; ++k) {
        residues.emplace_back((k == 7 ? 0.9 : 0.89) * q(i, k) * q(j, k) * -poles[k].real(), 0.0);
      }
    }
  }
  const Worst worst = worst_measure(matrix_model('S', n, poles, residues, std::vector<double>(n * n)), 0.2);
  // The elements of twelve terms are rounded to eps each.
  EXPECT_NEAR(worst.measure, 0.9, 12.0 * eps);
  EXPECT_EQ(worst.omega, 0.0);
}

}  // namespace
}  // namespace polefit::independent
