#include "numerics/orthogonal_factorisation.hpp"

#include <gtest/gtest.h>

#include <iostream>

#include "matrices.hpp"

namespace numerics {
namespace {

using namespace test_matrices;

struct Shape {
  std::size_t rows;
  std::size_t columns;
};

/// On either side of groups of rows, of columns that are factorised singly, of halves and of panels.
constexpr std::array shapes{Shape{1, 1},   Shape{2, 1},   Shape{100, 1},  Shape{2, 2},   Shape{7, 7},
                            Shape{8, 8},   Shape{9, 9},   Shape{17, 10},  Shape{16, 16}, Shape{23, 18},
                            Shape{31, 31}, Shape{33, 32}, Shape{40, 33},  Shape{64, 64}, Shape{65, 65},
                            Shape{90, 41}, Shape{95, 71}, Shape{130, 97}, Shape{600, 20}};

std::ostream& operator<<(std::ostream& out, const Shape& shape) {
  return out << shape.rows << " x " << shape.columns;
}

Matrix orthogonal(const OrthogonalFactorisation& f) {
  Matrix q = identity(f.rows);
  apply_transposed(f, q);
  return transposed(q);
}

/// R with rows of zeros below.
Matrix tall(const Matrix& r, std::size_t rows) {
  Matrix result(rows, r.columns);
  for (std::size_t j = 0; j < r.columns; ++j) {
    std::copy_n(r.column(j), j + 1, result.column(j));
  }
  return result;
}

bool operator==(const OrthogonalFactorisation& a, const OrthogonalFactorisation& b) {
  return a.r.elements == b.r.elements && a.v.elements == b.v.elements && a.t.elements == b.t.elements;
}

/// How far a factorisation is from one of a and from an orthogonal one, columns measured each by its norm.
struct Faults {
  double backward;       ///< A - Q R
  double applied;        ///< Q^T A - R
  double orthogonality;  ///< Q^T Q - 1
};

Faults faults_of(const Matrix& a) {
  const OrthogonalFactorisation f = factorise(a);
  const Matrix q = orthogonal(f);
  const Matrix r = tall(f.r, a.rows);
  Matrix applied = a;
  apply_transposed(f, applied);
  return {worst_column(product(q, r), a) / eps, worst_column(applied, r) / eps,
          worst_column(product(transposed(q), q), identity(a.rows)) / eps};
}

/// The columns of a, each times a power of two up to 2^-range and 2^range.
Matrix scaled_columns(const Matrix& a, int range, RandomNumbers& numbers, std::vector<int>& exponents) {
  Matrix scaled = a;
  for (std::size_t j = 0; j < a.columns; ++j) {
    exponents.push_back(j == 0 ? range : j == 1 ? -range : numbers.below(2 * range + 1) - range);
    for (std::size_t i = 0; i < a.rows; ++i) {
      scaled(i, j) = std::ldexp(a(i, j), exponents.back());
    }
  }
  return scaled;
}

TEST(OrthogonalFactorisation, is_one_of_a_matrix_changed_by_rounding_only) {
  Faults worst{};
  for (const Shape& shape : shapes) {
    for (std::uint64_t seed = 0; seed < (shape.rows < 200 ? 5U : 1U); ++seed) {
      SCOPED_TRACE(testing::Message() << shape << " seed " << seed);
      RandomNumbers numbers(seed);
      const Faults faults = faults_of(random_matrix(shape.rows, shape.columns, numbers));
      // In eps of a column's norm. A column is changed by as many reflections as it has before it, whose
      // rounding adds up like a random walk: the square root of their number, with a margin of ten.
      const double walk = std::sqrt(static_cast<double>(shape.columns));
      worst.backward = std::max(worst.backward, faults.backward / walk);
      worst.applied = std::max(worst.applied, faults.applied / walk);
      worst.orthogonality = std::max(worst.orthogonality, faults.orthogonality / walk);
    }
  }
  std::cout << "worst: " << worst.backward << " " << worst.applied << " " << worst.orthogonality << "\n";
  EXPECT_LE(worst.backward, 10.0);
  EXPECT_LE(worst.applied, 10.0);
  EXPECT_LE(worst.orthogonality, 10.0);
}

TEST(OrthogonalFactorisation, has_an_upper_triangle_and_reflections_with_a_leading_1) {
  RandomNumbers numbers(1);
  const OrthogonalFactorisation f = factorise(random_matrix(50, 41, numbers));
  for (std::size_t j = 0; j < 41; ++j) {
    for (std::size_t i = 0; i < 41; ++i) {
      EXPECT_TRUE(i <= j || f.r(i, j) == 0.0) << i << " " << j;
      EXPECT_TRUE(i > j || f.v(i, j) == (i == j ? 1.0 : 0.0)) << i << " " << j;
    }
    for (std::size_t i = 50; i < f.v.rows; ++i) {
      EXPECT_EQ(f.v(i, j), 0.0);
    }
  }
}

TEST(OrthogonalFactorisation, scales_with_every_column_by_powers_of_two_to_the_bit) {
  // 2^900 and 2^-900, whose squares overflow and vanish.
  for (const Shape& shape : shapes) {
    SCOPED_TRACE(testing::Message() << shape);
    RandomNumbers numbers(7);
    const Matrix a = random_matrix(shape.rows, shape.columns, numbers);
    std::vector<int> exponents;
    OrthogonalFactorisation expected = factorise(a);
    const OrthogonalFactorisation f = factorise(scaled_columns(a, 900, numbers, exponents));
    for (std::size_t j = 0; j < shape.columns; ++j) {
      for (std::size_t i = 0; i <= j; ++i) {
        expected.r(i, j) = std::ldexp(expected.r(i, j), exponents[j]);
      }
    }
    EXPECT_TRUE(f == expected);
  }
}

TEST(OrthogonalFactorisation, keeps_the_relative_size_of_columns_at_the_ends_of_the_range) {
  double worst = 0.0;
  for (std::uint64_t seed = 0; seed < 20; ++seed) {
    RandomNumbers numbers(seed);
    Matrix a = random_matrix(45, 36, numbers);
    for (std::size_t j = 0; j < a.columns; ++j) {
      const double size = j % 3 == 0 ? 1e300 : j % 3 == 1 ? 1e-300 : 1.0;
      std::transform(a.column(j), a.column(j) + a.rows, a.column(j), [=](double x) { return x * size; });
    }
    worst = std::max(worst, faults_of(a).backward);
  }
  std::cout << "worst: " << worst << "\n";
  EXPECT_LE(worst, 60.0);  // in eps of a column's norm, as above: 10 times the root of 36 columns
}

TEST(OrthogonalFactorisation, keeps_elements_of_extreme_size_within_a_column) {
  // The small ones vanish in the norm; nothing overflows.
  RandomNumbers numbers(3);
  Matrix a = random_matrix(30, 12, numbers);
  for (std::size_t i = 0; i < a.elements.size(); ++i) {
    a.elements[i] *= i % 2 == 0 ? 1e300 : 1e-300;
  }
  EXPECT_LE(faults_of(a).backward, 10.0 * std::sqrt(12.0));  // in eps, as above
}

TEST(OrthogonalFactorisation, has_no_reflection_for_columns_of_zeros) {
  RandomNumbers numbers(4);
  Matrix a = random_matrix(60, 40, numbers);
  for (const std::size_t j : {0U, 5U, 20U, 39U}) {
    std::fill_n(a.column(j), a.rows, 0.0);
  }
  const OrthogonalFactorisation f = factorise(a);
  for (const std::size_t j : {0U, 5U, 20U, 39U}) {
    EXPECT_EQ(column_norm(f.r, j), 0.0) << j;
    EXPECT_EQ(f.t(j % 32, j), 0.0) << j;
  }
  const Faults faults = faults_of(a);
  EXPECT_LE(faults.backward, 10.0 * std::sqrt(40.0));  // in eps, as above
  EXPECT_LE(faults.orthogonality, 10.0 * std::sqrt(40.0));
}

TEST(OrthogonalFactorisation, leaves_rounding_of_a_column_that_is_a_combination_of_others) {
  RandomNumbers numbers(5);
  Matrix a = random_matrix(80, 40, numbers);
  for (std::size_t i = 0; i < a.rows; ++i) {
    a(i, 35) = a(i, 3) + a(i, 20) - a(i, 34);
  }
  const OrthogonalFactorisation f = factorise(a);
  // Three additions of elements below 3 in 80 rows, and the reflections before.
  EXPECT_LE(std::abs(f.r(35, 35)), 100.0 * eps * column_norm(a, 35));
}

TEST(OrthogonalFactorisation, of_nothing_is_nothing) {
  const OrthogonalFactorisation f = factorise(Matrix(5, 0));
  EXPECT_EQ(f.r.columns, 0U);
  Matrix b(5, 2);
  b.elements = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
  const Matrix before = b;
  apply_transposed(f, b);
  EXPECT_EQ(b.elements, before.elements);
  Matrix nothing(5, 0);
  apply_transposed(f, nothing);
  EXPECT_EQ(factorise(Matrix(0, 0)).r.rows, 0U);
}

TEST(OrthogonalFactorisation, of_fewer_rows_than_columns_has_the_triangle_of_one_with_rows_of_zeros) {
  RandomNumbers numbers(6);
  for (const Shape& shape : {Shape{1, 3}, Shape{0, 2}, Shape{20, 45}}) {
    const Matrix a = random_matrix(shape.rows, shape.columns, numbers);
    Matrix square(shape.columns, shape.columns);
    for (std::size_t j = 0; j < shape.columns; ++j) {
      std::copy_n(a.column(j), shape.rows, square.column(j));
    }
    EXPECT_EQ(factorise(a).r.elements, factorise(square).r.elements) << shape;
  }
}

TEST(OrthogonalFactorisation, of_a_part_is_that_of_a_copy) {
  RandomNumbers numbers(8);
  const Matrix whole = random_matrix(50, 20, numbers);
  Matrix copy(33, 17);
  for (std::size_t j = 0; j < copy.columns; ++j) {
    std::copy_n(whole.column(j + 2) + 10, copy.rows, copy.column(j));
  }
  EXPECT_TRUE(factorise(part_of(whole, 10, 2, 33, 17)) == factorise(copy));
}

TEST(OrthogonalFactorisation, shows_elements_that_are_not_finite) {
  RandomNumbers numbers(9);
  for (const double bad : {quiet_nan, infinity}) {
    Matrix a = random_matrix(40, 35, numbers);
    a(20, 10) = bad;
    const OrthogonalFactorisation f = factorise(a);
    EXPECT_FALSE(std::isfinite(f.r(34, 34)));
  }
}

TEST(OrthogonalFactorisation, treats_a_column_alike_whatever_stands_beside_it) {
  RandomNumbers numbers(10);
  const OrthogonalFactorisation f = factorise(random_matrix(75, 41, numbers));
  const Matrix b = random_matrix(75, 17, numbers);
  Matrix together = b;
  apply_transposed(f, together);
  for (std::size_t j = 0; j < b.columns; ++j) {
    Matrix alone(75, 1);
    std::copy_n(b.column(j), b.rows, alone.column(0));
    apply_transposed(f, alone);
    EXPECT_TRUE(std::equal(alone.elements.begin(), alone.elements.end(), together.column(j))) << j;
  }
}

TEST(OrthogonalFactorisation, has_the_same_bits_with_every_vector_unit) {
  for (const Shape& shape : shapes) {
    RandomNumbers numbers(11);
    const Matrix a = random_matrix(shape.rows, shape.columns, numbers);
    const Matrix b = random_matrix(shape.rows, 9, numbers);
    const OrthogonalFactorisation expected = factorise(a, VectorUnit::baseline);
    Matrix expected_b = b;
    apply_transposed(expected, expected_b, VectorUnit::baseline);
    for (const VectorUnit unit : vector_units()) {
      SCOPED_TRACE(testing::Message() << shape << " unit " << static_cast<int>(unit));
      EXPECT_TRUE(factorise(a, unit) == expected);
      Matrix applied = b;
      apply_transposed(expected, applied, unit);
      EXPECT_EQ(applied.elements, expected_b.elements);
    }
  }
}

TEST(OrthogonalFactorisation, has_the_same_bits_when_several_threads_work) {
  RandomNumbers numbers(12);
  const Matrix a = random_matrix(300, 60, numbers);
  EXPECT_TRUE(same_in_threads(4, [&] {
    Matrix b = a;
    apply_transposed(factorise(a), b);
    return b.elements;
  }));
}

}  // namespace
}  // namespace numerics
