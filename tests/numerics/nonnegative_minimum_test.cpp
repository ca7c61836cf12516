#include "numerics/nonnegative_minimum.hpp"

#include <gtest/gtest.h>

#include "matrices.hpp"

namespace numerics {
namespace {

using namespace test_matrices;

/// The products of random vectors of length 1, some of which occur twice.
Matrix random_products(std::size_t count, std::size_t length, std::size_t twice, RandomNumbers& numbers) {
  Matrix vectors = random_matrix(length, count, numbers);
  for (std::size_t j = 0; j < count; ++j) {
    if (j > 0 && j <= twice) {
      std::copy_n(vectors.column(0), length, vectors.column(j));
    }
    const double size = column_norm(vectors, j);
    for (std::size_t i = 0; i < length; ++i) {
      vectors(i, j) /= size;
    }
  }
  return product(transposed(vectors), vectors);
}

std::vector<double> slopes(const Matrix& k, const std::vector<double>& d, const std::vector<double>& x) {
  std::vector<double> slope = d;
  for (std::size_t j = 0; j < x.size(); ++j) {
    for (std::size_t i = 0; i < x.size(); ++i) {
      slope[i] -= k(i, j) * x[j];
    }
  }
  return slope;
}

TEST(NonnegativeMinimum, no_slope_asks_for_more_and_none_is_left_above_zero) {
  for (std::uint64_t seed = 0; seed < 200; ++seed) {
    RandomNumbers numbers(seed);
    const auto count = static_cast<std::size_t>(1 + numbers.below(40));
    const auto length = static_cast<std::size_t>(1 + numbers.below(40));
    const auto twice = static_cast<std::size_t>(numbers.below(3));
    const Matrix k = random_products(count, length, twice, numbers);
    const Matrix target = random_matrix(count, 1, numbers);
    // Of a problem that has a minimum: d is a combination of the columns of k, or below one.
    std::vector<double> d(count);
    for (std::size_t j = 0; j < count; ++j) {
      for (std::size_t i = 0; i < count; ++i) {
        d[i] += k(i, j) * target(j, 0);
      }
    }
    const NonnegativeMinimum found = nonnegative_minimum(k, d, {}, 1e-9, 1000);
    EXPECT_TRUE(found.converged) << seed;
    double size = 1.0;
    for (const double value : found.x) {
      EXPECT_GE(value, 0.0);
      size += value;
    }
    const std::vector<double> slope = slopes(k, d, found.x);
    for (std::size_t i = 0; i < count; ++i) {
      // The ridge, and the rounding of a factor whose diagonal may be as small as its root.
      EXPECT_LE(slope[i], 1e-9 + 1e-9 * size) << seed << " " << i;
      if (found.x[i] > 0.0) {
        EXPECT_NEAR(slope[i], 0.0, 1e-9 * size) << seed << " " << i;
      }
    }
  }
}

TEST(NonnegativeMinimum, starts_from_unknowns_that_were_above_zero) {
  RandomNumbers numbers(5);
  const Matrix k = random_products(30, 40, 0, numbers);
  std::vector<double> d(30);
  std::generate(d.begin(), d.end(), [&] { return numbers(); });
  const NonnegativeMinimum cold = nonnegative_minimum(k, d, {}, 1e-12, 1000);
  ASSERT_TRUE(cold.converged);
  const NonnegativeMinimum warm = nonnegative_minimum(k, d, cold.x, 1e-12, 1);
  EXPECT_TRUE(warm.converged);  // nothing had to change
  const NonnegativeMinimum from_all = nonnegative_minimum(k, d, std::vector<double>(30, 1.0), 1e-12, 1000);
  for (std::size_t i = 0; i < 30; ++i) {
    EXPECT_NEAR(warm.x[i], cold.x[i], 1e-9);
    EXPECT_NEAR(from_all.x[i], cold.x[i], 1e-9);
  }
}

TEST(NonnegativeMinimum, is_zero_where_no_slope_is_positive) {
  RandomNumbers numbers(1);
  const Matrix k = random_products(5, 7, 0, numbers);
  const NonnegativeMinimum found = nonnegative_minimum(k, std::vector<double>(5, -1.0), {}, 0.0, 10);
  EXPECT_TRUE(found.converged);
  EXPECT_EQ(found.x, std::vector<double>(5, 0.0));
  EXPECT_TRUE(nonnegative_minimum(Matrix(), {}, {}, 0.0, 10).converged);
}

TEST(NonnegativeMinimum, says_when_the_changes_are_used_up) {
  const NonnegativeMinimum found = nonnegative_minimum(identity(4), {1.0, 1.0, 1.0, 1.0}, {}, 0.0, 2);
  EXPECT_FALSE(found.converged);
  EXPECT_EQ(std::count(found.x.begin(), found.x.end(), 0.0), 2);
}

}  // namespace
}  // namespace numerics
