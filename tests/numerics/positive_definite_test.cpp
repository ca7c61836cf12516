#include "numerics/positive_definite.hpp"

#include <gtest/gtest.h>

#include <limits>

#include "complex_matrices.hpp"
#include "numerics/hermitian_eigenvalues.hpp"

namespace numerics {
namespace {

using namespace test_matrices;

/// The bound of what true proves: 1.5 (n + 1) eps times the sum of what stands on the diagonal.
double doubt(const ComplexMatrix& a, double shift) {
  double sum = 0.0;
  for (std::size_t i = 0; i < a.rows(); ++i) {
    sum += std::abs(a.re(i, i) - shift);
  }
  return 1.5 * static_cast<double>(a.rows() + 1) * eps * sum;
}

TEST(PositiveDefinite, agrees_with_the_least_eigenvalue_beyond_its_doubt) {
  for (std::size_t n = 1; n <= 60; ++n) {
    RandomNumbers numbers(n);
    const ComplexMatrix a = made_hermitian(random_complex(n, n, numbers));
    const double least = hermitian_eigenvalues(a, false)->values.front();
    // What the eigenvalue itself may be off by.
    const double margin = doubt(a, least) + 5.0 * static_cast<double>(n) * eps * norm_of(a);
    EXPECT_TRUE(is_positive_definite(a, least - margin)) << n;
    EXPECT_FALSE(is_positive_definite(a, least + margin)) << n;
    EXPECT_TRUE(is_positive_definite(a, least - 0.1)) << n;
    EXPECT_FALSE(is_positive_definite(a, least + 0.1)) << n;
  }
}

TEST(PositiveDefinite, sees_a_negative_value_wherever_it_comes_from) {
  // All but one value 1; the one is hidden in all elements or stands in one place.
  for (const std::size_t n : {2U, 3U, 4U, 5U, 8U, 9U, 17U, 40U, 83U}) {
    RandomNumbers numbers(n);
    std::vector<double> values(n, 1.0);
    const ComplexMatrix q = random_unitary(n, numbers);
    for (const double value : {1e-10, -1e-10}) {
      values[n / 2] = value;
      // 1e-10 is far above n eps.
      EXPECT_EQ(is_positive_definite(with_eigenvalues(values, q), 0.0), value > 0.0) << n;
    }
    for (std::size_t place = 0; place < n; ++place) {
      ComplexMatrix a = complex_identity(n);
      EXPECT_TRUE(is_positive_definite(a, 0.0));
      a.re(place, place) = 0.0;
      EXPECT_FALSE(is_positive_definite(a, 0.0)) << n << " " << place;
      a.re(place, place) = -1e-300;
      EXPECT_FALSE(is_positive_definite(a, 0.0)) << n << " " << place;
    }
  }
}

TEST(PositiveDefinite, sees_what_two_rows_make_together) {
  const std::size_t n = 40;
  for (std::size_t j = 0; j < n; ++j) {
    for (std::size_t i = j + 1; i < n; ++i) {
      ComplexMatrix a = complex_identity(n);
      a.set(i, j, {0.6, -0.79});  // 0.36 + 0.6241 < 1
      EXPECT_TRUE(is_positive_definite(a, 0.0)) << i << " " << j;
      a.set(i, j, {-0.6, 0.81});  // 0.36 + 0.6561 > 1
      EXPECT_FALSE(is_positive_definite(a, 0.0)) << i << " " << j;
    }
  }
}

TEST(PositiveDefinite, of_a_shift_is_strict) {
  ComplexMatrix a = complex_identity(7);
  EXPECT_FALSE(is_positive_definite(a, 1.0));
  EXPECT_TRUE(is_positive_definite(a, 1.0 - eps / 2.0));
  EXPECT_TRUE(is_positive_definite(a, -1e308));
  EXPECT_FALSE(is_positive_definite(a, 1e308));
  EXPECT_TRUE(is_positive_definite(ComplexMatrix(), 0.0));
  EXPECT_FALSE(is_positive_definite(ComplexMatrix(5, 5), 0.0));
  EXPECT_TRUE(is_positive_definite(ComplexMatrix(5, 5), -5e-324));
}

TEST(PositiveDefinite, does_not_change_with_the_unit_of_the_matrix) {
  for (const std::size_t n : {1U, 2U, 3U, 9U, 24U}) {
    RandomNumbers numbers(n);
    const ComplexMatrix a = made_hermitian(random_complex(n, n, numbers));
    const double least = hermitian_eigenvalues(a, false)->values.front();
    // Where rounding decides.
    for (int i = -20; i <= 20; ++i) {
      const double shift = least + i * eps;
      const bool expected = is_positive_definite(a, shift);
      for (const int exponent : {-950, -501, 1, 1015}) {
        EXPECT_EQ(is_positive_definite(times_power_of_two(a, exponent), std::ldexp(shift, exponent)),
                  expected)
            << n << " " << i << " " << exponent;
      }
    }
  }
}

TEST(PositiveDefinite, is_not_what_is_no_number) {
  for (const std::size_t n : {1U, 2U, 5U, 11U}) {
    for (const double bad : {quiet_nan, infinity, -infinity}) {
      EXPECT_FALSE(is_positive_definite(complex_identity(n), bad));
      for (std::size_t j = 0; j < n; ++j) {
        for (std::size_t i = j; i < n; ++i) {
          ComplexMatrix a = complex_identity(n);
          a.re(i, j) = bad;
          EXPECT_FALSE(is_positive_definite(a, 0.0));
          a = complex_identity(n);
          a.im(i, j) = bad;
          EXPECT_FALSE(is_positive_definite(a, 0.0));
        }
      }
    }
    const double most = std::numeric_limits<double>::max();
    const ComplexMatrix large = columns_times(complex_identity(n), std::vector<double>(n, most));
    EXPECT_TRUE(is_positive_definite(large, 0.0));
    EXPECT_FALSE(is_positive_definite(large, most));
    EXPECT_TRUE(is_positive_definite(large, -most));
  }
}

TEST(PositiveDefinite, does_not_look_above_the_diagonal_nor_at_its_imaginary_parts) {
  for (const std::size_t n : {1U, 2U, 5U, 11U, 30U}) {
    RandomNumbers numbers(n);
    ComplexMatrix a = made_hermitian(random_complex(n, n, numbers));
    const double least = hermitian_eigenvalues(a, false)->values.front();
    for (std::size_t j = 0; j < n; ++j) {
      a.im(j, j) = 1e9;
      std::fill_n(a.re.column(j), j, quiet_nan);
      std::fill_n(a.im.column(j), j, quiet_nan);
    }
    EXPECT_TRUE(is_positive_definite(a, least - 1e-6));  // far more than n eps |a|
    EXPECT_FALSE(is_positive_definite(a, least + 1e-6));
  }
}

TEST(PositiveDefinite, is_the_same_with_every_vector_unit) {
  for (const std::size_t n : {1U, 4U, 7U, 16U, 41U}) {
    RandomNumbers numbers(n);
    const ComplexMatrix a = made_hermitian(random_complex(n, n, numbers));
    const double least = hermitian_eigenvalues(a, false)->values.front();
    for (int i = -40; i <= 40; ++i) {
      const bool expected = is_positive_definite(a, least + i * eps, VectorUnit::baseline);
      for (const VectorUnit unit : vector_units()) {
        EXPECT_EQ(is_positive_definite(a, least + i * eps, unit), expected) << n << " " << i;
      }
    }
  }
}

}  // namespace
}  // namespace numerics
