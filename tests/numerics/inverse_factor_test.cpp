#include "numerics/inverse_factor.hpp"

#include <gtest/gtest.h>

#include <iostream>

#include "matrices.hpp"

namespace numerics {
namespace {

using namespace test_matrices;

using Long = std::vector<std::vector<long double>>;

/// b b^T for a random b with `more` more columns than rows: fewer of them make it worse conditioned.
Matrix positive(std::size_t n, std::size_t more, RandomNumbers& numbers) {
  const Matrix b = random_matrix(n, n + more, numbers);
  return product(b, transposed(b));
}

/// By Gauss-Jordan elimination in long double; a positive definite matrix needs no pivots.
Long plain_inverse(Long a) {
  const std::size_t n = a.size();
  for (std::size_t k = 0; k < n; ++k) {
    const long double pivot = a[k][k];
    a[k][k] = 1.0L;
    for (long double& element : a[k]) {
      element /= pivot;
    }
    for (std::size_t i = 0; i < n; ++i) {
      if (i != k) {
        const long double factor = a[i][k];
        a[i][k] = 0.0L;
        for (std::size_t j = 0; j < n; ++j) {
          a[i][j] -= factor * a[k][j];
        }
      }
    }
  }
  return a;
}

long double norm_of(const Long& a) {
  long double largest = 0.0L;
  for (const std::vector<long double>& row : a) {
    long double sum = 0.0L;
    for (const long double element : row) {
      sum += std::abs(element);
    }
    largest = std::max(largest, sum);
  }
  return largest;
}

/// a with a diagonal of ones.
Long scaled(const Matrix& a) {
  Long result(a.rows, std::vector<long double>(a.rows));
  for (std::size_t i = 0; i < a.rows; ++i) {
    for (std::size_t j = 0; j < a.rows; ++j) {
      result[i][j] = a(i, j) / std::sqrt(static_cast<long double>(a(i, i)) * a(j, j));
    }
  }
  return result;
}

/// a^-1 with rows and columns divided by the scale.
Long inverse_of(const InverseFactor& factor) {
  const std::size_t n = factor.w.rows;
  Long result(n, std::vector<long double>(n));
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j < n; ++j) {
      for (std::size_t k = std::max(i, j); k < n; ++k) {
        result[i][j] += static_cast<long double>(factor.w(k, i)) * factor.w(k, j);
      }
    }
  }
  return result;
}

TEST(InverseFactor, gives_the_inverse_and_its_condition) {
  double worst_inverse = 0.0;
  double worst_condition = 0.0;
  for (std::size_t n = 1; n <= 24; ++n) {
    for (std::uint64_t seed = 0; seed < 6; ++seed) {
      RandomNumbers numbers(seed);
      const Matrix a = positive(n, seed, numbers);
      const std::optional<InverseFactor> factor = invert_positive(a);
      ASSERT_TRUE(factor);
      const Long exact = plain_inverse(scaled(a));
      Long difference = inverse_of(*factor);
      for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t j = 0; j < n; ++j) {
          difference[i][j] -= exact[i][j];
        }
      }
      const long double condition = 1.0L / (norm_of(scaled(a)) * norm_of(exact));
      // The inverse is changed by rounding times the condition.
      const long double unit = static_cast<long double>(n) * eps / condition;
      worst_inverse =
          std::max(worst_inverse, static_cast<double>(norm_of(difference) / norm_of(exact) / unit));
      worst_condition = std::max(worst_condition,
                                 static_cast<double>(std::abs(factor->condition / condition - 1.0L) / unit));
    }
  }
  std::cout << "worst: " << worst_inverse << " " << worst_condition << "\n";
  // In n eps times the condition; the worst are of n = 1, where the diagonal itself has four roundings.
  EXPECT_LE(worst_inverse, 4.0);
  EXPECT_LE(worst_condition, 4.0);
}

TEST(InverseFactor, scales_the_diagonal_to_ones) {
  RandomNumbers numbers(1);
  const Matrix a = positive(8, 2, numbers);
  const std::optional<InverseFactor> factor = invert_positive(a);
  ASSERT_TRUE(factor);
  for (std::size_t i = 0; i < 8; ++i) {
    EXPECT_NEAR(factor->scale[i] * std::sqrt(a(i, i)), 1.0, 2.0 * eps);  // a root, a division, the product
  }
}

TEST(InverseFactor, does_not_hang_on_the_size_of_rows_and_columns) {
  RandomNumbers numbers(2);
  const Matrix a = positive(10, 2, numbers);
  Matrix scaled_matrix = a;
  std::vector<int> exponents;
  for (std::size_t i = 0; i < 10; ++i) {
    exponents.push_back(i == 0 ? -500 : i == 1 ? 500 : numbers.below(800) - 400);
  }
  for (std::size_t i = 0; i < 10; ++i) {
    for (std::size_t j = 0; j < 10; ++j) {
      scaled_matrix(i, j) = std::ldexp(a(i, j), exponents[i] + exponents[j]);
    }
  }
  const std::optional<InverseFactor> expected = invert_positive(a);
  const std::optional<InverseFactor> factor = invert_positive(scaled_matrix);
  ASSERT_TRUE(expected && factor);
  EXPECT_EQ(factor->w.elements, expected->w.elements);
  EXPECT_EQ(factor->condition, expected->condition);
  for (std::size_t i = 0; i < 10; ++i) {
    EXPECT_EQ(factor->scale[i], std::ldexp(expected->scale[i], -exponents[i]));
  }
}

TEST(InverseFactor, does_not_look_above_the_diagonal) {
  RandomNumbers numbers(3);
  Matrix a = positive(9, 2, numbers);
  const std::optional<InverseFactor> expected = invert_positive(a);
  for (std::size_t j = 0; j < 9; ++j) {
    std::fill_n(a.column(j), j, quiet_nan);
  }
  const std::optional<InverseFactor> factor = invert_positive(a);
  ASSERT_TRUE(expected && factor);
  EXPECT_EQ(factor->w.elements, expected->w.elements);
}

TEST(InverseFactor, is_refused_to_what_is_not_positive_definite) {
  const auto refused = [](std::vector<double> elements) {
    Matrix a(2, 2);
    a.elements = std::move(elements);
    return !invert_positive(a);
  };
  EXPECT_TRUE(refused({1, 2, 2, 1}));
  EXPECT_TRUE(refused({1, 1, 1, 1}));
  EXPECT_TRUE(refused({1, 0, 0, 0}));
  EXPECT_TRUE(refused({-1, 0, 0, 1}));
  EXPECT_TRUE(refused({quiet_nan, 0, 0, 1}));
  EXPECT_TRUE(refused({1, quiet_nan, quiet_nan, 1}));
  EXPECT_TRUE(refused({1, infinity, infinity, 1}));
  EXPECT_FALSE(refused({1, 0.5, 0.5, 1}));
  EXPECT_FALSE(invert_positive(Matrix()));
}

TEST(InverseFactor, is_refused_to_a_negative_eigenvalue_deep_inside) {
  RandomNumbers numbers(4);
  Matrix a = positive(20, 5, numbers);
  ASSERT_TRUE(invert_positive(a));
  // What elimination leaves of the last diagonal element is the inverse of that of the inverse.
  Long exact(20, std::vector<long double>(20));
  for (std::size_t i = 0; i < 20; ++i) {
    for (std::size_t j = 0; j < 20; ++j) {
      exact[i][j] = a(i, j);
    }
  }
  const auto left = static_cast<double>(1.0L / plain_inverse(exact)[19][19]);
  a(19, 19) -= 0.99 * left;
  EXPECT_TRUE(invert_positive(a));
  a(19, 19) -= 0.02 * left;
  EXPECT_FALSE(invert_positive(a));
}

TEST(InverseFactor, has_the_same_bits_with_every_vector_unit) {
  for (const std::size_t n : {1U, 7U, 8U, 20U, 41U}) {
    RandomNumbers numbers(5);
    const Matrix a = positive(n, 3, numbers);
    const std::optional<InverseFactor> expected = invert_positive(a, VectorUnit::baseline);
    for (const VectorUnit unit : vector_units()) {
      const std::optional<InverseFactor> factor = invert_positive(a, unit);
      ASSERT_TRUE(expected && factor);
      EXPECT_EQ(factor->w.elements, expected->w.elements);
      EXPECT_EQ(factor->condition, expected->condition);
    }
  }
}

}  // namespace
}  // namespace numerics
