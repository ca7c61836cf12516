#include "numerics/complex_division.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>

#include "numerics.hpp"

namespace numerics {
namespace {

using namespace testing_support;

TEST(SmithQuotient, divides_exactly_where_no_operation_rounds) {
  const struct {
    Complex numerator, denominator, quotient;
  } cases[] = {
      {{3, 4}, {2, 0}, {1.5, 2}},     // scaled by the real part
      {{3, 4}, {0, 2}, {2, -1.5}},    // scaled by the imaginary part
      {{5, 0}, {2, 1}, {2, -1}},      //
      {{5, 0}, {1, 2}, {1, -2}},      //
      {{5, 10}, {-1, 2}, {3, -4}},    //
      {{-5, 10}, {2, -1}, {-4, 3}},   //
      {{1, 0}, {1, 1}, {0.5, -0.5}},  // parts of equal magnitude
      {{1, 2}, {1, -1}, {-0.5, 1.5}},
  };
  for (const auto& [numerator, denominator, quotient] : cases) {
    EXPECT_EQ(smith_quotient(numerator, denominator), quotient) << numerator << " / " << denominator;
  }
}

TEST(SmithQuotient, parts_of_equal_magnitude_are_scaled_by_the_real_one) {
  // (1 + j) / (1 - j): the real part is (1 - 1) / 2 = +0 that way, and (-1 + 1) / -2 = -0 the other way.
  const Complex quotient = smith_quotient({1, 1}, {1, -1});
  EXPECT_EQ(quotient, Complex(0, 1));
  EXPECT_FALSE(std::signbit(quotient.real()));
}

TEST(SmithQuotient, a_few_roundings_separate_it_from_the_quotient) {
  RandomNumbers numbers(1);
  double worst = 0.0;
  for (int i = 0; i < 20000; ++i) {
    const std::complex<long double> numerator{numbers(), numbers()};
    const std::complex<long double> denominator{numbers(), numbers()};
    const Complex quotient = smith_quotient(Complex(numerator), Complex(denominator));
    // Both times the denominator, which spares a long division as the reference.
    const auto back = std::complex<long double>(quotient) * denominator;
    worst = std::max(worst, static_cast<double>(std::abs(back - numerator) / std::abs(numerator)) / eps);
  }
  // Each part is a sum of two products over t, hence at most six roundings of eps / 2; they reach the
  // modulus multiplied by sqrt(2) at most. Worst of these numbers: 1.4
  EXPECT_LE(worst, 3 * std::sqrt(2.0));
}

TEST(SmithQuotient, nothing_overflows_or_vanishes_on_the_way) {
  for (const double scale : {1e300, 1e-300}) {
    EXPECT_EQ(smith_quotient({scale, scale}, {scale, scale}), Complex(1, 0)) << scale;
    EXPECT_EQ(smith_quotient({scale, 0}, {0, scale}), Complex(0, -1)) << scale;
  }
}

TEST(SmithQuotient, scaling_by_powers_of_two_changes_no_bit) {
  RandomNumbers numbers(2);
  for (int i = 0; i < 1000; ++i) {
    const Complex numerator = numbers.complex();
    const Complex denominator = numbers.complex();
    EXPECT_EQ(smith_quotient(numerator * 0x1p300, denominator * 0x1p-300),
              smith_quotient(numerator, denominator) * 0x1p600);
  }
}

TEST(SmithQuotient, a_zero_divisor_makes_both_parts_undefined) {
  const Complex quotient = smith_quotient({1, 2}, {0, 0});  // the scale is 0 / 0
  EXPECT_TRUE(std::isnan(quotient.real()));
  EXPECT_TRUE(std::isnan(quotient.imag()));
}

TEST(SmithQuotient, undefined_operands_propagate) {
  EXPECT_TRUE(std::isnan(smith_quotient({quiet_nan, 0}, {1, 1}).real()));
  EXPECT_TRUE(std::isnan(smith_quotient({1, 0}, {quiet_nan, 1}).real()));
  EXPECT_TRUE(std::isnan(smith_quotient({1, 0}, {1, quiet_nan}).imag()));
}

}  // namespace
}  // namespace numerics
