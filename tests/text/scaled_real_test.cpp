#include "text/scaled_real.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <string_view>

namespace {

using text::parse_scaled_real;

TEST(ScaledReal, the_result_is_rounded_once) {
  ASSERT_NE(1.001 * 1e9, 1.001e9);
  double value = 0.0;
  EXPECT_TRUE(parse_scaled_real("1.001", 9, value));
  EXPECT_EQ(value, 1.001e9);
}

TEST(ScaledReal, the_power_is_added_to_the_exponent_of_any_form) {
  const struct {
    std::string_view token;
    int power;
    double value;
  } scaled[] = {{"1.001", 0, 1.001},           {"+1.001E+2", 3, 1.001e5},
                {"-.5e-4", 9, -.5e5},          {"1.001d1", 6, 1.001e7},
                {"1.001+1", 6, 1.001e7},       {"1.001-1", 6, 1.001e5},
                {"1e300", 12, INFINITY},       {"0", 9, 0.0},
                {"1e-320", 12, 1e-308},        {"inf", 3, INFINITY},
                {"1e9999999999", 3, INFINITY}, {"1e2147483647", 12, INFINITY},
                {"1e-9999999999", 3, 0.0}};
  for (const auto& [token, power, value] : scaled) {
    SCOPED_TRACE(token);
    double result = 7.0;
    EXPECT_TRUE(parse_scaled_real(token, power, result));
    EXPECT_EQ(result, value);
  }
}

TEST(ScaledReal, what_is_no_number_leaves_the_value_alone) {
  for (const std::string_view bad : {"", "+", "1..2", "1e", "x", "1e2e3", "0x1"}) {
    for (const int power : {0, 3}) {
      SCOPED_TRACE(bad);
      double result = 7.0;
      EXPECT_FALSE(parse_scaled_real(bad, power, result));
      EXPECT_EQ(result, 7.0);
    }
  }
}

}  // namespace
