#include "numerics/ordered_triangle.hpp"

#include <gtest/gtest.h>

#include <iostream>
#include <numeric>

#include "matrices.hpp"
#include "numerics/orthogonal_factorisation.hpp"

namespace numerics {
namespace {

using namespace test_matrices;

/// Columns of norm 1.
Matrix unit_columns(std::size_t rows, std::size_t columns, RandomNumbers& numbers) {
  Matrix a = random_matrix(rows, columns, numbers);
  for (std::size_t j = 0; j < columns; ++j) {
    const double size = column_norm(a, j);
    std::transform(a.column(j), a.column(j) + rows, a.column(j), [=](double x) { return x / size; });
  }
  return a;
}

/// The triangle of a least-squares problem, and the unknowns for one right-hand side.
struct Solved {
  OrderedTriangle triangle;
  Matrix x;
};

Solved solve(const Matrix& a, const Matrix& b, VectorUnit unit = widest_vector_unit()) {
  const OrthogonalFactorisation f = factorise(a);
  Solved solved{ordered_triangle(f.r, unit), b};
  apply_transposed(f, solved.x);
  solve_triangular(solved.triangle, solved.x, unit);
  Matrix x(a.columns, b.columns);
  for (std::size_t j = 0; j < b.columns; ++j) {
    std::copy_n(solved.x.column(j), a.columns, x.column(j));
  }
  solved.x = x;
  return solved;
}

/// Rows of the residual, up to rounding at right angles to all columns; the largest cosine.
double largest_cosine(const Matrix& a, const Matrix& x, const Matrix& b) {
  Matrix residual = product(a, x);
  std::transform(residual.elements.begin(), residual.elements.end(), b.elements.begin(),
                 residual.elements.begin(), [](double ax, double right) { return right - ax; });
  const Matrix products = product(transposed(a), residual);
  double worst = 0.0;
  for (std::size_t j = 0; j < b.columns; ++j) {
    for (std::size_t i = 0; i < a.columns; ++i) {
      worst = std::max(worst, std::abs(products(i, j)) / column_norm(b, j));
    }
  }
  return worst;
}

TEST(OrderedTriangle, of_independent_columns_solves_the_least_squares_problem) {
  double worst = 0.0;
  for (const std::size_t n : {1U, 2U, 7U, 20U, 41U, 65U}) {
    for (std::uint64_t seed = 0; seed < 5; ++seed) {
      RandomNumbers numbers(seed);
      const Matrix a = unit_columns(2 * n + 3, n, numbers);
      const Matrix b = random_matrix(2 * n + 3, 3, numbers);
      const Solved solved = solve(a, b);
      EXPECT_EQ(solved.triangle.rank, n);
      worst = std::max(worst, largest_cosine(a, solved.x, b) / (eps * static_cast<double>(n)));
    }
  }
  std::cout << "worst: " << worst << "\n";
  EXPECT_LE(worst, 10.0);  // in n eps |b|; the condition of these columns is below 10
}

TEST(OrderedTriangle, has_its_columns_by_falling_size_and_each_once) {
  RandomNumbers numbers(1);
  const OrderedTriangle triangle = ordered_triangle(factorise(unit_columns(60, 30, numbers)).r);
  for (std::size_t j = 0; j + 1 < 30; ++j) {
    // What is left of a later column was no larger when this one was chosen.
    for (std::size_t i = j + 1; i < 30; ++i) {
      double squares = 0.0;
      for (std::size_t k = j; k <= i; ++k) {
        squares += triangle.r(k, i) * triangle.r(k, i);
      }
      EXPECT_LE(std::sqrt(squares), std::abs(triangle.r(j, j)) * (1.0 + 30 * eps)) << j << " " << i;
    }
  }
  std::vector<std::size_t> places = triangle.place;
  std::sort(places.begin(), places.end());
  std::vector<std::size_t> expected(30);
  std::iota(expected.begin(), expected.end(), std::size_t{0});
  EXPECT_EQ(places, expected);
}

TEST(OrderedTriangle, leaves_out_columns_that_are_combinations_of_others_and_nothing_else) {
  double worst = 0.0;
  for (std::uint64_t seed = 0; seed < 20; ++seed) {
    RandomNumbers numbers(seed);
    const std::size_t n = 12 + seed;
    Matrix a = unit_columns(3 * n, n, numbers);
    // A zero column, a repeated one and a combination, early among the columns that need their equations.
    std::fill_n(a.column(1), a.rows, 0.0);
    std::copy_n(a.column(0), a.rows, a.column(3));
    for (std::size_t i = 0; i < a.rows; ++i) {
      a(i, 5) = 0.5 * a(i, 4) - 0.25 * a(i, n - 1);
    }
    const Matrix b = random_matrix(3 * n, 2, numbers);
    const Solved solved = solve(a, b);
    EXPECT_EQ(solved.triangle.rank, n - 3);
    worst = std::max(worst, largest_cosine(a, solved.x, b) / (eps * static_cast<double>(n)));
    std::size_t zeros = 0;
    for (std::size_t j = n - 3; j < n; ++j) {
      zeros += solved.x(solved.triangle.place[j], 0) == 0.0 ? 1 : 0;
    }
    EXPECT_EQ(zeros, 3U);
  }
  std::cout << "worst: " << worst << "\n";
  EXPECT_LE(worst, 10.0);  // in n eps |b|, as for independent columns
}

TEST(OrderedTriangle, counts_a_column_of_which_more_is_left_than_a_hundred_times_rounding) {
  const double rounding = 2 * 100.0 * eps;  // n = 2
  for (const double times : {0.5, 0.99, 1.01, 2.0}) {
    Matrix r(2, 2);
    r.elements = {1.0, 0.0, 1.0, times * rounding};
    EXPECT_EQ(ordered_triangle(r).rank, times < 1.0 ? 1U : 2U) << times;
  }
}

TEST(OrderedTriangle, of_zeros_has_rank_0_and_unknowns_0) {
  const OrderedTriangle triangle = ordered_triangle(Matrix(4, 4));
  EXPECT_EQ(triangle.rank, 0U);
  Matrix b(6, 1);
  b.elements = {1, 2, 3, 4, 5, 6};
  solve_triangular(triangle, b);
  EXPECT_EQ(b.elements, (std::vector<double>{0, 0, 0, 0, 5, 6}));
  EXPECT_EQ(ordered_triangle(Matrix()).rank, 0U);
}

TEST(OrderedTriangle, solves_a_diagonal_system_exactly) {
  Matrix r(3, 3);
  r(0, 0) = 0.25;
  r(1, 1) = -1.0;
  r(2, 2) = 0.5;
  Matrix b(3, 1);
  b.elements = {1.0, 2.0, 3.0};
  const OrderedTriangle triangle = ordered_triangle(r);
  EXPECT_EQ(triangle.place, (std::vector<std::size_t>{1, 2, 0}));
  solve_triangular(triangle, b);
  EXPECT_EQ(b.elements, (std::vector<double>{4.0, -2.0, 6.0}));
}

TEST(OrderedTriangle, does_not_look_below_the_diagonal) {
  RandomNumbers numbers(2);
  Matrix r = factorise(unit_columns(20, 9, numbers)).r;
  const OrderedTriangle expected = ordered_triangle(r);
  for (std::size_t j = 0; j < 9; ++j) {
    std::fill(r.column(j) + j + 1, r.column(j) + 9, quiet_nan);
  }
  EXPECT_EQ(ordered_triangle(r).r.elements, expected.r.elements);
}

TEST(OrderedTriangle, has_the_same_bits_with_every_vector_unit) {
  for (const std::size_t n : {1U, 3U, 8U, 21U, 41U}) {
    RandomNumbers numbers(3);
    const Matrix a = unit_columns(2 * n, n, numbers);
    const Matrix b = random_matrix(2 * n, 2, numbers);
    const Solved expected = solve(a, b, VectorUnit::baseline);
    for (const VectorUnit unit : vector_units()) {
      const Solved solved = solve(a, b, unit);
      EXPECT_EQ(solved.triangle.r.elements, expected.triangle.r.elements);
      EXPECT_EQ(solved.triangle.tau, expected.triangle.tau);
      EXPECT_EQ(solved.triangle.place, expected.triangle.place);
      EXPECT_EQ(solved.x.elements, expected.x.elements);
    }
  }
}

}  // namespace
}  // namespace numerics
