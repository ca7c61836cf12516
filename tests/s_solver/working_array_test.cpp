#include "s_solver/memory/working_array.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <complex>
#include <cstdint>
#include <string>

namespace s_solver {
namespace {

TEST(WorkingArray, every_element_can_be_written_and_read_back) {
  // Around a page of 4096 bytes, where the constructor's steps end.
  for (const std::int64_t size : {1, 2, 255, 256, 257, 511, 512, 513, 5000}) {
    WorkingArray<std::complex<double>> array("array", size);
    ASSERT_EQ(array.size(), size);
    for (std::int64_t i = 0; i < size; ++i) {
      array[i] = {static_cast<double>(i), -1.0};
    }
    for (std::int64_t i = 0; i < size; ++i) {
      ASSERT_EQ(array.data()[i], std::complex<double>(static_cast<double>(i), -1.0));
    }
  }
}

TEST(WorkingArray, a_size_below_zero_counts_as_zero) {
  for (const std::int64_t size : {std::int64_t{0}, std::int64_t{-1}, INT64_MIN}) {
    WorkingArray<int> array("array", size);
    EXPECT_EQ(array.size(), 0) << size;
    EXPECT_EQ(array.begin(), array.end()) << size;
  }
}

TEST(WorkingArray, fill_reaches_all_elements_and_no_other) {
  WorkingArray<int> array("array", 1500);
  array.fill(7);
  EXPECT_EQ(std::count(array.begin(), array.end(), 7), 1500);
}

TEST(WorkingArray, an_array_that_cannot_be_had_is_an_error_with_its_name) {
  try {
    WorkingArray<double> array("left_inverse", std::int64_t{1} << 50);
    FAIL() << "no error";
  } catch (const MemoryError& error) {
    EXPECT_NE(std::string(error.what()).find("left_inverse"), std::string::npos) << error.what();
  }
}

TEST(WorkingMatrix, is_column_major_without_gaps) {
  WorkingMatrix matrix("matrix", 3, 2);
  for (int k = 0; k < 6; ++k) {
    matrix.data()[k] = k;
  }
  EXPECT_EQ(matrix.view()(0, 0), 0.0);
  EXPECT_EQ(matrix.view()(2, 0), 2.0);
  EXPECT_EQ(matrix.view()(0, 1), 3.0);
  EXPECT_EQ(matrix.view()(2, 1), 5.0);
  EXPECT_EQ(matrix.view().rows(), 3);
  EXPECT_EQ(matrix.view().columns(), 2);
  matrix.fill(9.0);
  EXPECT_EQ(matrix.view()(0, 0), 9.0);
  EXPECT_EQ(matrix.view()(2, 1), 9.0);
}

TEST(WorkingMatrix, may_have_no_rows_or_no_columns) {
  WorkingMatrix no_rows("matrix", 0, 3);
  WorkingMatrix no_columns("matrix", 3, 0);
  EXPECT_EQ(no_rows.view().leading_dimension(), 1);
  EXPECT_EQ(no_columns.view().columns(), 0);
}

TEST(WorkingMatrix, the_product_of_its_sizes_does_not_wrap) {
  constexpr std::int64_t one = 1;
  // Products that are 0 in 32 and in 64 bits, and one whose bytes alone are 0 in 64 bits.
  EXPECT_THROW(WorkingMatrix("matrix", one << 20, one << 30), MemoryError);
  EXPECT_THROW(WorkingMatrix("matrix", one << 32, one << 32), MemoryError);
  EXPECT_THROW(WorkingMatrix("matrix", one << 31, one << 30), MemoryError);
}

}  // namespace
}  // namespace s_solver
