#include "numerics/singular_values.hpp"

#include <gtest/gtest.h>

#include <iostream>
#include <limits>

#include "complex_matrices.hpp"

namespace numerics {
namespace {

using namespace test_matrices;

using Values = std::vector<double>;

/// With vectors, which there are.
SingularValues singular_values_of(const ComplexMatrix& a) {
  const std::optional<SingularValues> found = singular_values(a, true);
  EXPECT_TRUE(found);
  const std::size_t count = std::min(a.rows(), a.columns());
  if (!found || found->values.size() != count) {
    ADD_FAILURE();
    return {Values(count), ComplexMatrix(a.rows(), count), ComplexMatrix(a.columns(), count)};
  }
  EXPECT_TRUE(std::is_sorted(found->values.rbegin(), found->values.rend()));
  EXPECT_EQ(found->left.columns(), count);
  EXPECT_EQ(found->right.columns(), count);
  EXPECT_TRUE(count == 0 || (found->left.rows() == a.rows() && found->right.rows() == a.columns()));
  const std::optional<SingularValues> values_only = singular_values(a, false);
  EXPECT_TRUE(values_only && values_only->values.size() == count);
  for (std::size_t i = 0; values_only && i < count && found->values[0] > 0.0; ++i) {
    // The squares are off by n eps of the largest square, a few for each of the two.
    const double value = found->values[i] / found->values[0];
    const double other = values_only->values[i] / found->values[0];
    EXPECT_NEAR(value * value, other * other, 10.0 * static_cast<double>(a.rows() + a.columns()) * eps);
  }
  EXPECT_TRUE(values_only && values_only->left.columns() == 0 && values_only->right.columns() == 0);
  return *found;
}

/// What is wrong, in n eps, or n eps of the largest value; of the vectors times the root of n.
struct Faults {
  double residual = 0.0;
  double skew = 0.0;
};

Faults faults_of(const ComplexMatrix& a) {
  const SingularValues found = singular_values_of(a);
  const auto n = static_cast<double>(std::max(a.rows(), a.columns()));
  const ComplexMatrix residual = difference(product(a, found.right), columns_times(found.left, found.values));
  const double largest = found.values.empty() || found.values[0] == 0.0 ? 1.0 : found.values[0];
  const double turns = n * eps * std::sqrt(n);
  return {norm_of(residual) / (turns * largest), std::max(skew(found.left), skew(found.right)) / turns};
}

/// A column is turned with n others in each of six or seven rounds, the last two of which hardly turn, or has
/// met as many reflections and rotations before. Each moves it by about one eps.
void expect_rounding_only(const Faults& faults, std::size_t n) {
  EXPECT_LE(faults.residual, 5.0) << n;
  EXPECT_LE(faults.skew, 5.0) << n;
}

/// u diag(values) w^H.
ComplexMatrix with_singular_values(const Values& values, RandomNumbers& numbers) {
  const ComplexMatrix u = random_unitary(values.size(), numbers);
  return product(columns_times(u, values), adjoint(random_unitary(values.size(), numbers)));
}

TEST(SingularValues, of_random_matrices_of_any_shape_are_off_by_rounding_only) {
  Faults worst;
  const auto take_in = [&](std::size_t rows, std::size_t columns) {
    RandomNumbers numbers(100 * rows + columns);
    const Faults faults = faults_of(random_complex(rows, columns, numbers));
    expect_rounding_only(faults, columns);
    worst = {std::max(worst.residual, faults.residual), std::max(worst.skew, faults.skew)};
  };
  for (std::size_t n = 1; n <= 40; ++n) {
    take_in(n, n);
    take_in(n + 3, n);
    take_in(n, n + 5);
  }
  take_in(120, 120);
  std::cout << "worst: " << worst.residual << " " << worst.skew << "\n";
}

TEST(SingularValues, that_are_known_are_found_to_rounding_of_the_largest) {
  double worst = 0.0;
  for (const std::size_t n : {1U, 2U, 3U, 4U, 6U, 7U, 8U, 20U, 50U}) {
    RandomNumbers numbers(n);
    for (const int step : {0, 1, 20}) {
      Values values(n);
      for (std::size_t i = 0; i < n; ++i) {
        values[i] = std::ldexp(1.0, -step * static_cast<int>(i));
      }
      const Values found = singular_values_of(with_singular_values(values, numbers)).values;
      for (std::size_t i = 0; i < n; ++i) {
        worst = std::max(worst, std::abs(found[i] - values[i]) / (static_cast<double>(n) * eps));
      }
    }
  }
  std::cout << "worst: " << worst << "\n";
  EXPECT_LE(worst, 5.0);  // as above, a part of which is in the matrix made here
}

TEST(SingularValues, of_unitary_matrices_are_one) {
  for (const std::size_t n : {1U, 2U, 3U, 4U, 6U, 7U, 20U, 60U}) {
    RandomNumbers numbers(n);
    const ComplexMatrix q = random_unitary(n, numbers);
    Values found = singular_values_of(q).values;
    const Values values_only = singular_values(q, false)->values;
    found.insert(found.end(), values_only.begin(), values_only.end());
    for (const double value : found) {
      // The matrix made here is off by 2 eps; where eigenvectors are taken first, their lengths and the
      // product are off by the root of n eps, as errors of either sign add up.
      EXPECT_NEAR(value, 1.0, (4.0 + 2.0 * std::sqrt(static_cast<double>(n))) * eps) << n;
    }
  }
}

TEST(SingularValues, of_a_diagonal_are_its_moduli_to_the_bit) {
  for (const std::size_t n : {1U, 2U, 4U, 6U}) {
    RandomNumbers numbers(n);
    ComplexMatrix a(n, n);
    Values values(n);
    for (std::size_t i = 0; i < n; ++i) {
      values[i] = std::ldexp(1.0 + numbers.below(1000), -numbers.below(100));
      a.set(i, i, i % 2 == 0 ? std::complex<double>(-values[i]) : std::complex<double>(0.0, values[i]));
    }
    std::sort(values.rbegin(), values.rend());
    EXPECT_EQ(singular_values_of(a).values, values);
  }
}

TEST(SingularValues, of_few_orthogonal_columns_are_good_beside_each_other) {
  // Each with its scale: every value is found to its own last digits.
  for (const std::size_t n : {2U, 3U, 6U}) {
    RandomNumbers numbers(n);
    const ComplexMatrix a = random_unitary(n, numbers);
    Values values(n);
    for (std::size_t i = 0; i < n; ++i) {
      values[i] = std::ldexp(1.0, -9 * static_cast<int>(i));
    }
    const Values found = singular_values_of(columns_times(a, values)).values;
    for (std::size_t i = 0; i < n; ++i) {
      // Two eps for the columns made here, and n for those that are turned together with them.
      EXPECT_NEAR(found[i] / values[i], 1.0, (2.0 + static_cast<double>(n)) * eps) << n << " " << i;
    }
  }
}

TEST(SingularValues, that_are_small_are_not_lost_in_the_square_of_the_largest) {
  for (const std::size_t n : {2U, 8U, 20U, 40U}) {
    RandomNumbers numbers(n);
    Values values(n, 1.0);
    values[n - 1] = 1e-12;  // the square of which is below eps
    // As many eps of the largest as above, where those of the square alone would leave root(eps).
    EXPECT_NEAR(singular_values_of(with_singular_values(values, numbers)).values[n - 1], 1e-12,
                5.0 * static_cast<double>(n) * eps)
        << n;
  }
}

TEST(SingularValues, of_rank_one_have_one_value_and_its_vectors) {
  for (const std::size_t n : {2U, 5U, 12U, 40U}) {
    RandomNumbers numbers(n);
    const ComplexMatrix u = random_complex(n, 1, numbers);
    const ComplexMatrix w = random_complex(n, 1, numbers);
    const ComplexMatrix a = product(u, adjoint(w));
    const SingularValues found = singular_values_of(a);
    const double expected = norm_of(u) * norm_of(w);
    const double unit = static_cast<double>(n) * eps * expected;
    EXPECT_NEAR(found.values[0], expected, 5.0 * unit);
    EXPECT_LE(found.values[1], 5.0 * unit);
    EXPECT_LE(norm_of(difference(product(a, found.right), columns_times(found.left, found.values))),
              5.0 * unit * std::sqrt(static_cast<double>(n)));
    EXPECT_LE(skew(found.right), 5.0 * static_cast<double>(n) * eps * std::sqrt(static_cast<double>(n)));
  }
}

TEST(SingularValues, of_zeros_are_zeros_with_vectors_of_one_side) {
  for (const std::size_t n : {1U, 2U, 7U, 40U}) {
    const SingularValues found = singular_values_of(ComplexMatrix(n, n));
    EXPECT_EQ(found.values, Values(n));
    EXPECT_EQ(norm_of(found.left), 0.0);
    EXPECT_EQ(skew(found.right), 0.0);
  }
  EXPECT_EQ(singular_values_of(ComplexMatrix()).values, Values{});
  EXPECT_EQ(singular_values_of(ComplexMatrix(3, 0)).values, Values{});
  const SingularValues wide = singular_values_of(ComplexMatrix(2, 3));
  EXPECT_EQ(norm_of(wide.right), 0.0);
  EXPECT_EQ(skew(wide.left), 0.0);
}

TEST(SingularValues, scale_with_the_matrix_by_powers_of_two_to_the_bit) {
  for (const std::size_t n : {1U, 2U, 3U, 9U, 35U}) {
    RandomNumbers numbers(n);
    const ComplexMatrix a = random_complex(n + 1, n, numbers);
    const SingularValues expected = singular_values_of(a);
    // Down to where the last bits of the elements are lost.
    for (const int exponent : {-950, -501, -7, 1, 500, 1014}) {
      const SingularValues found = singular_values_of(times_power_of_two(a, exponent));
      EXPECT_EQ(found.values, times_power_of_two(expected.values, exponent)) << n << " " << exponent;
      EXPECT_EQ(found.left.re.elements, expected.left.re.elements);
      EXPECT_EQ(found.right.im.elements, expected.right.im.elements);
      EXPECT_EQ(singular_values(times_power_of_two(a, exponent), false)->values,
                times_power_of_two(singular_values(a, false)->values, exponent));
    }
  }
}

/// Three elements of four are 0, so that many columns are orthogonal from the start and others are not.
TEST(SingularValues, of_sparse_matrices_are_off_by_rounding_only) {
  for (std::uint64_t seed = 0; seed < 2000; ++seed) {
    RandomNumbers numbers(seed);
    ComplexMatrix a = random_complex(2 + seed % 9, 2 + seed % 9, numbers);
    for (std::vector<double>* part : {&a.re.elements, &a.im.elements}) {
      for (double& element : *part) {
        element = numbers.below(4) == 0 ? element : 0.0;
      }
    }
    const SingularValues found = singular_values_of(a);
    if (found.values.back() > 0.0) {
      expect_rounding_only(faults_of(a), a.columns());
    }
  }
}

TEST(SingularValues, of_elements_of_very_different_size_are_off_by_rounding_only) {
  for (std::uint64_t seed = 0; seed < 1000; ++seed) {
    RandomNumbers numbers(seed);
    ComplexMatrix a = random_complex(2 + seed % 9, 2 + seed % 9, numbers);
    for (std::vector<double>* part : {&a.re.elements, &a.im.elements}) {
      for (double& element : *part) {
        element =
            numbers.below(3) == 0 ? 0.0 : std::ldexp(element, -numbers.below(seed % 2 == 0 ? 1000 : 100));
      }
    }
    const SingularValues found = singular_values_of(a);
    const auto n = static_cast<double>(a.rows());
    const double unit = n * eps * std::sqrt(n);
    EXPECT_LE(norm_of(difference(product(a, found.right), columns_times(found.left, found.values))),
              5.0 * unit * found.values[0])
        << seed;
    EXPECT_LE(skew(found.right), 5.0 * unit) << seed;
    if (found.values.back() > 0.0) {
      EXPECT_LE(skew(found.left), 5.0 * unit) << seed;
    }
  }
}

TEST(SingularValues, there_are_none_beyond_the_range_or_of_what_is_no_number) {
  for (const std::size_t n : {1U, 2U, 9U, 35U}) {
    RandomNumbers numbers(n);
    const ComplexMatrix a = random_complex(n, n, numbers);
    for (const double bad : {quiet_nan, infinity, -infinity}) {
      ComplexMatrix spoilt = a;
      spoilt.re(n - 1, 0) = bad;
      EXPECT_FALSE(singular_values(spoilt, false));
      spoilt = a;
      spoilt.im(0, n - 1) = bad;
      EXPECT_FALSE(singular_values(spoilt, true));
    }
    ComplexMatrix large(n, n);
    std::fill(large.re.elements.begin(), large.re.elements.end(), std::numeric_limits<double>::max());
    EXPECT_EQ(singular_values(large, false).has_value(), n == 1);
  }
}

TEST(SingularValues, have_the_same_bits_with_every_vector_unit) {
  for (const std::size_t n : {1U, 2U, 3U, 7U, 8U, 9U, 16U, 41U}) {
    RandomNumbers numbers(n);
    const ComplexMatrix a = random_complex(n, n, numbers);
    const auto expected = singular_values(a, true, VectorUnit::baseline);
    for (const VectorUnit unit : vector_units()) {
      const auto found = singular_values(a, true, unit);
      EXPECT_EQ(found->values, expected->values) << n;
      EXPECT_EQ(found->left.re.elements, expected->left.re.elements) << n;
      EXPECT_EQ(found->right.im.elements, expected->right.im.elements) << n;
      EXPECT_EQ(singular_values(a, false, unit)->values,
                singular_values(a, false, VectorUnit::baseline)->values);
    }
  }
}

}  // namespace
}  // namespace numerics
