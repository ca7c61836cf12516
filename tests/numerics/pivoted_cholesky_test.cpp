#include "numerics/pivoted_cholesky.hpp"

#include <gtest/gtest.h>

#include <iostream>

#include "matrices.hpp"

namespace numerics {
namespace {

using namespace test_matrices;

/// b b^T for a random b of so many columns.
Matrix semidefinite(std::size_t n, std::size_t rank, RandomNumbers& numbers) {
  const Matrix b = random_matrix(n, rank, numbers);
  return product(b, transposed(b));
}

/// b b^T for a b of small integers, which is exact.
Matrix exact_semidefinite(std::size_t n, std::size_t rank, RandomNumbers& numbers) {
  Matrix b(n, rank);
  std::generate(b.elements.begin(), b.elements.end(), [&] { return numbers.below(17) - 8; });
  return product(b, transposed(b));
}

double trace(const Matrix& a) {
  double sum = 0.0;
  for (std::size_t i = 0; i < a.rows; ++i) {
    sum += a(i, i);
  }
  return sum;
}

/// Trace of a - l l^T with the first `columns` columns of l.
double trace_left(const Matrix& a, const Matrix& l, std::size_t columns) {
  long double sum = 0.0L;
  for (std::size_t i = 0; i < a.rows; ++i) {
    sum += a(i, i);
    for (std::size_t j = 0; j < columns; ++j) {
      sum -= static_cast<long double>(l(i, j)) * l(i, j);
    }
  }
  return static_cast<double>(sum);
}

TEST(PivotedCholesky, product_of_the_factors_is_the_matrix_but_for_the_rest) {
  double worst = 0.0;
  for (std::size_t n = 1; n <= 24; ++n) {
    for (const std::size_t rank : {n, (n + 1) / 2, std::size_t{1}}) {
      for (const double part : {0.0, 1e-3}) {
        RandomNumbers numbers(100 * n + rank);
        const Matrix a = semidefinite(n, rank, numbers);
        const PivotedCholesky found = pivoted_cholesky(a, part * trace(a));
        const Matrix again = product(found.l, transposed(found.l));
        const double unit = static_cast<double>(found.l.columns + 2) * eps;
        for (std::size_t j = 0; j < n; ++j) {
          for (std::size_t i = 0; i < n; ++i) {
            // An element of what is left is at most its trace, as it is semidefinite.
            const double off = std::abs(a(i, j) - again(i, j)) - found.rest;
            worst = std::max(worst, off / (unit * std::sqrt(a(i, i) * a(j, j))));
          }
        }
      }
    }
  }
  std::cout << "worst: " << worst << "\n";
  // In (k + 2) eps root(a_ii a_jj): k products, a quotient and the rounding of the matrix itself.
  EXPECT_LE(worst, 1.0);
}

TEST(PivotedCholesky, rows_of_the_pivots_are_a_triangle) {
  for (const std::size_t rank : {3U, 12U}) {
    RandomNumbers numbers(rank);
    const PivotedCholesky found = pivoted_cholesky(semidefinite(12, rank, numbers), 0.0);
    ASSERT_EQ(found.pivots.size(), found.l.columns);
    ASSERT_EQ(found.l.rows, 12U);
    for (std::size_t j = 0; j < found.l.columns; ++j) {
      EXPECT_GT(found.l(found.pivots[j], j), 0.0);
      for (std::size_t i = j + 1; i < found.l.columns; ++i) {
        EXPECT_EQ(found.l(found.pivots[j], i), 0.0) << i << " " << j;
      }
    }
  }
}

TEST(PivotedCholesky, rest_is_the_trace_of_what_is_left) {
  for (std::size_t n = 1; n <= 20; ++n) {
    RandomNumbers numbers(n);
    const Matrix a = semidefinite(n, n, numbers);
    for (const double part : {0.0, 1e-6, 0.1, 0.5}) {
      const PivotedCholesky found = pivoted_cholesky(a, part * trace(a));
      // Each element of the diagonal is rounded by a square and a difference for every column.
      EXPECT_NEAR(found.rest, trace_left(a, found.l, found.l.columns),
                  static_cast<double>(found.l.columns + 1) * eps * trace(a));
    }
  }
}

TEST(PivotedCholesky, has_as_many_columns_as_the_tolerance_takes_and_no_more) {
  RandomNumbers numbers(1);
  const Matrix a = semidefinite(16, 16, numbers);
  for (const double part : {0.9, 0.5, 0.1, 1e-2, 1e-3}) {
    const PivotedCholesky found = pivoted_cholesky(a, part * trace(a));
    ASSERT_GT(found.l.columns, 0U);
    EXPECT_LE(found.rest, part * trace(a));
    EXPECT_GT(trace_left(a, found.l, found.l.columns - 1), part * trace(a));
  }
  EXPECT_EQ(pivoted_cholesky(a, 1.001 * trace(a)).l.columns, 0U);
}

TEST(PivotedCholesky, has_as_many_columns_as_the_rank) {
  for (const std::size_t rank : {1U, 2U, 3U, 5U}) {
    for (std::uint64_t seed = 0; seed < 20; ++seed) {
      RandomNumbers numbers(seed);
      const Matrix a = exact_semidefinite(12, rank, numbers);
      const PivotedCholesky found = pivoted_cholesky(a, 0.0);
      EXPECT_EQ(found.l.columns, rank) << seed;
      EXPECT_LE(found.rest, 12.0 * eps * trace(a));  // what counts as rounding: n eps times the trace
    }
  }
}

TEST(PivotedCholesky, takes_the_largest_pivot_first) {
  RandomNumbers numbers(2);
  const Matrix a = semidefinite(15, 15, numbers);
  const PivotedCholesky found = pivoted_cholesky(a, 0.0);
  ASSERT_EQ(found.l.columns, 15U);
  for (std::size_t i = 0; i < 15; ++i) {
    EXPECT_LE(a(i, i), a(found.pivots[0], found.pivots[0]));
  }
  for (std::size_t j = 0; j < 15; ++j) {
    // What is left of the diagonal before column j is at most the pivot, but for rounding.
    const double pivot = found.l(found.pivots[j], j);
    for (std::size_t i = 0; i < 15; ++i) {
      double left = a(i, i);
      for (std::size_t k = 0; k < j; ++k) {
        left -= found.l(i, k) * found.l(i, k);
      }
      EXPECT_LE(left, pivot * pivot + 17.0 * eps * a(i, i)) << i << " " << j;
    }
  }
}

TEST(PivotedCholesky, of_zeros_and_of_nothing_has_no_column) {
  EXPECT_EQ(pivoted_cholesky(Matrix(5, 5), 0.0).l.columns, 0U);
  EXPECT_EQ(pivoted_cholesky(Matrix(5, 5), 0.0).rest, 0.0);
  EXPECT_EQ(pivoted_cholesky(Matrix(), 0.0).l.columns, 0U);
}

TEST(PivotedCholesky, of_a_diagonal_matrix_is_its_roots) {
  Matrix a(3, 3);
  a(0, 0) = 4.0;
  a(1, 1) = 16.0;
  a(2, 2) = 9.0;
  const PivotedCholesky found = pivoted_cholesky(a, 4.0);
  EXPECT_EQ(found.pivots, (std::vector<std::size_t>{1, 2}));
  EXPECT_EQ(found.l.elements, (std::vector<double>{0, 4, 0, 0, 0, 3}));
  EXPECT_EQ(found.rest, 4.0);
}

TEST(PivotedCholesky, keeps_all_bits_when_all_is_scaled_by_an_even_power_of_two) {
  RandomNumbers numbers(3);
  const Matrix a = semidefinite(10, 6, numbers);
  const PivotedCholesky expected = pivoted_cholesky(a, 1e-3);
  // Up to where the trace overflows, and down to where the last bits of products vanish.
  for (const int exponent : {-900, -4, 2, 900, 1016}) {
    Matrix scaled = a;
    for (double& element : scaled.elements) {
      element = std::ldexp(element, exponent);
    }
    const PivotedCholesky found = pivoted_cholesky(scaled, std::ldexp(1e-3, exponent));
    EXPECT_EQ(found.pivots, expected.pivots);
    EXPECT_EQ(found.rest, std::ldexp(expected.rest, exponent));
    ASSERT_EQ(found.l.columns, expected.l.columns);
    for (std::size_t i = 0; i < found.l.elements.size(); ++i) {
      EXPECT_EQ(found.l.elements[i], std::ldexp(expected.l.elements[i], exponent / 2));
    }
  }
}

TEST(PivotedCholesky, near_the_smallest_numbers_is_good_to_the_least_of_them) {
  RandomNumbers numbers(4);
  Matrix a = semidefinite(10, 10, numbers);
  for (double& element : a.elements) {
    element *= 1e-300;
  }
  const PivotedCholesky found = pivoted_cholesky(a, 0.0);
  const Matrix again = product(found.l, transposed(found.l));
  for (std::size_t j = 0; j < 10; ++j) {
    for (std::size_t i = 0; i < 10; ++i) {
      // Ten products, each rounded by eps or to a multiple of 2^-1074.
      const double unit = eps * std::sqrt(a(i, i) / 1e-300 * (a(j, j) / 1e-300)) * 1e-300 + 0x1p-1074;
      EXPECT_LE(std::abs(a(i, j) - again(i, j)), found.rest + 12.0 * unit);
    }
  }
}

TEST(PivotedCholesky, does_not_look_above_the_diagonal) {
  RandomNumbers numbers(5);
  Matrix a = semidefinite(9, 9, numbers);
  const PivotedCholesky expected = pivoted_cholesky(a, 0.0);
  for (std::size_t j = 0; j < 9; ++j) {
    std::fill_n(a.column(j), j, quiet_nan);
  }
  EXPECT_EQ(pivoted_cholesky(a, 0.0).l.elements, expected.l.elements);
}

}  // namespace
}  // namespace numerics
