#include "numerics/triangle_condition.hpp"

#include <gtest/gtest.h>

#include <iostream>

#include "matrices.hpp"

namespace numerics {
namespace {

using namespace test_matrices;

Matrix random_triangle(std::size_t n, double diagonal, RandomNumbers& numbers) {
  Matrix r(n, n);
  for (std::size_t j = 0; j < n; ++j) {
    for (std::size_t i = 0; i < j; ++i) {
      r(i, j) = numbers();
    }
    r(j, j) = diagonal + numbers();
  }
  return r;
}

/// In long double, row by row.
long double plain_condition(const Matrix& r) {
  const std::size_t n = r.columns;
  std::vector<std::vector<long double>> inverse(n, std::vector<long double>(n));
  for (std::size_t i = n; i-- > 0;) {
    for (std::size_t j = i; j < n; ++j) {
      long double sum = i == j ? 1.0L : 0.0L;
      for (std::size_t k = i + 1; k <= j; ++k) {
        sum -= r(i, k) * inverse[k][j];
      }
      inverse[i][j] = sum / r(i, i);
    }
  }
  long double norm = 0.0L;
  long double inverse_norm = 0.0L;
  for (std::size_t j = 0; j < n; ++j) {
    long double sum = 0.0L;
    long double inverse_sum = 0.0L;
    for (std::size_t i = 0; i <= j; ++i) {
      sum += std::abs(static_cast<long double>(r(i, j)));
      inverse_sum += std::abs(inverse[i][j]);
    }
    norm = std::max(norm, sum);
    inverse_norm = std::max(inverse_norm, inverse_sum);
  }
  return 1.0L / (norm * inverse_norm);
}

TEST(TriangleCondition, is_that_of_the_inverse) {
  double worst = 0.0;
  for (std::size_t n = 1; n <= 30; ++n) {
    for (std::uint64_t seed = 0; seed < 10; ++seed) {
      RandomNumbers numbers(seed);
      const Matrix r = random_triangle(n, seed % 2 == 0 ? 1.5 : 0.5, numbers);
      const long double expected = plain_condition(r);
      const auto off = static_cast<double>(std::abs(triangle_condition(r) - expected) / expected);
      worst = std::max(worst, off / (eps * static_cast<double>(n)));
    }
  }
  std::cout << "worst: " << worst << "\n";
  EXPECT_LE(worst, 10.0);  // in n eps: triangles are inverted to high relative accuracy
}

TEST(TriangleCondition, of_powers_of_two_is_exact) {
  Matrix r(3, 3);
  r(0, 0) = 0x1p500;
  r(1, 1) = -1.0;
  r(2, 2) = 0x1p-500;
  EXPECT_EQ(triangle_condition(r), 0x1p-1000);
  r(0, 0) = r(2, 2) = -1.0;
  EXPECT_EQ(triangle_condition(r), 1.0);
  r(0, 2) = 1.0;  // |R| and its inverse have a column sum of 2
  EXPECT_EQ(triangle_condition(r), 0.25);
}

TEST(TriangleCondition, does_not_change_when_all_is_scaled_by_a_power_of_two) {
  RandomNumbers numbers(1);
  const Matrix r = random_triangle(20, 1.5, numbers);
  for (const int exponent : {-900, -3, 900}) {
    Matrix scaled = r;
    for (double& element : scaled.elements) {
      element = std::ldexp(element, exponent);
    }
    EXPECT_EQ(triangle_condition(scaled), triangle_condition(r)) << exponent;
  }
}

TEST(TriangleCondition, is_0_for_what_has_no_inverse_within_range) {
  RandomNumbers numbers(2);
  for (const double bad : {0.0, 5e-324, quiet_nan, infinity}) {
    for (std::size_t i = 0; i < 5; ++i) {
      Matrix r = random_triangle(5, 1.5, numbers);
      r(i, i) = bad;
      EXPECT_EQ(triangle_condition(r), 0.0) << bad << " at " << i;
    }
  }
  Matrix r = random_triangle(5, 1.5, numbers);
  r(1, 3) = quiet_nan;
  EXPECT_EQ(triangle_condition(r), 0.0);
}

TEST(TriangleCondition, does_not_look_below_the_diagonal) {
  RandomNumbers numbers(3);
  Matrix r = random_triangle(6, 1.5, numbers);
  const double expected = triangle_condition(r);
  for (std::size_t j = 0; j < 6; ++j) {
    std::fill(r.column(j) + j + 1, r.column(j) + 6, quiet_nan);
  }
  EXPECT_EQ(triangle_condition(r), expected);
}

TEST(TriangleCondition, of_nothing_is_1) { EXPECT_EQ(triangle_condition(Matrix()), 1.0); }

}  // namespace
}  // namespace numerics
