#include "numerics/eigenvalues.hpp"

#include <gtest/gtest.h>

#include <iostream>
#include <limits>
#include <numbers>
#include <numeric>

#include "matrices.hpp"
#include "numerics/orthogonal_factorisation.hpp"

namespace numerics {
namespace {

using namespace test_matrices;

using Complex = std::complex<double>;
using LongComplex = std::complex<long double>;
using Values = std::vector<Complex>;

Matrix from_rows(std::size_t n, const std::vector<double>& elements) {
  Matrix a(n, n);
  a.elements = elements;
  return transposed(a);
}

/// The inverse by Gauss-Jordan elimination with row pivots in long double; infinite when a is singular there.
std::vector<std::vector<LongComplex>> inverse(std::vector<std::vector<LongComplex>> a) {
  const std::size_t n = a.size();
  for (std::size_t i = 0; i < n; ++i) {
    a[i].resize(2 * n);
    a[i][n + i] = 1.0L;
  }
  for (std::size_t k = 0; k < n; ++k) {
    std::size_t pivot = k;
    for (std::size_t i = k; i < n; ++i) {
      pivot = std::abs(a[i][k]) > std::abs(a[pivot][k]) ? i : pivot;
    }
    std::swap(a[k], a[pivot]);
    const LongComplex reciprocal = 1.0L / a[k][k];
    for (LongComplex& element : a[k]) {
      element *= reciprocal;
    }
    for (std::size_t i = 0; i < n; ++i) {
      const LongComplex factor = a[i][k];
      for (std::size_t j = k; i != k && j < 2 * n; ++j) {
        a[i][j] -= factor * a[k][j];
      }
    }
  }
  for (std::size_t i = 0; i < n; ++i) {
    a[i].erase(a[i].begin(), a[i].begin() + static_cast<std::ptrdiff_t>(n));
  }
  return a;
}

/// A bound on the smallest singular value of A - lambda I, which is how far A is from having that eigenvalue:
/// the inverse of the largest norm of a column of the inverse, at most sqrt(n) times as large.
double distance_to_eigenvalue(const Matrix& a, Complex lambda) {
  const std::size_t n = a.rows;
  std::vector<std::vector<LongComplex>> shifted(n, std::vector<LongComplex>(n));
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j < n; ++j) {
      shifted[i][j] = a(i, j);
    }
    shifted[i][i] -= LongComplex(lambda);
  }
  const auto inverted = inverse(shifted);
  long double largest = 0.0L;
  for (std::size_t j = 0; j < n; ++j) {
    long double squares = 0.0L;
    for (std::size_t i = 0; i < n; ++i) {
      squares += std::norm(inverted[i][j]);
    }
    if (!std::isfinite(squares)) {
      return 0.0;
    }
    largest = std::max(largest, squares);
  }
  return static_cast<double>(1.0L / std::sqrt(largest));
}

/// The largest distance of an expected value to the next one found that is not yet taken.
double farthest(const Values& expected, Values found) {
  EXPECT_EQ(expected.size(), found.size());
  double worst = 0.0;
  for (const Complex value : expected) {
    const auto nearest = std::min_element(found.begin(), found.end(), [&](Complex a, Complex b) {
      return std::abs(a - value) < std::abs(b - value);
    });
    worst = std::max(worst, std::abs(*nearest - value));
    found.erase(nearest);
  }
  return worst;
}

/// Pairs side by side, positive imaginary part first, exactly conjugate; the others real.
bool in_order(const Values& values) {
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (values[i].imag() != 0.0) {
      if (!(values[i].imag() > 0.0) || i + 1 == values.size() || values[i + 1] != std::conj(values[i])) {
        return false;
      }
      ++i;
    }
  }
  return true;
}

/// The eigenvalues, which there are, in order.
Values eigenvalues_of(const Matrix& a) {
  const std::optional<Values> values = eigenvalues(a);
  EXPECT_TRUE(values);
  if (!values) {
    return Values(a.rows);
  }
  EXPECT_TRUE(in_order(*values));
  return *values;
}

/// A random orthogonal matrix.
Matrix random_orthogonal(std::size_t n, RandomNumbers& numbers) {
  Matrix q = identity(n);
  apply_transposed(factorise(random_matrix(n, n, numbers)), q);
  return q;
}

Matrix turned(const Matrix& a, const Matrix& q) { return product(transposed(q), product(a, q)); }

/// A real block for every pair and every real value.
Matrix block_diagonal(const Values& values) {
  Matrix a(values.size(), values.size());
  for (std::size_t i = 0; i < values.size(); ++i) {
    a(i, i) = values[i].real();
    if (values[i].imag() > 0.0) {
      a(i, i + 1) = values[i].imag();
      a(i + 1, i) = -values[i].imag();
    }
  }
  return a;
}

/// Poles as blocks, and what moves them: the matrix of one relocation.
Matrix state_matrix(std::size_t pairs, RandomNumbers& numbers) {
  Matrix a(2 * pairs, 2 * pairs);
  for (std::size_t i = 0; i < 2 * pairs; i += 2) {
    const auto omega = static_cast<double>(i + 1);
    a(i, i) = a(i + 1, i + 1) = -0.01 * omega;
    a(i, i + 1) = omega;
    a(i + 1, i) = -omega;
  }
  for (std::size_t j = 0; j < 2 * pairs; ++j) {
    const double c = numbers();
    for (std::size_t i = 0; i < 2 * pairs; i += 2) {
      a(i, j) -= 2.0 * c;
    }
  }
  return a;
}

/// The distance of a from having what is found, in n eps |a|; the worst value.
double backward_error(const Matrix& a, const Values& values) {
  double worst = 0.0;
  for (const Complex value : values) {
    if (value.imag() >= 0.0) {
      worst = std::max(worst, distance_to_eigenvalue(a, value));
    }
  }
  return worst / (eps * static_cast<double>(a.rows) * norm(a.elements));
}

TEST(Eigenvalues, of_no_row_are_none_and_of_one_row_its_element) {
  EXPECT_EQ(eigenvalues_of(Matrix()), Values{});
  for (const double element : {3.5, -0.25, 0.0, 5e-324, -1e308}) {
    EXPECT_EQ(eigenvalues_of(from_rows(1, {element})), Values{element});
  }
}

TEST(Eigenvalues, of_two_rows_are_exact_where_the_formula_is) {
  for (const double unit : {1.0, 0x1p-500, 0x1p1000}) {
    EXPECT_EQ(eigenvalues_of(from_rows(2, {5 * unit, 3 * unit, 3 * unit, 5 * unit})),
              (Values{8 * unit, 2 * unit}));
    EXPECT_EQ(eigenvalues_of(from_rows(2, {-3 * unit, unit, -unit, -3 * unit})),
              (Values{{-3 * unit, unit}, {-3 * unit, -unit}}));
    EXPECT_EQ(eigenvalues_of(from_rows(2, {unit, 7 * unit, 0, 2 * unit})), (Values{unit, 2 * unit}));
    EXPECT_EQ(eigenvalues_of(from_rows(2, {unit, 0, 7 * unit, 2 * unit})), (Values{unit, 2 * unit}));
  }
  // Parts of very different size, whose squares vanish.
  EXPECT_EQ(eigenvalues_of(from_rows(2, {0, 0x1p-700, 1, 0})), (Values{0x1p-350, -0x1p-350}));
  EXPECT_EQ(eigenvalues_of(from_rows(2, {0, -0x1p-700, 1, 0})), (Values{{0, 0x1p-350}, {0, -0x1p-350}}));
}

TEST(Eigenvalues, of_zeros_are_zeros) { EXPECT_EQ(eigenvalues_of(Matrix(9, 9)), Values(9)); }

TEST(Eigenvalues, of_an_upper_triangle_stand_on_its_diagonal) {
  RandomNumbers numbers(1);
  Matrix a = random_matrix(12, 12, numbers);
  Values expected;
  for (std::size_t j = 0; j < 12; ++j) {
    std::fill(a.column(j) + j + 1, a.column(j) + 12, 0.0);
    expected.emplace_back(a(j, j));
  }
  EXPECT_EQ(eigenvalues_of(a), expected);
}

TEST(Eigenvalues, are_exact_for_a_matrix_changed_by_rounding_only) {
  double worst = 0.0;
  double worst_trace = 0.0;
  for (std::uint64_t seed = 0; seed < 60; ++seed) {
    RandomNumbers numbers(seed);
    const std::size_t n = 1 + seed % 25;
    const Matrix a = random_matrix(n, n, numbers);
    const Values values = eigenvalues_of(a);
    worst = std::max(worst, backward_error(a, values));
    Complex trace = 0.0;
    for (std::size_t i = 0; i < n; ++i) {
      trace += values[i] - a(i, i);
    }
    worst_trace = std::max(worst_trace, std::abs(trace) / (eps * static_cast<double>(n) * norm(a.elements)));
  }
  std::cout << "worst: " << worst << " " << worst_trace << "\n";
  EXPECT_LE(worst, 10.0);        // in n eps |A|
  EXPECT_LE(worst_trace, 10.0);  // likewise; it sees a value given twice
}

TEST(Eigenvalues, of_relocation_matrices_are_exact_for_a_matrix_changed_by_rounding_only) {
  double worst = 0.0;
  for (std::uint64_t seed = 0; seed < 12; ++seed) {
    RandomNumbers numbers(seed);
    const Matrix a = state_matrix(1 + seed % 10, numbers);
    worst = std::max(worst, backward_error(a, eigenvalues_of(a)));
  }
  std::cout << "worst: " << worst << "\n";
  EXPECT_LE(worst, 10.0);  // in n eps |A|
}

TEST(Eigenvalues, of_normal_matrices_are_off_by_rounding_of_the_norm) {
  double worst = 0.0;
  for (std::uint64_t seed = 0; seed < 20; ++seed) {
    RandomNumbers numbers(seed);
    Values values;
    for (std::size_t i = 0; i < 3 + seed % 5; ++i) {
      const double re = numbers();
      const double im = 0.5 + 0.5 * numbers();
      values.insert(values.end(), {Complex(re, im), Complex(re, -im), Complex(numbers())});
    }
    const std::size_t n = values.size();
    const Matrix a = turned(block_diagonal(values), random_orthogonal(n, numbers));
    worst = std::max(worst, farthest(values, eigenvalues_of(a)) / (eps * norm(a.elements)));
  }
  std::cout << "worst: " << worst << "\n";
  EXPECT_LE(worst, 24.0);  // in eps |A|: as much as n, since a normal matrix' values move no farther than it
}

TEST(Eigenvalues, of_a_cyclic_permutation_are_the_roots_of_unity) {
  // The two shifts of its corner are 0, with which no step changes anything.
  for (const std::size_t n : {3U, 4U, 8U, 17U, 40U}) {
    Matrix a(n, n);
    Values expected;
    for (std::size_t i = 0; i < n; ++i) {
      a((i + 1) % n, i) = 1.0;
      expected.push_back(
          std::polar(1.0, 2.0 * std::numbers::pi * static_cast<double>(i) / static_cast<double>(n)));
    }
    // In eps: n since the matrix is normal with norm 1, 2 for the roots here.
    EXPECT_LE(farthest(expected, eigenvalues_of(a)) / eps, static_cast<double>(n) + 2.0) << n;
  }
}

TEST(Eigenvalues, of_a_companion_matrix_are_the_zeros_of_the_polynomial) {
  // (x - 1) ... (x - 8): when its coefficients change by d, relatively, its zero 6 moves by up to
  // d (6 + 1) ... (6 + 8) / (5! 2!) = 5e5 d, the others less.
  std::vector<double> coefficients{1.0};
  for (int zero = 1; zero <= 8; ++zero) {
    coefficients.push_back(0.0);
    for (std::size_t i = coefficients.size(); i-- > 1;) {
      coefficients[i] -= zero * coefficients[i - 1];
    }
  }
  Matrix a(8, 8);
  Values expected;
  for (std::size_t i = 0; i < 8; ++i) {
    a(0, i) = -coefficients[i + 1];
    if (i > 0) {
      a(i, i - 1) = 1.0;
    }
    expected.emplace_back(static_cast<double>(i + 1));
  }
  const double off = farthest(expected, eigenvalues_of(a));
  std::cout << "off: " << off / eps << "\n";
  EXPECT_LE(off, 5e5 * eps * 8);  // d is n eps
}

TEST(Eigenvalues, of_a_defective_matrix_are_off_by_the_root_of_rounding) {
  double worst = 0.0;
  for (std::uint64_t seed = 0; seed < 30; ++seed) {
    RandomNumbers numbers(seed);
    Matrix jordan = block_diagonal({0.5, 0.5, -1.0, 0.25, {-0.5, 1.0}, {-0.5, -1.0}});
    jordan(0, 1) = 1.0;
    const Matrix a = turned(jordan, random_orthogonal(6, numbers));
    const double off = farthest({0.5, 0.5, -1.0, 0.25, {-0.5, 1.0}, {-0.5, -1.0}}, eigenvalues_of(a));
    worst = std::max(worst, off / std::sqrt(6 * eps * norm(a.elements)));
  }
  std::cout << "worst: " << worst << "\n";
  // A change of d in the matrix moves a double value with a coupling of 1 by sqrt(d); d is n eps |A|.
  EXPECT_LE(worst, 1.0);
}

TEST(Eigenvalues, of_a_badly_balanced_matrix_are_those_of_the_balanced_one) {
  double worst = 0.0;
  for (std::uint64_t seed = 0; seed < 20; ++seed) {
    RandomNumbers numbers(seed);
    const std::size_t n = 2 + seed;
    const Matrix a = random_matrix(n, n, numbers);
    Matrix scaled = a;
    for (std::size_t i = 0; i < n; ++i) {
      for (std::size_t j = 0; j < n; ++j) {
        const int exponent = static_cast<int>(10 * (j * j) % 97) - static_cast<int>(10 * (i * i) % 97);
        scaled(i, j) = std::ldexp(a(i, j), exponent);
      }
    }
    worst = std::max(worst, backward_error(a, eigenvalues_of(scaled)));
  }
  std::cout << "worst: " << worst << "\n";
  EXPECT_LE(worst, 10.0);  // in n eps |A|, though the scaled norm is up to 2^96 times that
}

TEST(Eigenvalues, do_not_feel_large_elements_that_lead_nowhere) {
  // A row with large elements, whose column is empty, and one that leads to it only.
  double worst = 0.0;
  for (std::uint64_t seed = 0; seed < 10; ++seed) {
    RandomNumbers numbers(seed);
    const std::size_t n = 2 + seed;
    const Matrix core = random_matrix(n, n, numbers);
    Matrix a(n + 2, n + 2);
    for (std::size_t j = 0; j < n; ++j) {
      std::copy_n(core.column(j), n, a.column(j));
      a(n, j) = 0x1p60 * numbers();
      a(n + 1, j) = 0x1p60 * numbers();
    }
    a(n, n) = 3.0;
    a(n + 1, n + 1) = 4.0;
    a(n + 1, n) = 0x1p60;
    Values values = eigenvalues_of(a);
    EXPECT_EQ(Values(values.begin(), values.begin() + 2), (Values{3.0, 4.0}));
    values.erase(values.begin(), values.begin() + 2);
    worst = std::max(worst, backward_error(core, values));
  }
  std::cout << "worst: " << worst << "\n";
  EXPECT_LE(worst, 10.0);  // in n eps |A| of the rest
}

TEST(Eigenvalues, scale_with_the_matrix_by_powers_of_two_to_the_bit) {
  for (const int exponent : {-900, -7, 1, 900, 1015}) {
    for (std::uint64_t seed = 0; seed < 6; ++seed) {
      RandomNumbers numbers(seed);
      const Matrix a = random_matrix(5 + 6 * seed, 5 + 6 * seed, numbers);
      Matrix scaled = a;
      for (double& element : scaled.elements) {
        element = std::ldexp(element, exponent);
      }
      Values expected = eigenvalues_of(a);
      for (Complex& value : expected) {
        value = {std::ldexp(value.real(), exponent), std::ldexp(value.imag(), exponent)};
      }
      EXPECT_EQ(eigenvalues_of(scaled), expected) << exponent << " seed " << seed;
    }
  }
}

TEST(Eigenvalues, of_the_smallest_and_the_largest_elements_are_found) {
  const Matrix smallest = from_rows(3, {0, 5e-324, 0, 0, 0, 5e-324, 5e-324, 0, 0});
  EXPECT_EQ(eigenvalues_of(smallest).size(), 3U);
  const double largest = std::numeric_limits<double>::max();
  EXPECT_EQ(eigenvalues_of(from_rows(2, {0, largest, -largest, 0})), (Values{{0, largest}, {0, -largest}}));
  // Graded over the whole range.
  const Matrix graded = from_rows(3, {1e300, 1e150, 1, 1e150, 1, 1e-150, 1, 1e-150, 1e-300});
  EXPECT_EQ(eigenvalues_of(graded).size(), 3U);
}

TEST(Eigenvalues, of_a_small_block_keep_their_digits_beside_a_large_one) {
  // Squares of the block's elements vanish.
  constexpr double unit = 0x1p-700;
  EXPECT_EQ(eigenvalues_of(from_rows(4, {0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 0, unit, 0, 0, unit, 0})),
            (Values{1, -1, unit, -unit}));
  for (const std::size_t n : {3U, 4U, 9U}) {
    RandomNumbers numbers(n);
    const Matrix block = random_matrix(n, n, numbers);
    Matrix a(n + 2, n + 2);
    a(0, 1) = a(1, 0) = 1.0;
    for (std::size_t j = 0; j < n; ++j) {
      std::transform(block.column(j), block.column(j) + n, a.column(j + 2) + 2,
                     [=](double x) { return x * unit; });
    }
    Values values = eigenvalues_of(a);
    EXPECT_EQ(Values(values.begin(), values.begin() + 2), (Values{1, -1}));
    values.erase(values.begin(), values.begin() + 2);
    std::transform(values.begin(), values.end(), values.begin(), [=](Complex z) { return z / unit; });
    EXPECT_LE(backward_error(block, values), 10.0) << n;  // in n eps |A|, as above
  }
}

TEST(Eigenvalues, of_elements_of_very_different_size_are_found) {
  // With the last seeds, of millions, the steps do not make the subdiagonal as small as the least element
  // would have it.
  std::vector<std::uint64_t> seeds(500);
  std::iota(seeds.begin(), seeds.end(), std::uint64_t{0});
  seeds.insert(seeds.end(), {253573, 406223, 3032243});
  for (const std::uint64_t seed : seeds) {
    RandomNumbers numbers(seed);
    Matrix a = random_matrix(3 + seed % 10, 3 + seed % 10, numbers);
    for (double& element : a.elements) {
      element = numbers.below(3) == 0 ? 0.0 : std::ldexp(element, -numbers.below(1000));
    }
    EXPECT_EQ(eigenvalues_of(a).size(), a.rows) << seed;
  }
}

TEST(Eigenvalues, there_are_none_beyond_the_range_or_of_what_is_no_number) {
  RandomNumbers numbers(2);
  for (const double bad : {quiet_nan, infinity, -infinity}) {
    Matrix a = random_matrix(6, 6, numbers);
    a(4, 1) = bad;
    EXPECT_FALSE(eigenvalues(a));
    EXPECT_FALSE(eigenvalues(from_rows(1, {bad})));
  }
  const double largest = std::numeric_limits<double>::max();
  EXPECT_FALSE(eigenvalues(from_rows(2, {largest, largest, largest, largest})));
}

TEST(Eigenvalues, are_found_of_matrices_that_are_hard_for_the_steps) {
  for (const std::size_t n : {5U, 20U, 60U, 100U}) {
    // Ones on and above the diagonal up to three places, -1 below: very far from normal.
    Matrix grcar(n, n);
    for (std::size_t j = 0; j < n; ++j) {
      for (std::size_t i = j < 3 ? 0 : j - 3; i <= std::min(j + 1, n - 1); ++i) {
        grcar(i, j) = i == j + 1 ? -1.0 : 1.0;
      }
    }
    const Values values = eigenvalues_of(grcar);
    Complex trace = 0.0;
    for (const Complex value : values) {
      trace += value;
    }
    EXPECT_LE(
        std::abs(trace - static_cast<double>(n)) / (eps * static_cast<double>(n) * norm(grcar.elements)),
        10.0)
        << n;  // as above
    // Equal eigenvalues, one chain of length n, turned: any change moves them by its n-th root.
    Matrix chain = identity(n);
    for (std::size_t i = 0; i + 1 < n; ++i) {
      chain(i, i + 1) = 1.0;
    }
    RandomNumbers numbers(n);
    EXPECT_EQ(eigenvalues_of(turned(chain, random_orthogonal(n, numbers))).size(), n);
  }
}

TEST(Eigenvalues, have_the_same_bits_with_every_vector_unit) {
  for (const std::size_t n : {1U, 2U, 3U, 7U, 8U, 9U, 16U, 41U}) {
    RandomNumbers numbers(n);
    const Matrix a = random_matrix(n, n, numbers);
    for (const VectorUnit unit : vector_units()) {
      EXPECT_EQ(eigenvalues(a, unit), eigenvalues(a, VectorUnit::baseline)) << n;
    }
  }
}

TEST(Eigenvalues, have_the_same_bits_when_several_threads_work) {
  RandomNumbers numbers(3);
  const Matrix a = state_matrix(20, numbers);
  EXPECT_TRUE(same_in_threads(4, [&] { return *eigenvalues(a); }));
}

}  // namespace
}  // namespace numerics
