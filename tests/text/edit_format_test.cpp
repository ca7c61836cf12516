#include "text/edit_format.hpp"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "text/number_text.hpp"

namespace text {
namespace {

using Limits = std::numeric_limits<double>;

std::string integer_field(int value, int width) {
  std::string record;
  append_integer_field(record, value, width);
  return record;
}

/// The layout of the plot file: 16 columns, six digits after the point.
std::string field(double value, int width = 16, int digits = 6) {
  std::string record;
  append_scientific_field(record, value, width, digits);
  return record;
}

TEST(IntegerField, is_right_aligned) {
  EXPECT_EQ(integer_field(7, 6), "     7");
  EXPECT_EQ(integer_field(-42, 6), "   -42");
  EXPECT_EQ(integer_field(0, 1), "0");
}

TEST(IntegerField, is_filled_with_asterisks_when_too_narrow) {
  EXPECT_EQ(integer_field(-99999, 6), "-99999");
  EXPECT_EQ(integer_field(999999, 6), "999999");
  EXPECT_EQ(integer_field(1000000, 6), "******");
  EXPECT_EQ(integer_field(-100000, 6), "******");
  EXPECT_EQ(integer_field(std::numeric_limits<int>::min(), 11), "-2147483648");
}

TEST(ScientificField, has_one_nonzero_digit_before_the_point_and_a_signed_two_digit_exponent) {
  EXPECT_EQ(field(1.0), "    1.000000E+00");
  EXPECT_EQ(field(-1.0), "   -1.000000E+00");
  EXPECT_EQ(field(1234.5678), "    1.234568E+03");
  EXPECT_EQ(field(-0.000012345), "   -1.234500E-05");
  EXPECT_EQ(field(1e99), "    1.000000E+99");
  EXPECT_EQ(field(1e-99), "    1.000000E-99");
}

TEST(ScientificField, drops_the_letter_for_a_three_digit_exponent) {
  EXPECT_EQ(field(1e100), "    1.000000+100");
  EXPECT_EQ(field(-1e-100), "   -1.000000-100");
  EXPECT_EQ(field(Limits::max()), "    1.797693+308");
  EXPECT_EQ(field(Limits::lowest()), "   -1.797693+308");
  EXPECT_EQ(field(Limits::denorm_min()), "    4.940656-324");
}

TEST(ScientificField, a_rounding_carry_moves_into_the_exponent) {
  EXPECT_EQ(field(9.9999999e9), "    1.000000E+10");
  EXPECT_EQ(field(-9.9999999e-10), "   -1.000000E-09");
  EXPECT_EQ(field(9.9999999e99), "    1.000000+100");
  EXPECT_EQ(field(9.9999999e-100), "    1.000000E-99");
  EXPECT_EQ(field(9.9999994e9), "    9.999999E+09");
}

TEST(ScientificField, zero_of_either_sign_has_no_sign) {
  EXPECT_EQ(field(0.0), "    0.000000E+00");
  EXPECT_EQ(field(-0.0), "    0.000000E+00");
}

TEST(ScientificField, nonfinite_values_are_words) {
  EXPECT_EQ(field(Limits::infinity()), "        Infinity");
  EXPECT_EQ(field(-Limits::infinity()), "       -Infinity");
  EXPECT_EQ(field(Limits::quiet_NaN()), "             NaN");
  EXPECT_EQ(field(-Limits::quiet_NaN()), "             NaN");
}

TEST(ScientificField, width_and_digits_are_free) {
  EXPECT_EQ(field(-12.345, 12, 2), "   -1.23E+01");
  EXPECT_EQ(field(-1.2345e-150, 12, 2), "   -1.23-150");
  EXPECT_EQ(field(-Limits::infinity(), 12, 2), "   -Infinity");
}

TEST(ScientificField, is_filled_with_asterisks_when_too_narrow) {
  EXPECT_EQ(field(-1.0, 13, 6), "-1.000000E+00");
  EXPECT_EQ(field(-1.0, 12, 6), "************");
  EXPECT_EQ(field(1.0, 12, 6), "1.000000E+00");
}

TEST(ScientificField, stands_behind_what_the_record_holds) {
  std::string record = "x";
  append_scientific_field(record, 1.0, 13, 6);
  append_integer_field(record, 3, 2);
  EXPECT_EQ(record, "x 1.000000E+00 3");
}

TEST(ScientificField, every_double_takes_16_columns_and_reads_back_to_seven_digits) {
  std::mt19937_64 random(1);
  for (int i = 0; i < 20000; ++i) {
    const auto value = std::bit_cast<double>(random());
    const std::string text = field(value);
    SCOPED_TRACE(text);
    ASSERT_EQ(text.size(), 16U);
    if (!std::isfinite(value)) {
      continue;
    }
    double back = 0.0;
    ASSERT_TRUE(parse_real(text.substr(text.find_last_of(' ') + 1), back));
    // Half a unit of the seventh digit is at most 5e-7 of a mantissa of 1; reading back adds eps, or half
    // the smallest subnormal.
    ASSERT_LE(std::abs(back - value), 5.0000001e-7 * std::abs(back) + Limits::denorm_min());
  }
}

}  // namespace
}  // namespace text
