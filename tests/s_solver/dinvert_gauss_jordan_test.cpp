#include "s_solver/dmatrix/dinvert_gauss_jordan.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <string>
#include <vector>

#include "numerics.hpp"
#include "support.hpp"

namespace s_solver {
namespace {

using namespace testing_support;

Matrix inverse_of(const Matrix& a) {
  Matrix inverse(a.rows, a.rows, quiet_nan);
  dinvert_gauss_jordan(a.data(), a.rows, inverse.data(), a.rows);
  return inverse;
}

void expect_singular_in_column(const Matrix& a, int column) {
  const auto records = records_before_plain_stop([&] { inverse_of(a); });
  ASSERT_EQ(records.size(), 2U);
  EXPECT_EQ(records[0], " Singular matrix found in dinvert_Gauss_Jordan");
  EXPECT_EQ(records[1].rfind(" Reduction col=", 0), 0U) << records[1];
  EXPECT_EQ(words_of(records[1]), (std::vector<std::string>{"Reduction", "col=", std::to_string(column)}));
}

TEST(DinvertGaussJordan, an_exchange_is_its_own_inverse) {
  const Matrix exchange(2, 2, {0, 1, 1, 0});
  EXPECT_EQ(inverse_of(exchange), exchange);
}

TEST(DinvertGaussJordan, the_inverse_of_a_permutation_is_its_transpose) {
  // Needs every column interchange, undone in reverse order; no operation rounds.
  for (std::uint64_t seed = 0; seed < 200; ++seed) {
    SCOPED_TRACE(seed);
    RandomNumbers numbers(seed);
    const int n = 2 + static_cast<int>(seed % 9);
    std::vector<int> column(static_cast<std::size_t>(n));
    std::iota(column.begin(), column.end(), 0);
    Matrix permutation(n, n);
    for (int i = 0; i < n; ++i) {
      std::swap(column[static_cast<std::size_t>(i)],
                column[static_cast<std::size_t>(i + numbers.below(n - i))]);
      permutation(i, column[static_cast<std::size_t>(i)]) = 1.0;
    }
    ASSERT_EQ(inverse_of(permutation), permutation.transposed());
  }
}

TEST(DinvertGaussJordan, the_residual_is_a_few_roundings) {
  double worst = 0.0;
  for (std::uint64_t seed = 0; seed < 300; ++seed) {
    RandomNumbers numbers(seed);
    const int n = 1 + static_cast<int>(seed % 24);
    const Matrix a = Matrix::random(n, n, numbers);
    const Matrix inverse = inverse_of(a);
    worst = std::max(worst, norm(a * inverse - Matrix::identity(n)) / (eps * n * norm(a) * norm(inverse)));
  }
  EXPECT_LE(worst, 10.0);  // in eps n |A| |A^-1|; worst of these seeds: 0.5
}

TEST(DinvertGaussJordan, the_pivot_is_the_largest_in_magnitude_whatever_its_sign) {
  // With the tiny pivot, or with the largest by value, the second row loses its own elements.
  for (const double sign : {1.0, -1.0}) {
    const Matrix a(2, 2, {1e-20, 1.0, sign, 1.0});
    EXPECT_LE(norm(a * inverse_of(a) - Matrix::identity(2)),
              4 * eps);  // a handful of roundings of numbers up to 1
  }
}

TEST(DinvertGaussJordan, the_first_of_equal_candidates_is_the_pivot) {
  // The inverse of [[1, 1], [-1, c]] has the element c / (1 + c), which comes as 1 - 1 / (1 + c) when
  // row 1 is the pivot, 0 for so small a c, and as c when row 2 is.
  EXPECT_EQ(inverse_of(Matrix(2, 2, {1.0, 1.0, -1.0, 1e-20})), Matrix(2, 2, {0.0, -1.0, 1.0, 1.0}));
}

TEST(DinvertGaussJordan, a_zero_column_is_reported_by_its_number) {
  expect_singular_in_column(Matrix(2, 2, {2, 0, 0, 0}), 2);
  RandomNumbers numbers(1);
  for (int n = 1; n <= 6; ++n) {
    for (int column = 0; column < n; ++column) {
      SCOPED_TRACE(testing::Message() << "column " << column << " of " << n);
      Matrix a = Matrix::random(n, n, numbers);
      for (int i = 0; i < n; ++i) {
        a(i, column) = 0.0;
      }
      expect_singular_in_column(a, column + 1);
    }
  }
}

TEST(DinvertGaussJordan, a_column_of_nothing_but_NaN_and_zero_is_singular) {
  expect_singular_in_column(Matrix(1, 1, quiet_nan), 1);
  expect_singular_in_column(Matrix(2, 2, {quiet_nan, 1, 0, 1}), 1);
  expect_singular_in_column(Matrix(2, 2, {1, 0, 0, quiet_nan}), 2);
  expect_singular_in_column(Matrix(3, 3, {1, 0, 5, 0, quiet_nan, 6, 0, 0, 7}), 2);
}

TEST(DinvertGaussJordan, a_NaN_beside_a_candidate_is_passed_over) {
  expect_singular_in_column(Matrix(2, 2, {quiet_nan, 1, 2, 1}), 2);  // row 2 was the pivot of column 1
}

TEST(DinvertGaussJordan, a_tiny_or_an_infinite_pivot_is_used_as_it_is) {
  EXPECT_EQ(inverse_of(Matrix(1, 1, 1e-300))(0, 0), 1.0 / 1e-300);
  EXPECT_EQ(inverse_of(Matrix(1, 1, std::numeric_limits<double>::denorm_min()))(0, 0), infinity);
  EXPECT_EQ(inverse_of(Matrix(1, 1, -infinity))(0, 0), 0.0);
}

TEST(DinvertGaussJordan, a_nearly_singular_matrix_has_an_inverse_with_large_elements) {
  const double last = 1.0 + 1e-15;
  const Matrix inverse = inverse_of(Matrix(2, 2, {1, 1, 1, last}));
  EXPECT_EQ(inverse(1, 1), 1.0 / (last - 1.0));  // the subtraction is exact
  EXPECT_GT(std::abs(inverse(0, 0)), 1e14);
}

TEST(DinvertGaussJordan, scaling_by_a_power_of_two_scales_the_inverse_exactly) {
  RandomNumbers numbers(2);
  Matrix a = Matrix::random(7, 7, numbers);
  Matrix expected = inverse_of(a);
  for (std::size_t i = 0; i < a.elements.size(); ++i) {
    a.elements[i] *= 0x1p40;
    expected.elements[i] *= 0x1p-40;
  }
  EXPECT_EQ(inverse_of(a), expected);
}

TEST(DinvertGaussJordan, only_the_leading_part_is_read_and_written) {
  RandomNumbers numbers(3);
  for (int n = 0; n <= 5; ++n) {
    const Matrix a = Matrix::random(n, n, numbers);
    const Matrix large = a.declared(8, quiet_nan);
    Matrix inverse(8, 8, 7.0);
    dinvert_gauss_jordan(large.data(), n, inverse.data(), 8);
    EXPECT_EQ(inverse, inverse_of(a).declared(8, 7.0)) << n;
    EXPECT_EQ(large.leading(n, n), a) << n;
  }
}

}  // namespace
}  // namespace s_solver
