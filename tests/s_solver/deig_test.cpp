#include "s_solver/dmatrix/deig.hpp"

#include <gtest/gtest.h>
#include <unistd.h>
#include <v3p_netlib.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>
#include <vector>

#include "numerics.hpp"
#include "s_solver/dmatrix/svd_solve.hpp"
#include "support.hpp"

namespace s_solver {
namespace {

using namespace testing_support;

std::vector<Complex> eigenvalues_of(const Matrix& a) {
  std::vector<Complex> zeros(static_cast<std::size_t>(a.rows));
  deig(a.data(), a.rows, zeros.data(), a.rows);
  return zeros;
}

/// The eigenvalues as the driver of the packaged library gives them.
std::vector<Complex> eigenvalues_by_rg(Matrix a) {
  const v3p_netlib_integer order = a.rows;
  const v3p_netlib_integer no_vectors = 0;
  v3p_netlib_integer ierr = 0;
  const auto n = static_cast<std::size_t>(a.rows);
  std::vector<double> wr(n);
  std::vector<double> wi(n);
  std::vector<double> z(n * n);
  std::vector<v3p_netlib_integer> iv1(n);
  std::vector<double> fv1(n);
  v3p_netlib_rg_(&order, &order, a.data(), wr.data(), wi.data(), &no_vectors, z.data(), iv1.data(),
                 fv1.data(), &ierr);
  EXPECT_EQ(ierr, 0);
  std::vector<Complex> zeros;
  for (std::size_t i = 0; i < n; ++i) {
    zeros.emplace_back(wr[i], wi[i]);
  }
  return zeros;
}

/// The smallest singular value of A - lambda I, which is how far A is from having that eigenvalue. The
/// complex matrix stands as the real one [[Re, -Im], [Im, Re]], which has each singular value twice.
double distance_to_eigenvalue(const Matrix& a, Complex lambda) {
  const int n = a.rows;
  Matrix shifted(2 * n, 2 * n);
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < n; ++j) {
      shifted(i, j) = shifted(n + i, n + j) = a(i, j) - (i == j ? lambda.real() : 0.0);
    }
    shifted(i, n + i) = lambda.imag();
    shifted(n + i, i) = -lambda.imag();
  }
  Matrix u(2 * n, 2 * n);
  Matrix v(2 * n, 2 * n);
  std::vector<double> w(static_cast<std::size_t>(2 * n));
  dsvd(shifted.data(), 2 * n, 2 * n, 2 * n, u.data(), w.data(), v.data());
  return *std::min_element(w.begin(), w.end());
}

TEST(Deig, order_1_returns_its_element_whatever_it_is) {
  for (const double element : {3.5, -0.25, 0.0, 1e308, infinity, -infinity, quiet_nan}) {
    SCOPED_TRACE(element);
    Complex zero(7.0, 7.0);
    EXPECT_TRUE(records_of([&] { deig(&element, 1, &zero, 1); }).empty());
    EXPECT_TRUE(zero.real() == element || (std::isnan(element) && std::isnan(zero.real()))) << zero;
    EXPECT_EQ(zero.imag(), 0.0);
  }
}

TEST(Deig, order_0_has_no_eigenvalues) {
  Complex untouched(7.0, 8.0);
  deig(nullptr, 0, &untouched, 0);
  EXPECT_EQ(untouched, Complex(7.0, 8.0));
}

TEST(Deig, a_rotation_block_has_the_positive_imaginary_part_first) {
  // Every operation on these numbers is exact: the roots are p and q themselves.
  for (const double q : {4.0, -4.0}) {
    EXPECT_EQ(eigenvalues_of(Matrix(2, 2, {-3.0, q, -q, -3.0})),
              (std::vector<Complex>{{-3.0, 4.0}, {-3.0, -4.0}}));
  }
}

TEST(Deig, a_triangular_matrix_has_its_diagonal_as_eigenvalues) {
  RandomNumbers numbers(1);
  for (int n = 2; n <= 8; ++n) {
    for (const bool upper : {true, false}) {
      Matrix a = Matrix::random(n, n, numbers);
      std::vector<double> diagonal;
      for (int i = 0; i < n; ++i) {
        diagonal.push_back(a(i, i));
        for (int j = 0; j < i; ++j) {
          (upper ? a(i, j) : a(j, i)) = 0.0;
        }
      }
      std::vector<double> found;
      for (const Complex zero : eigenvalues_of(a)) {
        EXPECT_EQ(zero.imag(), 0.0);
        found.push_back(zero.real());
      }
      // Balancing isolates every eigenvalue by permutations alone, hence no rounding.
      std::sort(diagonal.begin(), diagonal.end());
      std::sort(found.begin(), found.end());
      EXPECT_EQ(found, diagonal);
    }
  }
}

TEST(Deig, pairs_are_adjacent_and_exactly_conjugate_with_the_positive_imaginary_part_first) {
  int pairs = 0;
  for (std::uint64_t seed = 0; seed < 300; ++seed) {
    SCOPED_TRACE(seed);
    RandomNumbers numbers(seed);
    const int n = 2 + static_cast<int>(seed % 19);
    const auto zeros = eigenvalues_of(Matrix::random(n, n, numbers));
    for (std::size_t i = 0; i < zeros.size(); ++i) {
      if (zeros[i].imag() != 0.0) {
        ASSERT_GT(zeros[i].imag(), 0.0);
        ASSERT_LT(i + 1, zeros.size());
        ASSERT_EQ(zeros[i + 1], std::conj(zeros[i]));
        ++pairs;
        ++i;
      }
    }
  }
  EXPECT_GT(pairs, 300);  // the property was really seen
}

TEST(Deig, eigenvalues_are_exact_for_a_matrix_changed_by_rounding_only) {
  double worst = 0.0;
  double worst_trace = 0.0;
  for (std::uint64_t seed = 0; seed < 60; ++seed) {
    RandomNumbers numbers(seed);
    const int n = 2 + static_cast<int>(seed % 9);
    const Matrix a = Matrix::random(n, n, numbers);
    Complex sum;
    double trace = 0.0;
    const auto zeros = eigenvalues_of(a);
    for (int i = 0; i < n; ++i) {
      const Complex zero = zeros[static_cast<std::size_t>(i)];
      worst = std::max(worst, distance_to_eigenvalue(a, zero) / (eps * n * norm(a)));
      sum += zero;
      trace += a(i, i);
    }
    worst_trace = std::max(worst_trace, std::abs(sum - trace) / (eps * n * norm(a)));
  }
  EXPECT_LE(worst, 10.0);        // in eps n |A|; worst of these seeds: 0.9
  EXPECT_LE(worst_trace, 10.0);  // likewise, which sees an eigenvalue given twice; worst: 1.3
}

TEST(Deig, scaling_by_a_power_of_two_scales_the_eigenvalues_exactly) {
  RandomNumbers numbers(2);
  for (int n = 1; n <= 10; ++n) {
    const Matrix a = Matrix::random(n, n, numbers);
    for (const double factor : {1024.0, 0x1p1000, 0x1p-900}) {
      Matrix scaled = a;
      for (double& element : scaled.elements) {
        element *= factor;
      }
      auto expected = eigenvalues_of(a);
      for (Complex& zero : expected) {
        zero *= factor;
      }
      EXPECT_EQ(eigenvalues_of(scaled), expected) << factor << " for order " << n;
    }
  }
}

TEST(Deig, only_the_leading_block_is_read) {
  RandomNumbers numbers(3);
  for (int n = 1; n <= 6; ++n) {
    const Matrix a = Matrix::random(n, n, numbers);
    const Matrix large = a.declared(n + 3, quiet_nan);
    std::vector<Complex> zeros(static_cast<std::size_t>(n) + 1, Complex(7.0, 7.0));
    deig(large.data(), n, zeros.data(), n + 3);
    EXPECT_EQ(zeros.back(), Complex(7.0, 7.0));
    zeros.pop_back();
    EXPECT_EQ(zeros, eigenvalues_of(a)) << n;
  }
}

TEST(Deig, the_matrix_is_not_changed) {
  RandomNumbers numbers(4);
  const Matrix a = Matrix::random(5, 5, numbers);
  const Matrix before = a;
  eigenvalues_of(a);
  EXPECT_EQ(a, before);
}

TEST(Deig, a_nonfinite_element_stops_the_program) {
  RandomNumbers numbers(5);
  for (const double bad : {quiet_nan, infinity, -infinity}) {
    for (int n = 2; n <= 4; ++n) {
      for (int k = 0; k < n * n; ++k) {
        SCOPED_TRACE(testing::Message() << bad << " at " << k << " of order " << n);
        Matrix a = Matrix::random(n, n, numbers);
        a.elements[static_cast<std::size_t>(k)] = bad;
        std::vector<Complex> zeros(static_cast<std::size_t>(n), Complex(7.0, 7.0));
        EXPECT_EQ(records_before_plain_stop([&] { deig(a.data(), n, zeros.data(), n); }),
                  std::vector<std::string>{" Error in deig"});
        EXPECT_EQ(zeros, std::vector<Complex>(static_cast<std::size_t>(n), Complex(7.0, 7.0)));
      }
    }
  }
}

TEST(Deig, an_iteration_without_convergence_stops_the_program) {
  // A graded matrix on which the QR iteration uses up its limit.
  const double b = 0x1p480;
  const Matrix a(3, 3, {0, 0, -1 / b, 1 / b, 1 / b, 0, 0, b, 0});
  EXPECT_EQ(records_before_plain_stop([&] { eigenvalues_of(a); }),
            std::vector<std::string>{" Error in deig"});
}

TEST(Deig, a_matrix_of_very_small_or_large_elements_loses_no_digit) {
  // The eigenvalues of [[p, q], [q, p]] are p + q and p - q; these are exact.
  for (const double unit : {1.0, 0x1p-501, 0x1p-990, 0x1p-1072, 0x1p900}) {
    EXPECT_EQ(eigenvalues_of(Matrix(2, 2, {5 * unit, 3 * unit, 3 * unit, 5 * unit})),
              (std::vector<Complex>{8 * unit, 2 * unit}))
        << unit;
  }
}

TEST(Deig, elements_count_down_to_2_to_the_minus_960_of_the_largest_and_are_0_below) {
  // The eigenvalues of [[0, q], [r, 0]] are the roots of qr, and 0 where q counts as 0. The largest element,
  // r, counts as the power of two at or below it.
  for (const double unit : {1.0, 0x1p-100, 0x1p900}) {
    for (const double r : {1.0, 1.5, 0x1.fffffffffffffp0}) {
      SCOPED_TRACE(testing::Message() << unit << " " << r);
      for (const double q : {1.0, 0x1p-700, 0x1p-960}) {
        const double root = std::sqrt(q * r) * unit;
        const auto zeros = eigenvalues_of(Matrix(2, 2, {0, q * unit, r * unit, 0}));
        EXPECT_LE(std::abs(zeros[0] - root), 2 * eps * root)
            << q;  // a product, a root and a quotient rounded
        EXPECT_LE(std::abs(zeros[1] + root), 2 * eps * root) << q;
      }
      for (const double q : {0x1p-961, -0x1p-961}) {
        EXPECT_EQ(eigenvalues_of(Matrix(2, 2, {0, q * unit, r * unit, 0})), (std::vector<Complex>{0.0, 0.0}));
      }
    }
  }
  EXPECT_EQ(eigenvalues_of(Matrix(2, 2, {0, std::nextafter(0x1p-960, 0.0), 1, 0})),
            (std::vector<Complex>{0.0, 0.0}));
}

TEST(Deig, ordinary_matrices_have_the_eigenvalues_of_the_unscaled_matrix_to_the_bit) {
  for (std::uint64_t seed = 0; seed < 200; ++seed) {
    RandomNumbers numbers(seed);
    const int n = 2 + static_cast<int>(seed % 11);
    Matrix a = Matrix::random(n, n, numbers);
    for (double& element : a.elements) {
      element = std::ldexp(element, numbers.below(100) - 20);
    }
    EXPECT_EQ(eigenvalues_of(a), eigenvalues_by_rg(a)) << seed;
  }
}

TEST(Deig, large_and_small_elements_are_no_failure) {
  for (const double b : {0x1p1023, 0x1p500, 0x1p300, 1.0, 0x1p-300, 0x1p-500, 0x1p-1074}) {
    // Roots and products of powers of two are exact.
    EXPECT_EQ(eigenvalues_of(Matrix(2, 2, {0, -b, b, 0})), (std::vector<Complex>{{0, b}, {0, -b}})) << b;
  }
}

/// Ends the process with status 0 when the eigenvalues come, or the plain stop, within a few seconds.
void call_with_alarm(const Matrix& a) {
  alarm(5);
  try {
    eigenvalues_of(a);
  } catch (const PlainStop&) {
  }
  std::_Exit(0);
}

TEST(DeigDeathTest, sums_of_elements_beyond_the_largest_double_do_not_hang_it) {
  // The balancing compares sums of rows and columns, and loops for ever once one is infinite.
  EXPECT_EXIT(call_with_alarm(Matrix(3, 3, 1.5e308)), testing::ExitedWithCode(0), "");
}

TEST(DeigDeathTest, elements_that_underflow_do_not_hang_it) {
  constexpr double tiny = std::numeric_limits<double>::denorm_min();
  for (const double large : {1.0, tiny}) {
    EXPECT_EXIT(call_with_alarm(Matrix(3, 3, {large, tiny, large, large, tiny, tiny, tiny, large, large})),
                testing::ExitedWithCode(0), "");
  }
}

}  // namespace
}  // namespace s_solver
