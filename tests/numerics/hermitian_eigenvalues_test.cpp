#include "numerics/hermitian_eigenvalues.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <iostream>
#include <limits>

#include "complex_matrices.hpp"

namespace numerics {
namespace {

using namespace test_matrices;

using Complex = std::complex<double>;
using Values = std::vector<double>;

/// With vectors, which there are.
HermitianEigenvalues eigenvalues_of(const ComplexMatrix& a, bool with_vectors = true) {
  const std::optional<HermitianEigenvalues> found = hermitian_eigenvalues(a, with_vectors);
  EXPECT_TRUE(found);
  EXPECT_TRUE(found && found->values.size() == a.rows());
  EXPECT_TRUE(found && std::is_sorted(found->values.begin(), found->values.end()));
  EXPECT_TRUE(found && found->vectors.columns() == (with_vectors ? a.rows() : 0U));
  return found && found->values.size() == a.rows() ? *found : HermitianEigenvalues{Values(a.rows()), a};
}

double largest(const Values& a, const Values& b) {
  double worst = 0.0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    worst = std::max(worst, std::abs(a[i] - b[i]));
  }
  return worst;
}

/// What is wrong with values and vectors, in n eps; times |a| where that has a unit.
struct Faults {
  double residual = 0.0;
  double skew = 0.0;        ///< times the root of n
  double difference = 0.0;  ///< of the values with and without vectors
  void take_in(const Faults& other) {
    residual = std::max(residual, other.residual);
    skew = std::max(skew, other.skew);
    difference = std::max(difference, other.difference);
  }
};

Faults faults_of(const ComplexMatrix& a) {
  const HermitianEigenvalues found = eigenvalues_of(a);
  const HermitianEigenvalues values_only = eigenvalues_of(a, false);
  const ComplexMatrix residual =
      difference(product(a, found.vectors), columns_times(found.vectors, found.values));
  const auto n = static_cast<double>(a.rows());
  const double size = norm_of(a);
  const double unit = size == 0.0 ? 1.0 : n * eps * size;
  return {norm_of(residual) / unit, skew(found.vectors) / (n * eps * std::sqrt(n)),
          largest(found.values, values_only.values) / unit};
}

/// A vector meets n reflections and some 4 n rotations, two of every step and there are less than 2 n of
/// these; each moves it by about one eps. So do the reflections and steps the matrix; an eigenvalue moves no
/// farther than that.
void expect_rounding_only(const Faults& worst) {
  std::cout << "worst: " << worst.residual << " " << worst.skew << " " << worst.difference << "\n";
  EXPECT_LE(worst.residual, 5.0);
  EXPECT_LE(worst.skew, 5.0);
  EXPECT_LE(worst.difference, 5.0);
}

std::vector<std::size_t> sizes() {
  std::vector<std::size_t> result;
  for (std::size_t n = 1; n <= 40; ++n) {
    result.push_back(n);
  }
  return result;
}

using Maker = std::function<ComplexMatrix(std::size_t, RandomNumbers&)>;

Faults worst_of(const std::vector<std::size_t>& orders, const Maker& make) {
  Faults worst;
  for (const std::size_t n : orders) {
    RandomNumbers numbers(n);
    worst.take_in(faults_of(make(n, numbers)));
  }
  return worst;
}

ComplexMatrix random_hermitian(std::size_t n, RandomNumbers& numbers) {
  return made_hermitian(random_complex(n, n, numbers));
}

TEST(HermitianEigenvalues, of_no_row_are_none_and_of_one_row_its_element) {
  EXPECT_EQ(eigenvalues_of(ComplexMatrix()).values, Values{});
  for (const double element : {3.5, -0.25, 0.0, 5e-324, -1e308, std::numeric_limits<double>::max()}) {
    ComplexMatrix a(1, 1);
    a.re(0, 0) = element;
    EXPECT_EQ(eigenvalues_of(a).values, Values{element});
    EXPECT_EQ(eigenvalues_of(a).vectors(0, 0), 1.0);
  }
}

TEST(HermitianEigenvalues, of_two_rows_are_exact_where_the_formula_is) {
  for (const double unit : {1.0, 0x1p-1000, 0x1p1000}) {
    ComplexMatrix a(2, 2);
    a.set(0, 0, 5 * unit);
    a.set(1, 1, 5 * unit);
    a.set(1, 0, Complex(0, 3 * unit));
    EXPECT_EQ(eigenvalues_of(a).values, (Values{2 * unit, 8 * unit}));
    a.set(0, 0, 11 * unit);
    a.set(1, 0, Complex(0, 4 * unit));
    EXPECT_EQ(eigenvalues_of(a).values, (Values{3 * unit, 13 * unit}));
    // The small value is not what is left of large ones.
    a.set(1, 1, 0x1p-80 * unit);
    a.set(1, 0, 0.0);
    EXPECT_EQ(eigenvalues_of(a).values, (Values{0x1p-80 * unit, 11 * unit}));
  }
}

TEST(HermitianEigenvalues, of_random_matrices_are_off_by_rounding_only) {
  expect_rounding_only(worst_of(sizes(), random_hermitian));
  expect_rounding_only(worst_of({120}, random_hermitian));
  Faults small;
  for (std::uint64_t seed = 0; seed < 2000; ++seed) {
    RandomNumbers numbers(seed);
    small.take_in(faults_of(random_hermitian(1 + seed % 5, numbers)));
  }
  expect_rounding_only(small);
}

TEST(HermitianEigenvalues, of_equal_values_are_off_by_rounding_only) {
  expect_rounding_only(worst_of(sizes(), [](std::size_t n, RandomNumbers& numbers) {
    Values values(n);
    for (double& value : values) {
      value = numbers.below(3) - 1;
    }
    return with_eigenvalues(values, random_unitary(n, numbers));
  }));
}

TEST(HermitianEigenvalues, of_known_values_are_these) {
  double worst = 0.0;
  for (const std::size_t n : sizes()) {
    RandomNumbers numbers(n);
    Values values = random_matrix(n, 1, numbers).elements;
    std::sort(values.begin(), values.end());
    const ComplexMatrix a = with_eigenvalues(values, random_unitary(n, numbers));
    worst = std::max(worst, largest(values, eigenvalues_of(a, false).values) / (eps * norm_of(a)));
  }
  std::cout << "worst: " << worst << "\n";
  EXPECT_LE(worst, 40.0);  // in eps |a|: as much as n, for what is found and for the matrix made here
}

TEST(HermitianEigenvalues, of_graded_matrices_are_off_by_rounding_only) {
  for (const int step : {-24, -3, 3, 24}) {
    expect_rounding_only(worst_of(sizes(), [step](std::size_t n, RandomNumbers& numbers) {
      ComplexMatrix a = random_hermitian(n, numbers);
      for (std::size_t j = 0; j < n; ++j) {
        for (std::size_t i = 0; i < n; ++i) {
          const int exponent = step * (static_cast<int>(i) + static_cast<int>(j)) / 2;
          a.set(i, j, std::ldexp(1.0, exponent) * a(i, j));
        }
      }
      return a;
    }));
  }
}

TEST(HermitianEigenvalues, of_diagonal_matrices_are_the_diagonal) {
  for (const std::size_t n : sizes()) {
    RandomNumbers numbers(n);
    ComplexMatrix a(n, n);
    Values values(n);
    for (std::size_t i = 0; i < n; ++i) {
      values[i] = std::ldexp(numbers(), -numbers.below(900));
      a.re(i, i) = values[i];
    }
    std::sort(values.begin(), values.end());
    EXPECT_EQ(eigenvalues_of(a).values, values);
    EXPECT_EQ(eigenvalues_of(a, false).values, values);
    EXPECT_EQ(skew(eigenvalues_of(a).vectors), 0.0);
  }
}

TEST(HermitianEigenvalues, of_rank_one_are_one_and_zeros) {
  expect_rounding_only(worst_of(sizes(), [](std::size_t n, RandomNumbers& numbers) {
    const ComplexMatrix column = random_complex(n, 1, numbers);
    return made_hermitian(product(column, adjoint(column)));
  }));
}

TEST(HermitianEigenvalues, of_zeros_are_zeros) {
  for (const std::size_t n : sizes()) {
    EXPECT_EQ(eigenvalues_of(ComplexMatrix(n, n)).values, Values(n));
    EXPECT_EQ(eigenvalues_of(ComplexMatrix(n, n), false).values, Values(n));
    EXPECT_EQ(skew(eigenvalues_of(ComplexMatrix(n, n)).vectors), 0.0);
  }
}

TEST(HermitianEigenvalues, of_tridiagonal_and_bordered_matrices_are_off_by_rounding_only) {
  // Nothing to reflect, and first elements of 0 that have no direction.
  expect_rounding_only(worst_of(sizes(), [](std::size_t n, RandomNumbers& numbers) {
    ComplexMatrix a = random_hermitian(n, numbers);
    for (std::size_t j = 0; j < n; ++j) {
      for (std::size_t i = j + 2; i < n; ++i) {
        a.set(i, j, 0.0);
      }
    }
    return made_hermitian(a);
  }));
  expect_rounding_only(worst_of(sizes(), [](std::size_t n, RandomNumbers& numbers) {
    ComplexMatrix a(n, n);
    for (std::size_t i = 0; i < n; ++i) {
      a.set(n - 1, i, numbers.complex());
    }
    return made_hermitian(a);
  }));
}

TEST(HermitianEigenvalues, scale_with_the_matrix_by_powers_of_two_to_the_bit) {
  for (const std::size_t n : {1U, 2U, 3U, 5U, 9U, 24U}) {
    RandomNumbers numbers(n);
    const ComplexMatrix a = random_hermitian(n, numbers);
    for (const bool with_vectors : {false, true}) {
      const HermitianEigenvalues expected = eigenvalues_of(a, with_vectors);
      // 2^-960 is about 1e-289: below, the last bits of the elements are lost.
      for (const int exponent : {-960, -501, -7, 1, 500, 1015}) {
        const HermitianEigenvalues found = eigenvalues_of(times_power_of_two(a, exponent), with_vectors);
        EXPECT_EQ(found.values, times_power_of_two(expected.values, exponent)) << n << " " << exponent;
        EXPECT_EQ(found.vectors.re.elements, expected.vectors.re.elements);
        EXPECT_EQ(found.vectors.im.elements, expected.vectors.im.elements);
      }
    }
  }
}

TEST(HermitianEigenvalues, of_tiny_and_of_huge_elements_are_off_by_rounding_only) {
  for (const std::size_t n : {1U, 2U, 3U, 8U, 20U}) {
    RandomNumbers numbers(n);
    const ComplexMatrix a = random_hermitian(n, numbers);
    for (const double unit : {1e-300, 1e300}) {
      const HermitianEigenvalues found = eigenvalues_of(columns_times(a, Values(n, unit)));
      Values values = found.values;
      for (double& value : values) {
        value /= unit;
      }
      // As many eps as for the matrix itself, one for the unit's product and one for the quotient.
      EXPECT_LE(largest(values, eigenvalues_of(a).values),
                (5.0 * static_cast<double>(n) + 2.0) * eps * norm_of(a));
      EXPECT_LE(skew(found.vectors), 5.0 * static_cast<double>(n) * eps * std::sqrt(static_cast<double>(n)));
    }
  }
}

TEST(HermitianEigenvalues, of_elements_of_very_different_size_are_off_by_rounding_only) {
  Faults worst;
  for (std::uint64_t seed = 0; seed < 500; ++seed) {
    RandomNumbers numbers(seed);
    ComplexMatrix a = random_complex(2 + seed % 10, 2 + seed % 10, numbers);
    for (std::vector<double>* part : {&a.re.elements, &a.im.elements}) {
      for (double& element : *part) {
        element = numbers.below(3) == 0 ? 0.0 : std::ldexp(element, -numbers.below(1000));
      }
    }
    worst.take_in(faults_of(made_hermitian(a)));
  }
  expect_rounding_only(worst);
}

TEST(HermitianEigenvalues, do_not_look_above_the_diagonal_nor_at_its_imaginary_parts) {
  for (const std::size_t n : {1U, 2U, 3U, 9U}) {
    RandomNumbers numbers(n);
    ComplexMatrix a = random_hermitian(n, numbers);
    const Values expected = eigenvalues_of(a).values;
    for (std::size_t j = 0; j < n; ++j) {
      a.im(j, j) = 1e9;
      std::fill_n(a.re.column(j), j, quiet_nan);
      std::fill_n(a.im.column(j), j, quiet_nan);
    }
    EXPECT_EQ(eigenvalues_of(a).values, expected);
  }
}

TEST(HermitianEigenvalues, there_are_none_beyond_the_range_or_of_what_is_no_number) {
  for (const std::size_t n : {1U, 2U, 3U, 9U}) {
    RandomNumbers numbers(n);
    const ComplexMatrix a = random_hermitian(n, numbers);
    for (const double bad : {quiet_nan, infinity, -infinity}) {
      for (std::size_t j = 0; j < n; ++j) {
        for (std::size_t i = j; i < n; ++i) {
          ComplexMatrix spoilt = a;
          spoilt.re(i, j) = bad;
          EXPECT_FALSE(hermitian_eigenvalues(spoilt, false));
          spoilt = a;
          spoilt.im(i, j) = bad;
          EXPECT_FALSE(hermitian_eigenvalues(spoilt, true));
        }
      }
    }
    ComplexMatrix large(n, n);
    std::fill(large.re.elements.begin(), large.re.elements.end(), std::numeric_limits<double>::max());
    EXPECT_EQ(hermitian_eigenvalues(large, false).has_value(), n == 1);
  }
}

TEST(HermitianEigenvalues, have_the_same_bits_with_every_vector_unit) {
  for (const std::size_t n : {1U, 2U, 3U, 7U, 8U, 9U, 16U, 41U}) {
    RandomNumbers numbers(n);
    const ComplexMatrix a = random_hermitian(n, numbers);
    for (const bool with_vectors : {false, true}) {
      const auto expected = hermitian_eigenvalues(a, with_vectors, VectorUnit::baseline);
      for (const VectorUnit unit : vector_units()) {
        const auto found = hermitian_eigenvalues(a, with_vectors, unit);
        EXPECT_EQ(found->values, expected->values) << n;
        EXPECT_EQ(found->vectors.re.elements, expected->vectors.re.elements) << n;
        EXPECT_EQ(found->vectors.im.elements, expected->vectors.im.elements) << n;
      }
    }
  }
}

}  // namespace
}  // namespace numerics
