#include "s_solver/dmatrix/morse_penrose_solve.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "numerics.hpp"
#include "support.hpp"

namespace s_solver {
namespace {

using namespace testing_support;

std::vector<double> solution_of(const Matrix& a, const std::vector<double>& b, bool verbose = false) {
  std::vector<double> x(static_cast<std::size_t>(a.columns), quiet_nan);
  morse_penrose_solve(a.data(), a.rows, a.columns, x.data(), b.data(), verbose);
  return x;
}

TEST(MorsePenroseSolve, the_identity_returns_the_right_hand_side) {
  EXPECT_EQ(solution_of(Matrix::identity(2), {4, 5}), (std::vector<double>{4, 5}));
}

TEST(MorsePenroseSolve, solves_an_overdetermined_system_in_the_least_squares_sense) {
  const auto x = solution_of(Matrix(3, 2, {1, 0, 0, 1, 1, 1}), {1, 1, 0});
  EXPECT_NEAR(x[0], 1.0 / 3.0, 4 * eps);  // A^T A is of integers up to 2: a handful of roundings
  EXPECT_NEAR(x[1], 1.0 / 3.0, 4 * eps);
}

TEST(MorsePenroseSolve, the_normal_equations_hold_up_to_rounding) {
  // Long systems are handled in blocks of up to 512 rows: sizes around multiples of that as well.
  double worst = 0.0;
  for (const int nr : {2, 3, 10, 50, 511, 512, 513, 1023, 1024, 1025, 3000}) {
    for (const int nc : {1, 2, 5, 17}) {
      for (std::uint64_t seed = 0; 2 * nc <= nr && seed < (nr < 1000 ? 40U : 3U); ++seed) {
        RandomNumbers numbers(seed);
        const Matrix a = Matrix::random(nr, nc, numbers);
        const auto b = numbers.values(nr);
        worst = std::max(worst, normal_equation_residual(a, solution_of(a, b), b));
      }
    }
  }
  EXPECT_LE(worst, 10.0);  // in eps max(m, n) |A| (|A| |x| + |b|); worst of these seeds: 0.29
}

TEST(MorsePenroseSolve, the_normal_matrix_is_summed_row_after_row_whatever_the_blocks) {
  // One unknown: the normal matrix is a sum of squares, and the solution shows its last bit.
  for (const int nr : {1, 15, 16, 17, 511, 512, 513, 2000}) {
    RandomNumbers numbers(static_cast<std::uint64_t>(nr));
    const Matrix a = Matrix::random(nr, 1, numbers);
    std::vector<double> b(static_cast<std::size_t>(nr));
    b.back() = 1.0;
    double sum = 0.0;
    for (const double element : a.elements) {
      sum += element * element;
    }
    EXPECT_EQ(solution_of(a, b), std::vector<double>{1.0 / sum * a.elements.back()}) << nr;
  }
}

TEST(MorsePenroseSolve, wide_systems_are_solved_in_blocks_of_fewer_rows) {
  RandomNumbers numbers(5);
  const Matrix a = Matrix::random(700, 150, numbers);
  const auto b = numbers.values(700);
  EXPECT_LE(normal_equation_residual(a, solution_of(a, b), b), 10.0);  // as above; here: 4.8e-5
}

TEST(MorsePenroseSolve, an_infinite_inverse_makes_an_infinite_solution_whatever_the_number_of_rows) {
  // The square of 1e-160 is subnormal, and its inverse overflows.
  for (const int nr : {1, 2, 16, 17}) {
    EXPECT_EQ(solution_of(Matrix(nr, 1, 1e-160), std::vector<double>(static_cast<std::size_t>(nr), 1.0)),
              std::vector<double>{infinity})
        << nr;
  }
}

TEST(MorsePenroseSolve, a_square_system_is_accepted) {
  double worst = 0.0;
  for (std::uint64_t seed = 0; seed < 100; ++seed) {
    RandomNumbers numbers(seed);
    const int n = 1 + static_cast<int>(seed % 12);
    Matrix a = Matrix::random(n, n, numbers);
    for (int i = 0; i < n; ++i) {
      a(i, i) += n;  // keeps the condition number small
    }
    const auto b = numbers.values(n);
    worst = std::max(worst, normal_equation_residual(a, solution_of(a, b), b));
  }
  EXPECT_LE(worst, 10.0);  // likewise; worst of these seeds: 0.47
}

TEST(MorsePenroseSolve, scaling_by_powers_of_two_scales_the_solution_exactly) {
  RandomNumbers numbers(1);
  Matrix a = Matrix::random(12, 4, numbers);
  auto b = numbers.values(12);
  auto expected = solution_of(a, b);
  std::for_each(a.elements.begin(), a.elements.end(), [](double& element) { element *= 0x1p20; });
  std::for_each(b.begin(), b.end(), [](double& element) { element *= 0x1p-3; });
  std::for_each(expected.begin(), expected.end(), [](double& element) { element *= 0x1p-23; });
  EXPECT_EQ(solution_of(a, b), expected);
}

TEST(MorsePenroseSolve, matrix_and_right_hand_side_are_not_changed) {
  RandomNumbers numbers(2);
  const Matrix a = Matrix::random(9, 3, numbers);
  const auto b = numbers.values(9);
  const Matrix a_before = a;
  const auto b_before = b;
  solution_of(a, b);
  EXPECT_EQ(a, a_before);
  EXPECT_EQ(b, b_before);
}

TEST(MorsePenroseSolve, fewer_rows_than_columns_stop_the_program) {
  std::vector<double> x(3, 7.0);
  const std::vector<double> b(2, 1.0);
  const Matrix a(2, 3, 1.0);
  for (const bool verbose : {false, true}) {
    std::vector<std::string> expected{" Error in morse_penrose_solve, nr < nc"};
    if (verbose) {
      expected.insert(expected.begin(), " CALLED morse_penrose_solve");
    }
    const auto call = [&] { morse_penrose_solve(a.data(), 2, 3, x.data(), b.data(), verbose); };
    EXPECT_EQ(records_before_plain_stop(call), expected);
  }
  EXPECT_EQ(x, std::vector<double>(3, 7.0));
}

TEST(MorsePenroseSolve, announces_itself_only_when_asked) {
  const auto call = [](bool verbose) { solution_of(Matrix::identity(2), {4, 5}, verbose); };
  EXPECT_EQ(records_of([&] { call(true); }), std::vector<std::string>{" CALLED morse_penrose_solve"});
  EXPECT_TRUE(records_of([&] { call(false); }).empty());
}

TEST(MorsePenroseSolve, a_zero_or_undefined_column_stops_the_program_with_its_number) {
  // One NaN of A makes its row and its column of A^T A undefined, and no other row is a pivot before it.
  RandomNumbers numbers(3);
  for (const double bad : {0.0, quiet_nan}) {
    for (int column = 0; column < 4; ++column) {
      SCOPED_TRACE(testing::Message() << bad << " in column " << column);
      Matrix a = Matrix::random(6, 4, numbers);
      for (int i = 0; i < 6; ++i) {
        a(i, column) = bad == 0.0 || i == 2 ? bad : a(i, column);
      }
      const auto records = records_before_plain_stop([&] { solution_of(a, std::vector<double>(6, 1.0)); });
      ASSERT_EQ(records.size(), 2U);
      EXPECT_EQ(records[0], " Singular matrix found in dinvert_Gauss_Jordan");
      EXPECT_EQ(words_of(records[1]),
                (std::vector<std::string>{"Reduction", "col=", std::to_string(column + 1)}));
    }
  }
}

TEST(MorsePenroseSolve, a_system_without_unknowns_is_solved) {
  for (const int nr : {0, 3}) {
    EXPECT_TRUE(records_of([&] { solution_of(Matrix(nr, 0), std::vector<double>(3, 1.0)); }).empty());
  }
}

}  // namespace
}  // namespace s_solver
