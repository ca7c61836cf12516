#include "s_solver/dmatrix/svd_solve.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "numerics.hpp"
#include "s_solver/dmatrix/morse_penrose_solve.hpp"
#include "s_solver/dmatrix/svd.hpp"
#include "s_solver/memory/memory_error.hpp"
#include "support.hpp"

namespace s_solver {
namespace {

using namespace testing_support;

struct Decomposition {
  Matrix u;
  std::vector<double> w;
  Matrix v;
};

/// The decomposition by dsvd with declared size nmax, into arrays that hold NaN before.
Decomposition decomposition_of(const Matrix& a, int nmax) {
  const Matrix declared = a.declared(nmax, quiet_nan);
  Decomposition result{Matrix(nmax, nmax, quiet_nan),
                       std::vector<double>(static_cast<std::size_t>(nmax), quiet_nan),
                       Matrix(nmax, nmax, quiet_nan)};
  dsvd(declared.data(), a.rows, a.columns, nmax, result.u.data(), result.w.data(), result.v.data());
  EXPECT_EQ(declared.leading(a.rows, a.columns), a) << "the matrix has changed";
  return result;
}

Matrix pseudo_inverse_of(const Matrix& a) {
  const int nmax = std::max(a.rows, a.columns);
  const Matrix declared = a.declared(nmax, quiet_nan);
  Matrix inverse(nmax, nmax, quiet_nan);
  dsvd_invert(declared.data(), a.rows, a.columns, inverse.data(), nmax);
  return inverse.leading(a.columns, a.rows);
}

std::vector<double> solution_of(const Matrix& a, const std::vector<double>& b, bool verbose = false) {
  std::vector<double> x(static_cast<std::size_t>(a.columns), quiet_nan);
  svd_solve(a.data(), a.rows, a.columns, x.data(), b.data(), verbose);
  return x;
}

TEST(Dsvd, its_factors_multiply_to_the_matrix_with_the_right_vectors_transposed) {
  double worst = 0.0;
  double worst_vectors = 0.0;
  for (std::uint64_t seed = 0; seed < 200; ++seed) {
    RandomNumbers numbers(seed);
    const int n = 1 + static_cast<int>(seed % 8);
    const int m = n + numbers.below(10);
    const Matrix a = Matrix::random(m, n, numbers);
    const auto [u, w, v] = decomposition_of(a, m);
    Matrix scaled = u.leading(m, n);
    for (int j = 0; j < n; ++j) {
      for (int i = 0; i < m; ++i) {
        scaled(i, j) *= w[static_cast<std::size_t>(j)];
      }
    }
    const Matrix vt = v.leading(n, n);
    worst = std::max(worst, norm(scaled * vt - a) / (eps * m * norm(a)));
    for (const Matrix& vectors : {u.leading(m, n), vt, vt.transposed()}) {
      const Matrix gram = vectors.transposed() * vectors;
      worst_vectors = std::max(worst_vectors, norm(gram - Matrix::identity(n)) / (eps * m));
    }
  }
  EXPECT_LE(worst, 10.0);          // in eps m |A|; worst of these seeds: 2.8
  EXPECT_LE(worst_vectors, 10.0);  // departure from orthonormal vectors, in eps m; worst: 2.2
}

TEST(Dsvd, fills_the_rest_of_its_results_with_zeros) {
  RandomNumbers numbers(1);
  const auto [u, w, v] = decomposition_of(Matrix::random(4, 2, numbers), 6);
  EXPECT_EQ(u, u.leading(4, 2).declared(6, 0.0));
  EXPECT_EQ(v, v.leading(2, 2).declared(6, 0.0));
  EXPECT_EQ((std::vector<double>(w.begin() + 2, w.end())), std::vector<double>(4, 0.0));
  EXPECT_GT(w[0], 0.0);
  EXPECT_GT(w[1], 0.0);
}

TEST(Dsvd, a_diagonal_matrix_has_its_diagonal_as_singular_values) {
  auto w = decomposition_of(Matrix(2, 2, {3, 0, 0, 2}), 2).w;
  std::sort(w.begin(), w.end());
  EXPECT_NEAR(w[0], 2.0, 4 * eps);  // a handful of roundings
  EXPECT_NEAR(w[1], 3.0, 8 * eps);
}

TEST(Svd, writes_no_vectors_that_are_not_wanted) {
  Matrix a(2, 2, {3, 1, 0, 2});
  std::vector<double> w(2);
  std::vector<double> untouched(4, 7.0);
  int ierr = -1;
  svd(2, 2, a.data(), w.data(), false, untouched.data(), false, untouched.data(), ierr);
  EXPECT_EQ(ierr, 0);
  EXPECT_EQ(untouched, std::vector<double>(4, 7.0));
  EXPECT_NEAR(w[0] * w[1], 6.0, 32 * eps);  // the determinant
}

TEST(Svd, a_matrix_with_a_nonfinite_element_has_NaN_as_every_result) {
  for (const double bad : {quiet_nan, infinity, -infinity}) {
    Matrix a(3, 2, {1, 2, 3, bad, 5, 6});
    std::vector<double> results(2 + 6 + 4, 0.0);
    int ierr = 0;
    svd(3, 2, a.data(), results.data(), true, results.data() + 2, true, results.data() + 8, ierr);
    EXPECT_NE(ierr, 0);
    EXPECT_TRUE(std::all_of(results.begin(), results.end(), [](double x) { return std::isnan(x); })) << bad;
  }
}

TEST(DsvdInvert, drops_singular_values_that_are_exactly_zero) {
  EXPECT_EQ(pseudo_inverse_of(Matrix(2, 2, {2, 0, 0, 0})), Matrix(2, 2, {0.5, 0, 0, 0}));
  EXPECT_EQ(pseudo_inverse_of(Matrix(3, 2, 0.0)), Matrix(2, 3, 0.0));
}

TEST(DsvdInvert, inverts_tiny_singular_values_as_they_are) {
  for (const double tiny : {1e-10, 1e-20, 1e-150, 1e-300}) {
    const Matrix inverse = pseudo_inverse_of(Matrix(2, 2, {1, 0, 0, tiny}));
    EXPECT_NEAR(inverse(1, 1) * tiny, 1.0, 8 * eps) << tiny;  // a handful of roundings
    EXPECT_NEAR(inverse(0, 0), 1.0, 8 * eps) << tiny;
  }
}

TEST(DsvdInvert, satisfies_the_conditions_of_a_pseudo_inverse) {
  double worst = 0.0;
  for (std::uint64_t seed = 0; seed < 100; ++seed) {
    RandomNumbers numbers(seed);
    const int n = 1 + static_cast<int>(seed % 6);
    const Matrix a = Matrix::random(2 * n + 1, n, numbers);
    const Matrix p = pseudo_inverse_of(a);
    const double unit = eps * a.rows * norm(a) * norm(p);
    worst = std::max(worst, norm(a * p * a - a) / (unit * norm(a)));
    worst = std::max(worst, norm(p * a * p - p) / (unit * norm(p)));
    worst = std::max(worst, norm((a * p).transposed() - a * p) / unit);
  }
  EXPECT_LE(worst, 10.0);  // in eps m |A| |P| of the size of the result; worst of these seeds: 0.86
}

TEST(DsvdInvert, writes_the_leading_part_alone) {
  RandomNumbers numbers(2);
  const Matrix a = Matrix::random(4, 2, numbers);
  Matrix inverse(6, 6, 7.0);
  dsvd_invert(a.declared(6, quiet_nan).data(), 4, 2, inverse.data(), 6);
  EXPECT_EQ(inverse, pseudo_inverse_of(a).declared(6, 7.0));
}

TEST(SvdSolve, the_identity_returns_the_right_hand_side) {
  const auto x = solution_of(Matrix::identity(3), {1, 2, 3});
  for (int i = 0; i < 3; ++i) {
    EXPECT_NEAR(x[static_cast<std::size_t>(i)], i + 1.0,
                12 * eps);  // a handful of roundings of numbers up to 3
  }
}

TEST(SvdSolve, solves_an_overdetermined_system_in_the_least_squares_sense) {
  const auto x = solution_of(Matrix(3, 2, {1, 0, 0, 1, 1, 1}), {1, 1, 0});
  EXPECT_NEAR(x[0], 1.0 / 3.0, 8 * eps);
  EXPECT_NEAR(x[1], 1.0 / 3.0, 8 * eps);
}

TEST(SvdSolve, the_normal_equations_hold_up_to_rounding) {
  double worst = 0.0;
  for (std::uint64_t seed = 0; seed < 150; ++seed) {
    RandomNumbers numbers(seed);
    const int nc = 1 + static_cast<int>(seed % 10);
    const Matrix a = Matrix::random(2 * nc + numbers.below(20), nc, numbers);
    const auto b = numbers.values(a.rows);
    worst = std::max(worst, normal_equation_residual(a, solution_of(a, b), b));
  }
  EXPECT_LE(worst, 10.0);  // in eps max(m, n) |A| (|A| |x| + |b|); worst of these seeds: 0.22
}

TEST(SvdSolve, agrees_with_the_normal_equations_on_well_conditioned_systems) {
  double worst = 0.0;
  for (std::uint64_t seed = 0; seed < 150; ++seed) {
    RandomNumbers numbers(seed);
    const int nc = 1 + static_cast<int>(seed % 10);
    const int nr = 3 * nc + numbers.below(20);
    const Matrix a = Matrix::random(nr, nc, numbers);
    const auto b = numbers.values(nr);
    const auto x = solution_of(a, b);
    std::vector<double> y(x.size());
    morse_penrose_solve(a.data(), nr, nc, y.data(), b.data(), false);
    const double condition = norm(a) * norm(pseudo_inverse_of(a));
    for (std::size_t j = 0; j < x.size(); ++j) {
      y[j] -= x[j];
    }
    worst = std::max(worst, norm(y) / (eps * nr * condition * condition * (norm(x) + norm(b) / norm(a))));
  }
  // A^T A and A^T b are formed with errors of eps m |A|^2 and eps m |A| |b|, which (A^T A)^-1 magnifies to
  // the unit used here, eps m cond^2 (|x| + |b| / |A|). Worst of these seeds: 0.077
  EXPECT_LE(worst, 10.0);
}

TEST(SvdSolve, the_zero_matrix_has_the_zero_solution) {
  EXPECT_EQ(solution_of(Matrix(4, 2, 0.0), {1, 2, 3, 4}), std::vector<double>(2, 0.0));
}

TEST(SvdSolve, a_nonfinite_matrix_ends_with_NaN) {
  for (const double bad : {quiet_nan, infinity, -infinity}) {
    for (const double value : solution_of(Matrix(3, 2, {1, 2, 3, bad, 5, 6}), {1, 1, 1})) {
      EXPECT_TRUE(std::isnan(value)) << bad;
    }
  }
}

TEST(SvdSolve, matrix_and_right_hand_side_are_not_changed) {
  RandomNumbers numbers(3);
  const Matrix a = Matrix::random(6, 3, numbers);
  const auto b = numbers.values(6);
  const Matrix a_before = a;
  const auto b_before = b;
  solution_of(a, b);
  EXPECT_EQ(a, a_before);
  EXPECT_EQ(b, b_before);
}

TEST(SvdSolve, fewer_rows_than_columns_stop_the_program) {
  std::vector<double> x(3, 7.0);
  const std::vector<double> b(2, 1.0);
  const Matrix a(2, 3, 1.0);
  for (const bool verbose : {false, true}) {
    std::vector<std::string> expected{" Error in svd_solve, nr < nc"};
    if (verbose) {
      expected.insert(expected.begin(), " CALLED svd_solve");
    }
    const auto call = [&] { svd_solve(a.data(), 2, 3, x.data(), b.data(), verbose); };
    EXPECT_EQ(records_before_plain_stop(call), expected);
  }
  EXPECT_EQ(x, std::vector<double>(3, 7.0));
}

TEST(SvdSolve, announces_itself_only_when_asked) {
  const auto call = [](bool verbose) { solution_of(Matrix::identity(2), {4, 5}, verbose); };
  EXPECT_EQ(records_of([&] { call(true); }), std::vector<std::string>{" CALLED svd_solve"});
  EXPECT_TRUE(records_of([&] { call(false); }).empty());
}

TEST(SvdSolve, a_system_without_unknowns_is_solved) {
  for (const int nr : {0, 3}) {
    EXPECT_TRUE(records_of([&] { solution_of(Matrix(nr, 0), std::vector<double>(3, 1.0)); }).empty());
  }
}

TEST(SvdSolve, square_storage_that_cannot_be_had_is_a_memory_error) {
  // 1e8 rows are 80 petabytes as a square; the matrix is not read before.
  double x = 0.0;
  const double b = 0.0;
  EXPECT_THROW(svd_solve(&b, 100'000'000, 1, &x, &b, false), MemoryError);
}

}  // namespace
}  // namespace s_solver
