#include "numerics/folded_triangle.hpp"

#include <gtest/gtest.h>

#include "matrices.hpp"

namespace numerics {
namespace {

using namespace test_matrices;

/// A matrix folded in blocks of rows, the last of them filled up with zeros.
struct Folded {
  Folded(const Matrix& a, const Matrix& b, std::size_t height) : fold(a.columns, height), left(b.columns) {
    Matrix right(a.columns + height, b.columns);
    for (std::size_t first = 0; first < a.rows; first += height) {
      const MatrixView<double> block = fold.block();
      for (std::size_t i = 0; i < height; ++i) {
        const bool within = first + i < a.rows;
        for (std::size_t j = 0; j < a.columns; ++j) {
          block(static_cast<std::int64_t>(i), static_cast<std::int64_t>(j)) = within ? a(first + i, j) : 0.0;
        }
        for (std::size_t j = 0; j < b.columns; ++j) {
          right(a.columns + i, j) = within ? b(first + i, j) : 0.0;
        }
      }
      fold.fold();
      fold.apply(right);
      for (std::size_t j = 0; j < b.columns; ++j) {
        for (std::size_t i = a.columns; i < right.rows; ++i) {
          left[j] += right(i, j) * right(i, j);
        }
      }
    }
    top = Matrix(a.columns, b.columns);
    for (std::size_t j = 0; j < b.columns; ++j) {
      std::copy_n(right.column(j), a.columns, top.column(j));
    }
  }
  FoldedTriangle fold;
  Matrix top;
  std::vector<double> left;  ///< squares of what is below
};

TEST(FoldedTriangle, is_that_of_the_whole_matrix_up_to_the_signs_of_its_rows) {
  // On either side of the columns that are factorised together, with one block and with many.
  for (const std::size_t columns : {1U, 5U, 9U, 33U, 70U}) {
    for (const std::size_t height : {80U, 96U, 400U}) {
      SCOPED_TRACE(testing::Message() << columns << " columns in blocks of " << height);
      RandomNumbers numbers(columns);
      const Matrix a = random_matrix(333, columns, numbers);
      const Matrix b = random_matrix(333, 3, numbers);
      const Folded folded(a, b, height);
      const OrthogonalFactorisation whole = factorise(a);
      Matrix expected = b;
      apply_transposed(whole, expected);
      // Both are triangles of a matrix that is changed by rounding as the walk of the reflections makes it;
      // random columns are independent enough for that to be multiplied by a condition of at most 10.
      const double most = 10.0 * 10.0 * eps * std::sqrt(333.0);
      for (std::size_t i = 0; i < columns; ++i) {
        const double sign = std::copysign(1.0, folded.fold.triangle()(i, i) * whole.r(i, i));
        for (std::size_t j = i; j < columns; ++j) {
          EXPECT_NEAR(sign * folded.fold.triangle()(i, j), whole.r(i, j), most * column_norm(a, j));
        }
        for (std::size_t j = 0; j < 3; ++j) {
          EXPECT_NEAR(sign * folded.top(i, j), expected(i, j), most * column_norm(b, j));
        }
      }
      for (std::size_t j = 0; j < 3; ++j) {
        double squares = 0.0;
        for (std::size_t i = columns; i < expected.rows; ++i) {
          squares += expected(i, j) * expected(i, j);
        }
        EXPECT_NEAR(folded.left[j], squares, most * std::pow(column_norm(b, j), 2));
      }
    }
  }
}

TEST(FoldedTriangle, without_columns_leaves_right_hand_sides_as_they_are) {
  RandomNumbers numbers(1);
  const Matrix b = random_matrix(40, 2, numbers);
  const Folded folded(Matrix(40, 0), b, 16);
  for (std::size_t j = 0; j < 2; ++j) {
    EXPECT_NEAR(folded.left[j], std::pow(column_norm(b, j), 2), 40.0 * eps * folded.left[j]);
  }
}

}  // namespace
}  // namespace numerics
