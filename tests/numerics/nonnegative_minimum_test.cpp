#include "numerics/nonnegative_minimum.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>

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

using Long = long double;

/// The values of some unknowns that solve their equations, by elimination; a matrix of products needs no
/// pivots.
std::vector<Long> members_solution(const Matrix& k, const std::vector<double>& d,
                                   const std::vector<std::size_t>& members) {
  const std::size_t n = members.size();
  std::vector<std::vector<Long>> a(n, std::vector<Long>(n + 1));
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j < n; ++j) {
      a[i][j] = k(members[i], members[j]);
    }
    a[i][n] = d[members[i]];
  }
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t row = 0; row < n; ++row) {
      const Long factor = row == i ? 0.0L : a[row][i] / a[i][i];
      for (std::size_t j = i; j <= n; ++j) {
        a[row][j] -= factor * a[i][j];
      }
    }
  }
  std::vector<Long> x;
  for (std::size_t i = 0; i < n; ++i) {
    x.push_back(a[i][n] / a[i][i]);
  }
  return x;
}

/// The best of all sets of unknowns above 0.
std::vector<Long> best_of_all_sets(const Matrix& k, const std::vector<double>& d) {
  const std::size_t n = d.size();
  std::vector<Long> best(n);
  Long least = 0.0L;
  for (unsigned set = 1; set < 1U << n; ++set) {
    std::vector<std::size_t> members;
    for (std::size_t i = 0; i < n; ++i) {
      if ((set >> i & 1U) != 0) {
        members.push_back(i);
      }
    }
    const std::vector<Long> x = members_solution(k, d, members);
    if (std::any_of(x.begin(), x.end(), [](Long value) { return value < 0.0L; })) {
      continue;
    }
    // x solves its equations, so that the function is -d^T x / 2.
    Long value = 0.0L;
    for (std::size_t i = 0; i < members.size(); ++i) {
      value -= 0.5L * d[members[i]] * x[i];
    }
    if (value < least) {
      least = value;
      best.assign(n, 0.0L);
      for (std::size_t i = 0; i < members.size(); ++i) {
        best[members[i]] = x[i];
      }
    }
  }
  return best;
}

TEST(NonnegativeMinimum, is_the_best_of_all_sets_of_unknowns_above_zero_wherever_it_starts) {
  std::size_t taken_out = 0;
  for (std::uint64_t seed = 0; seed < 300; ++seed) {
    RandomNumbers numbers(seed);
    const auto count = static_cast<std::size_t>(1 + numbers.below(8));
    const Matrix k = random_products(count, count + 4, 0, numbers);
    std::vector<double> d(count);
    std::generate(d.begin(), d.end(), [&] { return numbers(); });
    const std::vector<Long> best = best_of_all_sets(k, d);
    std::vector<double> some(count);
    std::generate(some.begin(), some.end(), [&] { return std::max(0.0, numbers()); });
    Long largest = 1.0L;
    for (const Long value : best) {
      largest = std::max(largest, value);
    }
    for (const std::vector<double>& start : {std::vector<double>(), std::vector<double>(count, 1.0), some}) {
      const NonnegativeMinimum found = nonnegative_minimum(k, d, start, 1e-13, 1000);
      EXPECT_TRUE(found.converged) << seed;
      for (std::size_t i = 0; i < count; ++i) {
        // The ridge of 1e-12 and slopes up to 1e-13, times what an inverse of such products has been.
        EXPECT_NEAR(found.x[i], static_cast<double>(best[i]), 1e-9 * static_cast<double>(largest)) << seed;
        taken_out += !start.empty() && start[i] > 0.0 && found.x[i] == 0.0 ? 1 : 0;
      }
    }
  }
  EXPECT_GT(taken_out, 300U);
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
  const NonnegativeMinimum found = nonnegative_minimum(identity(4), {1000.0, 100.0, 10.0, 1.0}, {}, 0.0, 2);
  EXPECT_FALSE(found.converged);
  EXPECT_EQ(std::count(found.x.begin(), found.x.end(), 0.0), 2);
}

TEST(NonnegativeMinimum, tells_what_it_took) {
  constexpr std::size_t n = 60;
  RandomNumbers numbers(2);
  const Matrix k = random_products(n, 2 * n, 0, numbers);
  const std::vector<double> above(n, 1.0);
  // All stay above 0 where the slopes at 1 are none: one factor, one solution and the slopes behind it.
  std::vector<double> d(n);
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j < n; ++j) {
      d[i] += k(i, j);
    }
  }
  const NonnegativeMinimum found = nonnegative_minimum(k, d, above, 1e-9, 1000);
  ASSERT_TRUE(found.converged);
  const double size = n;
  const double factor = size * (size - 1.0) * (2.0 * size - 1.0) / 12.0;  // half of the sum of the squares
  EXPECT_NEAR(found.operations, factor + 2.0 * size * size, 1e-6 * size);
  EXPECT_EQ(nonnegative_minimum(k, std::vector<double>(n, -1.0), {}, 0.0, 10).operations, 0.0);
}

}  // namespace
}  // namespace numerics
