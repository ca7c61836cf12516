#include "numerics/block_products.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "numerics.hpp"
#include "vector_units.hpp"

namespace numerics {
namespace {

using namespace testing_support;

MatrixView<const double> view_of(const Matrix& matrix) {
  return {matrix.data(), matrix.rows, matrix.columns, matrix.rows};
}

constexpr int rounded_up(int size, int step) { return (size + step - 1) / step * step; }

TEST(GramMatrix, is_summed_row_after_row_to_the_bit_with_every_vector_unit) {
  for (const int rows : {16, 48, 512}) {
    for (const int columns : {1, 3, 7, 8, 9, 12, 16, 42}) {
      RandomNumbers numbers(static_cast<std::uint64_t>(rows + columns));
      const Matrix a = Matrix::random(rows, columns, numbers);
      const int size = rounded_up(columns, column_step);
      const Matrix before = Matrix::random(size, size, numbers);
      Matrix expected = before;
      for (int j = 0; j < columns; ++j) {
        for (int i = j; i < columns; ++i) {
          for (int k = 0; k < rows; ++k) {
            expected(i, j) += a(k, i) * a(k, j);
          }
        }
      }
      for (const VectorUnit unit : vector_units()) {
        SCOPED_TRACE(testing::Message() << rows << " x " << columns << " unit " << static_cast<int>(unit));
        Matrix gram = before;
        std::vector<double> packed(static_cast<std::size_t>(rows * size));
        add_gram_matrix(view_of(a), {gram.data(), size, size, size}, packed.data(), unit);
        for (int j = 0; j < columns; ++j) {
          for (int i = j; i < columns; ++i) {
            ASSERT_EQ(gram(i, j), expected(i, j)) << i << " " << j;
          }
        }
      }
    }
  }
}

TEST(LeftInverseProduct, is_the_left_inverse_times_the_vector_to_the_bit_with_every_vector_unit) {
  for (const int rows : {16, 48, 512}) {
    for (const int columns : {1, 3, 4, 9, 42}) {
      RandomNumbers numbers(static_cast<std::uint64_t>(rows + columns));
      const Matrix a = Matrix::random(rows, columns, numbers);
      const int size = rounded_up(columns, left_inverse_rows);
      const Matrix inverse = Matrix::random(size, columns, numbers);
      const std::vector<double> b = numbers.values(rows);
      const std::vector<double> before = numbers.values(size);
      std::vector<double> expected = before;
      for (int i = 0; i < size; ++i) {
        double part[8] = {};
        for (int k = 0; k < rows; ++k) {
          double element = 0.0;
          for (int j = 0; j < columns; ++j) {
            element += inverse(i, j) * a(k, j);
          }
          part[k % 8] += element * b[static_cast<std::size_t>(k)];
        }
        expected[static_cast<std::size_t>(i)] +=
            ((part[0] + part[4]) + (part[2] + part[6])) + ((part[1] + part[5]) + (part[3] + part[7]));
      }
      for (const VectorUnit unit : vector_units()) {
        SCOPED_TRACE(testing::Message() << rows << " x " << columns << " unit " << static_cast<int>(unit));
        std::vector<double> x = before;
        std::vector<double> left_inverse(static_cast<std::size_t>(left_inverse_rows * rows));
        add_left_inverse_product(view_of(inverse), view_of(a), rows, b.data(), x.data(), left_inverse.data(),
                                 unit);
        EXPECT_EQ(x, expected);
      }
    }
  }
}

TEST(PackedProducts, are_summed_row_after_row_to_the_bit_with_every_vector_unit) {
  for (const int left_columns : {1, 8, 13}) {
    for (const int right_columns : {3, 16}) {
      constexpr int rows = 37;
      RandomNumbers numbers(static_cast<std::uint64_t>(left_columns + right_columns));
      const Matrix left = Matrix::random(rows, left_columns, numbers);
      const Matrix right = Matrix::random(rows, right_columns, numbers);
      const int left_size = rounded_up(left_columns, column_step);
      const int right_size = rounded_up(right_columns, column_step);
      const Matrix before = Matrix::random(right_size, left_size, numbers);
      Matrix expected = before;
      for (int i = 0; i < left_columns; ++i) {
        for (int j = 0; j < right_columns; ++j) {
          for (int k = 0; k < rows; ++k) {
            expected(j, i) += left(k, i) * right(k, j);
          }
        }
      }
      std::vector<double> packed_left(static_cast<std::size_t>(rows * left_size), quiet_nan);
      std::vector<double> packed_right(static_cast<std::size_t>(rows * right_size), quiet_nan);
      pack_columns(view_of(left), packed_left.data());
      pack_columns(view_of(right), packed_right.data());
      for (const VectorUnit unit : vector_units()) {
        Matrix product = before;
        add_packed_products(packed_left.data(), left_size / column_step, packed_right.data(),
                            right_size / column_step, rows,
                            {product.data(), right_size, left_size, right_size}, unit);
        EXPECT_EQ(product, expected) << left_columns << " " << right_columns << " " << static_cast<int>(unit);
      }
    }
  }
}

TEST(CombinedColumns, of_a_triangle_are_summed_in_the_order_of_the_columns_with_every_vector_unit) {
  for (const int columns : {1, 5, 12}) {
    RandomNumbers numbers(static_cast<std::uint64_t>(columns));
    const Matrix a = Matrix::random(32, columns, numbers);
    Matrix factors = Matrix::random(8, columns, numbers);
    for (int j = 0; j < columns; ++j) {
      for (int i = 0; i < std::min(8, j); ++i) {
        factors(i, j) = 0.0;
      }
    }
    Matrix expected(32, 8);
    for (int i = 0; i < 8; ++i) {
      for (int j = 0; j < columns; ++j) {
        for (int k = 0; k < 32; ++k) {
          expected(k, i) += factors(i, j) * a(k, j);
        }
      }
    }
    for (const VectorUnit unit : vector_units()) {
      Matrix out(32, 8, quiet_nan);
      combine_columns_lower(view_of(factors), view_of(a), out.data(), unit);
      EXPECT_EQ(out, expected) << columns << " " << static_cast<int>(unit);
    }
  }
}

}  // namespace
}  // namespace numerics
