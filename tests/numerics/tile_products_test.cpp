#include "numerics/tile_products.hpp"

#include <gtest/gtest.h>

#include <array>
#include <utility>

#include "matrices.hpp"

namespace numerics {
namespace {

using namespace test_matrices;

/// Rows of a block of sums, as in the program; one more and one less block are among the sizes.
constexpr std::size_t block = 512;

MatrixView<const double> view_of(const Matrix& a) { return part_of(a, 0, 0, a.rows, a.columns); }

double summed(const Matrix& v, std::size_t i, const Matrix& b, std::size_t j, double sum) {
  for (std::size_t first = 0; first < v.rows; first += block) {
    std::array<double, 8> part{};
    for (std::size_t k = first; k < std::min(first + block, v.rows); ++k) {
      part[k % 8] += v(k, i) * b(k, j);
    }
    sum += ((part[0] + part[4]) + (part[2] + part[6])) + ((part[1] + part[5]) + (part[3] + part[7]));
  }
  return sum;
}

/// work(v, w, b, unit) for shapes on either side of every tile.
template <class Work>
void for_all_shapes(const Work& work) {
  RandomNumbers numbers(1);
  for (const std::size_t rows : {8U, 40U, 128U, 512U, 520U, 1032U}) {
    for (const std::size_t k : {1U, 3U, 4U, 5U, 32U}) {
      for (const std::size_t n : {1U, 2U, 5U, 6U, 7U, 9U, 14U}) {
        const Matrix v = random_matrix(rows, k, numbers);
        const Matrix w = random_matrix(k, n, numbers);
        const Matrix b = random_matrix(rows, n, numbers);
        for (const VectorUnit unit : vector_units()) {
          SCOPED_TRACE(testing::Message() << rows << " rows, " << k << " and " << n << " columns, unit "
                                          << static_cast<int>(unit));
          work(v, w, b, unit);
        }
      }
    }
  }
}

TEST(TransposedProduct, is_summed_by_blocks_in_eight_parts_to_the_bit_with_every_vector_unit) {
  for_all_shapes([](const Matrix& v, const Matrix& w, const Matrix& b, VectorUnit unit) {
    Matrix sum = w;
    add_transposed_product(view_of(v), view_of(b), part_of(sum, 0, 0, sum.rows, sum.columns), unit);
    for (std::size_t j = 0; j < w.columns; ++j) {
      for (std::size_t i = 0; i < w.rows; ++i) {
        ASSERT_EQ(sum(i, j), summed(v, i, b, j, w(i, j))) << i << " " << j;
      }
    }
  });
}

TEST(SubtractedProduct, has_its_terms_in_their_order_to_the_bit_with_every_vector_unit) {
  for_all_shapes([](const Matrix& v, const Matrix& w, const Matrix& b, VectorUnit unit) {
    Matrix rest = b;
    subtract_product(view_of(v), view_of(w), part_of(rest, 0, 0, rest.rows, rest.columns), unit);
    for (std::size_t j = 0; j < b.columns; ++j) {
      for (std::size_t k = 0; k < b.rows; ++k) {
        double expected = b(k, j);
        for (std::size_t i = 0; i < v.columns; ++i) {
          expected -= v(k, i) * w(i, j);
        }
        ASSERT_EQ(rest(k, j), expected) << k << " " << j;
      }
    }
  });
}

TEST(TileProducts, leave_what_is_outside_a_part_alone) {
  RandomNumbers numbers(2);
  const Matrix v = random_matrix(24, 3, numbers);
  const Matrix before = random_matrix(40, 9, numbers);
  for (const VectorUnit unit : vector_units()) {
    Matrix b = before;
    Matrix w(5, 9);
    add_transposed_product(view_of(v), part_of(before, 8, 1, 24, 7), part_of(w, 1, 1, 3, 7), unit);
    subtract_product(view_of(v), part_of(std::as_const(w), 1, 1, 3, 7), part_of(b, 8, 1, 24, 7), unit);
    for (std::size_t j = 0; j < 9; ++j) {
      for (std::size_t i = 0; i < 40; ++i) {
        const bool inside = j >= 1 && j < 8 && i >= 8 && i < 32;
        EXPECT_EQ(b(i, j) == before(i, j), !inside) << i << " " << j;
      }
      for (std::size_t i = 0; i < 5; ++i) {
        const bool inside = j >= 1 && j < 8 && i >= 1 && i < 4;
        EXPECT_EQ(w(i, j) != 0.0, inside) << i << " " << j;
      }
    }
  }
}

TEST(PaddedRows, are_the_least_odd_number_of_groups) {
  for (std::size_t rows = 1; rows < 300; ++rows) {
    const std::size_t padded = padded_rows(rows);
    EXPECT_EQ(padded % 16, 8U) << rows;
    EXPECT_GE(padded, rows);
    EXPECT_LT(padded, rows + 16);
  }
}

}  // namespace
}  // namespace numerics
