#include "polefit/relocation/zeros.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <iostream>
#include <limits>
#include <string>
#include <vector>

#include "numerics.hpp"
#include "polefit/error.hpp"

namespace polefit {
namespace {

using testing_support::Complex;
using testing_support::eps;
using testing_support::RandomNumbers;
using LongComplex = std::complex<long double>;

/// The unknowns of sigma = d prod (s - z_i) / prod (s - a_i), by partial fractions in long double.
std::vector<double> sigma_of(const Poles& zeros, const Poles& poles, double d) {
  std::vector<double> unknowns(poles.size());
  const auto residue = [&](std::size_t i) {
    LongComplex c = d;
    for (std::size_t j = 0; j < poles.size(); ++j) {
      c *= LongComplex(poles[i]) - LongComplex(zeros[j]);
      c /= j == i ? LongComplex(1) : LongComplex(poles[i]) - LongComplex(poles[j]);
    }
    return c;
  };
  for_each_group(
      poles, [&](std::size_t i) { unknowns[i] = static_cast<double>(residue(i).real()); },
      [&](std::size_t i) {
        unknowns[i] = static_cast<double>(residue(i).real());
        unknowns[i + 1] = static_cast<double>(residue(i).imag());
      });
  unknowns.push_back(d);
  return unknowns;
}

/// Pairs about 1 apart, of dampings from 0.1 to 0.5, and real poles.
Poles random_poles(RandomNumbers& numbers, std::size_t pairs, std::size_t real_poles) {
  Poles poles;
  for (std::size_t i = 0; i < real_poles; ++i) {
    poles.emplace_back(-1.0 - 2.0 * static_cast<double>(i) - numbers.between(0.0, 1.0), 0.0);
  }
  for (std::size_t i = 0; i < pairs; ++i) {
    const Complex pole{-numbers.between(0.1, 0.5), static_cast<double>(i) + 1.0 + 0.3 * numbers()};
    poles.insert(poles.end(), {pole, std::conj(pole)});
  }
  return poles;
}

/// The largest distance of a number of one set from the nearest one of the other.
double distance(const Poles& found, const Poles& expected) {
  double largest = 0.0;
  for (const Complex a : expected) {
    double nearest = std::numeric_limits<double>::infinity();
    for (const Complex b : found) {
      nearest = std::min(nearest, std::abs(a - b));
    }
    largest = std::max(largest, nearest);
  }
  return largest;
}

/// How far rounding may move the zero z of sigma: eps times the norm of the matrix A - b c^T / d whose
/// eigenvalue it is, times the condition of that eigenvalue, |x| |y| / |y^T x| with x = (z - A)^-1 b and
/// y = (z - A^T)^-1 c, of which y^T x is sigma'(z).
double rounding_of(Complex z, const std::vector<double>& unknowns, const Poles& poles) {
  const std::size_t n = poles.size();
  std::vector<Complex> residues(n);
  residues_from_unknowns(poles, unknowns.data(), residues.data());
  double largest = 0.0;
  double c_square = 0.0;
  double x_square = 0.0;
  double y_square = 0.0;
  Complex derivative;
  for (std::size_t i = 0; i < n; ++i) {
    const Complex c = residues[i] / unknowns[n];
    const Complex u = 1.0 / (z - poles[i]);
    largest = std::max(largest, std::abs(poles[i]));
    c_square += std::norm(c);
    x_square += std::norm(u);
    y_square += std::norm(c * u);
    derivative += c * u * u;
  }
  const double norm = largest + std::sqrt(static_cast<double>(n) * c_square);
  return eps * norm * std::sqrt(x_square * y_square) / std::abs(derivative);
}

TEST(Zeros, they_are_those_of_a_sigma_that_was_made_of_zeros) {
  double worst = 0.0;
  double largest_rounding = 0.0;
  for (std::uint64_t seed = 0; seed < 60; ++seed) {
    RandomNumbers numbers(seed);
    const std::size_t pairs = seed % 7;
    const std::size_t real_poles = seed % 3;
    const Poles poles = random_poles(numbers, pairs, real_poles);
    const Poles zeros = random_poles(numbers, pairs, real_poles);
    const std::vector<double> unknowns = sigma_of(zeros, poles, numbers.between(0.2, 5.0));
    const Poles found = zeros_of(unknowns, poles, false);
    ASSERT_EQ(found.size(), zeros.size());
    for (const Complex z : zeros) {
      const double rounding = rounding_of(z, unknowns, poles);
      worst = std::max(worst, distance(found, {z}) / rounding);
      largest_rounding = std::max(largest_rounding, rounding);
    }
  }
  std::cout << "worst: " << worst << " of a rounding of at most " << largest_rounding << "\n";
  EXPECT_LE(worst, 14.0);  // as many roundings as the largest matrix has rows; worst of these seeds: 6.0
  EXPECT_LE(largest_rounding, 1e-13);
}

TEST(Zeros, pairs_stand_side_by_side_and_are_exactly_conjugate) {
  for (std::uint64_t seed = 0; seed < 60; ++seed) {
    RandomNumbers numbers(seed);
    const Poles poles = random_poles(numbers, seed % 7, seed % 3);
    std::vector<double> unknowns;
    for (std::size_t i = 0; i <= poles.size(); ++i) {
      unknowns.push_back(numbers());
    }
    const Poles zeros = zeros_of(unknowns, poles, seed % 2 == 0);
    ASSERT_EQ(zeros.size(), poles.size());
    for (std::size_t i = 0; i < zeros.size(); ++i) {
      if (!is_real(zeros[i])) {
        ASSERT_LT(i + 1, zeros.size());
        EXPECT_GT(zeros[i].imag(), 0.0);
        EXPECT_EQ(zeros[i + 1], std::conj(zeros[i]));
        ++i;
      }
    }
  }
}

TEST(Zeros, those_of_the_right_half_plane_are_mirrored_if_the_model_is_to_be_stable) {
  const Poles poles{-2.0, {-0.5, 3.0}, {-0.5, -3.0}};
  const Poles zeros{1.0, {0.25, 4.0}, {0.25, -4.0}};
  const std::vector<double> unknowns = sigma_of(zeros, poles, 1.0);
  const double permitted = 1e3 * eps;  // three well-separated eigenvalues of a matrix of size 10
  EXPECT_LE(distance(zeros_of(unknowns, poles, false), zeros), permitted);
  EXPECT_LE(distance(zeros_of(unknowns, poles, true), {-1.0, {-0.25, 4.0}, {-0.25, -4.0}}), permitted);
}

TEST(Zeros, none_stays_on_the_axis_where_it_may_be_that_of_a_sample) {
  // 1 + 2 / (s - 2) is zero at 0; a sigma of 1 has the poles themselves.
  EXPECT_EQ(std::abs(zeros_of({2.0, 1.0}, {2.0}, false).at(0)), 1e-15);
  const Poles pair{{0.0, 3.0}, {0.0, -3.0}};
  const Poles found = zeros_of({0.0, 0.0, 1.0}, pair, false);
  EXPECT_EQ(std::abs(found.at(0).real()), 1e-15 * 3.0);
  EXPECT_EQ(found.at(1), std::conj(found.at(0)));
}

TEST(Zeros, none_is_farther_than_a_constant_over_the_band_can_tell) {
  // 1 + 1e12 / (s + 1) is zero at -1e12 - 1.
  const Poles zeros = zeros_of({1e12, 1.0}, {-1.0}, true);
  ASSERT_EQ(zeros.size(), 1U);
  EXPECT_NEAR(zeros[0].real(), -1e10, 4 * eps * 1e10);
  EXPECT_EQ(zeros[0].imag(), 0.0);
  // A pair keeps its direction, and its members stay conjugate.
  const Poles pair{{-6e12, 8e12}, {-6e12, -8e12}};
  const Poles found = zeros_of({0.0, 0.0, 1.0}, pair, true);
  ASSERT_EQ(found.size(), 2U);
  EXPECT_LE(std::abs(found[0] - Complex(-6e9, 8e9)), 16 * eps * 1e10);
  EXPECT_EQ(found[1], std::conj(found[0]));
}

TEST(Zeros, a_sigma_without_constant_keeps_its_zeros_in_reach) {
  // d + 1 / (s + 1) is zero at -1 - 1 / d, with 1e-8 or -1e-8 in place of a smaller d.
  const auto zero_with = [](double d) { return zeros_of({1.0, d}, {-1.0}, false)[0].real(); };
  EXPECT_NEAR(zero_with(0.0), -1.0 - 1e8, 4 * eps * 1e8);
  EXPECT_EQ(zero_with(1e-12), zero_with(0.0));
  EXPECT_NEAR(zero_with(-1e-12), -1.0 + 1e8, 4 * eps * 1e8);
  EXPECT_NEAR(zero_with(2e-8), -1.0 - 0.5e8, 4 * eps * 1e8);
}

TEST(Zeros, unknowns_that_overflow_are_refused) {
  const auto sentence_of = [](const std::vector<double>& unknowns) -> std::string {
    try {
      zeros_of(unknowns, {-1.0}, true);
    } catch (const Error& error) {
      EXPECT_EQ(error.kind(), ErrorKind::numerical_breakdown);
      return error.what();
    }
    return "was accepted";
  };
  EXPECT_EQ(sentence_of({1e305, 0.0}), "the relocation of the poles overflowed");
  EXPECT_EQ(sentence_of({std::numeric_limits<double>::quiet_NaN(), 1.0}),
            "the relocation of the poles overflowed");
}

TEST(MoveLeft, real_parts_get_the_sign_of_a_decay_and_nothing_else_changes) {
  Poles poles{2.0, -3.0, {0.5, 4.0}, {0.5, -4.0}, {-0.25, 1.0}, {-0.25, -1.0}};
  move_left(poles);
  EXPECT_EQ(poles, (Poles{-2.0, -3.0, {-0.5, 4.0}, {-0.5, -4.0}, {-0.25, 1.0}, {-0.25, -1.0}}));
}

TEST(MoveLeft, a_pole_on_the_axis_moves_off_it_by_rounding) {
  Poles poles{0.0, {0.0, 40.0}, {0.0, -40.0}, {-0.0, 0.5}, {-0.0, -0.5}};
  move_left(poles);
  EXPECT_EQ(poles,
            (Poles{-1e-15, {-1e-15 * 40.0, 40.0}, {-1e-15 * 40.0, -40.0}, {-1e-15, 0.5}, {-1e-15, -0.5}}));
}

}  // namespace
}  // namespace polefit
