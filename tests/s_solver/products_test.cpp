#include "s_solver/dmatrix/products.hpp"
#include "numerics/vector_unit.hpp"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "numerics.hpp"
#include "support.hpp"
#include "vector_units.hpp"

namespace s_solver {
namespace {

using namespace testing_support;

constexpr double outside = 7.0;

TEST(Dtranspose, fills_the_transposed_part_and_leaves_the_rest) {
  const Matrix a(2, 3, {1, 2, 3, 4, 5, 6});
  Matrix at(4, 4, outside);
  dtranspose(a.declared(4, quiet_nan).data(), 2, 3, at.data(), 4);
  EXPECT_EQ(at, Matrix(3, 2, {1, 4, 2, 5, 3, 6}).declared(4, outside));
}

TEST(Dmatmul, multiplies_rows_by_columns_in_the_leading_part_alone) {
  const Matrix a(2, 3, {1, 2, 3, 4, 5, 6});
  const Matrix b(3, 2, {1, 0, 10, 1, 100, 2});
  Matrix c(4, 4, outside);
  dmatmul(a.declared(4, quiet_nan).data(), 2, 3, b.declared(4, quiet_nan).data(), 3, 2, c.data(), 4);
  EXPECT_EQ(c, Matrix(2, 2, {321, 8, 654, 17}).declared(4, outside));
}

TEST(Dmatmul, the_transpose_of_a_product_is_the_product_of_the_transposes) {
  // Exactly: both sides add the same products in the same order.
  RandomNumbers numbers(1);
  const Matrix a = Matrix::random(5, 5, numbers);
  const Matrix b = Matrix::random(5, 5, numbers);
  Matrix ab(5, 5);
  Matrix ba(5, 5);
  dmatmul(a.data(), 5, 5, b.data(), 5, 5, ab.data(), 5);
  dmatmul(b.transposed().data(), 5, 5, a.transposed().data(), 5, 5, ba.data(), 5);
  EXPECT_EQ(ab.transposed(), ba);
}

TEST(Dmatmul, an_inner_dimension_of_zero_gives_zeros) {
  const Matrix a(3, 3, quiet_nan);
  Matrix c(3, 3, outside);
  dmatmul(a.data(), 2, 0, a.data(), 0, 2, c.data(), 3);
  EXPECT_EQ(c, Matrix(2, 2, 0.0).declared(3, outside));
}

TEST(Dmatdmul, scales_columns_and_not_rows) {
  const Matrix a(2, 2, {1, 2, 3, 4});
  const std::vector<double> d{10, 100};
  Matrix c(3, 3, outside);
  dmatdmul(a.declared(3, quiet_nan).data(), 2, 2, d.data(), 2, c.data(), 3);
  EXPECT_EQ(c, Matrix(2, 2, {10, 200, 30, 400}).declared(3, outside));
}

TEST(Dmatvmul, multiplies_rows_by_the_vector) {
  const Matrix a(2, 3, {1, 2, 3, 4, 5, 6});
  const std::vector<double> v{1, 10, 100};
  std::vector<double> y(4, outside);
  dmatvmul(a.declared(4, quiet_nan).data(), 2, 3, v.data(), 3, y.data(), 4);
  EXPECT_EQ(y, (std::vector<double>{321, 654, outside, outside}));
}

TEST(Products, add_their_terms_in_increasing_order) {
  // 1 is lost beside 1e16 unless it comes after the difference.
  const std::vector<double> ones(3, 1.0);
  const std::vector<std::pair<std::vector<double>, double>> rows{{{1.0, 1e16, -1e16}, 0.0},
                                                                 {{1e16, -1e16, 1.0}, 1.0}};
  for (const auto& [row, sum] : rows) {
    const Matrix a = Matrix(1, 3, row).declared(3, quiet_nan);
    double y = quiet_nan;
    dmatvmul(a.data(), 1, 3, ones.data(), 3, &y, 3);
    EXPECT_EQ(y, sum);
    Matrix c(3, 3);
    dmatmul(a.data(), 1, 3, Matrix(3, 1, ones).declared(3, quiet_nan).data(), 3, 1, c.data(), 3);
    EXPECT_EQ(c(0, 0), sum);
  }
}

TEST(Products, have_the_same_bits_with_every_vector_unit) {
  constexpr int nmax = 40;
  for (const int rows : {1, 2, 3, 7, 8, 9, 16, 33}) {
    RandomNumbers numbers(static_cast<std::uint64_t>(rows));
    const Matrix a = Matrix::random(rows, 5, numbers);
    const Matrix b = Matrix::random(5, 3, numbers);
    const Matrix product = (a * b).declared(nmax, outside);
    std::vector<double> column(product.elements.begin(), product.elements.begin() + nmax);
    for (const numerics::VectorUnit unit : vector_units()) {
      SCOPED_TRACE(testing::Message() << rows << " rows, unit " << static_cast<int>(unit));
      Matrix c(nmax, nmax, outside);
      dmatmul(a.declared(nmax, quiet_nan).data(), rows, 5, b.declared(nmax, quiet_nan).data(), 5, 3, c.data(),
              nmax, unit);
      EXPECT_EQ(c, product);
      std::vector<double> y(nmax, outside);
      dmatvmul(a.declared(nmax, quiet_nan).data(), rows, 5, b.data(), 5, y.data(), nmax, unit);
      EXPECT_EQ(y, column);
    }
  }
}

TEST(Products, stop_the_program_when_the_inner_dimensions_differ) {
  const Matrix a(4, 4, 1.0);
  const std::vector<double> v(4, 1.0);
  for (const int other : {2, 4}) {
    SCOPED_TRACE(other);
    Matrix c(4, 4, outside);
    const auto matmul = [&] { dmatmul(a.data(), 2, 3, a.data(), other, 2, c.data(), 4); };
    const auto matdmul = [&] { dmatdmul(a.data(), 2, 3, v.data(), other, c.data(), 4); };
    const auto matvmul = [&] { dmatvmul(a.data(), 2, 3, v.data(), other, c.data(), 4); };
    EXPECT_EQ(records_before_plain_stop(matmul),
              std::vector<std::string>{" matrix dimension error in dmatmul"});
    EXPECT_EQ(records_before_plain_stop(matdmul),
              std::vector<std::string>{" matrix dimension error in dmatdmul"});
    EXPECT_EQ(records_before_plain_stop(matvmul), std::vector<std::string>{" matrix dimension error"});
    EXPECT_EQ(c, Matrix(4, 4, outside));
  }
}

}  // namespace
}  // namespace s_solver
