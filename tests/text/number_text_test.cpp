#include "text/number_text.hpp"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace text {
namespace {

using Limits = std::numeric_limits<double>;

struct RealText {
  std::string text;
  double value;
};

/// Bits, so that the sign of a zero counts.
void expect_reals(const std::vector<RealText>& cases) {
  for (const auto& [text, expected] : cases) {
    SCOPED_TRACE(text.substr(0, 60));
    double value = 99.0;
    ASSERT_TRUE(parse_real(text, value));
    EXPECT_EQ(std::bit_cast<std::uint64_t>(value), std::bit_cast<std::uint64_t>(expected)) << value;
  }
}

void expect_no_reals(const std::vector<std::string>& texts) {
  for (const std::string& text : texts) {
    SCOPED_TRACE(text);
    double value = 99.0;
    EXPECT_FALSE(parse_real(text, value));
    EXPECT_EQ(value, 99.0) << "a refused text must leave the value alone";
  }
}

TEST(RealText, sign_and_point_are_optional) {
  expect_reals({{"15", 15.0},
                {"+15", 15.0},
                {"-15", -15.0},
                {"5.", 5.0},
                {".5", 0.5},
                {"-.5", -0.5},
                {"+5.", 5.0},
                {"0001.2500", 1.25},
                {"0", 0.0},
                {"-0", -0.0},
                {"-0.0", -0.0}});
}

TEST(RealText, every_exponent_letter_means_the_same) {
  for (const std::string letter : {"e", "E", "d", "D", "q", "Q"}) {
    expect_reals({{"1.5" + letter + "3", 1500.0},
                  {"1.5" + letter + "+3", 1500.0},
                  {"1.5" + letter + "-3", 0.0015},
                  {"-5." + letter + "0", -5.0},
                  {".5" + letter + "01", 5.0}});
  }
}

TEST(RealText, a_signed_exponent_needs_no_letter) {
  expect_reals({{"1.5+3", 1500.0}, {"1.5-3", 0.0015}, {"1+4", 10000.0}, {"-2-1", -0.2}, {".5+01", 5.0}});
}

TEST(RealText, rounds_to_the_nearest_double_however_many_digits_there_are) {
  const std::string half_ulp = "1.00000000000000011102230246251565404236316680908203125";  // 1 + eps / 2
  expect_reals({{half_ulp, 1.0},
                {half_ulp + "0000000000000000000000001", 1.0 + Limits::epsilon()},
                {half_ulp + "1d0", 1.0 + Limits::epsilon()},
                {"1" + std::string(300, '0') + "e-300", 1.0},
                {"0." + std::string(399, '0') + "1q400", 1.0}});
}

TEST(RealText, overflow_gives_an_infinity) {
  const double infinity = Limits::infinity();
  expect_reals({{"1e309", infinity},
                {"-1d309", -infinity},
                {"1+400", infinity},
                {"1e99999", infinity},
                {"-0.001q+1000", -infinity},
                {std::string(400, '7'), infinity},
                // The largest double and half a unit, 1.797693134862315807937...e308, divides the two.
                {"1.7976931348623158079e308", Limits::max()},
                {"1.7976931348623158080e308", infinity}});
}

TEST(RealText, underflow_gives_a_subnormal_or_a_zero_of_the_same_sign) {
  expect_reals({{"2.2250738585072009e-308", std::nextafter(Limits::min(), 0.0)},
                {"4.9406564584124654d-324", Limits::denorm_min()},
                // Half the smallest double, 2.47032822920623272...e-324, divides the two.
                {"2.4703282292062328e-324", Limits::denorm_min()},
                {"2.4703282292062327e-324", 0.0},
                {"-1e-400", -0.0},
                {"1-400", 0.0},
                {"1234.5e-1000", 0.0},
                {"0." + std::string(500, '0') + "1", 0.0}});
}

TEST(RealText, a_zero_stays_zero_under_any_exponent) {
  expect_reals({{"0e99999", 0.0}, {"-0.000+400", -0.0}, {".0d-400", 0.0}});
}

TEST(RealText, an_exponent_may_have_any_number_of_digits) {
  for (const char digit : {'1', '2', '5', '9'}) {
    for (std::size_t length = 4; length <= 60; ++length) {
      const std::string exponent(length, digit);
      expect_reals(
          {{"-1e" + exponent, -Limits::infinity()}, {"1d-" + exponent, 0.0}, {"0+" + exponent, 0.0}});
    }
  }
}

TEST(RealText, leading_zeros_of_an_exponent_do_not_count) {
  expect_reals({{"1e" + std::string(50, '0') + "5", 1e5}, {"1d-" + std::string(50, '0') + "5", 1e-5}});
}

TEST(RealText, infinities_may_be_written_in_any_case) {
  for (const std::string word : {"inf", "INF", "Inf", "infinity", "INFINITY", "iNfInItY"}) {
    expect_reals(
        {{word, Limits::infinity()}, {"+" + word, Limits::infinity()}, {"-" + word, -Limits::infinity()}});
  }
}

TEST(RealText, nan_may_be_written_in_any_case_and_with_a_payload) {
  for (const char* text : {"nan", "NaN", "NAN", "+nan", "-nan", "nan()", "NaN(0x7_f)", "-nan(QUIET)"}) {
    SCOPED_TRACE(text);
    double value = 99.0;
    EXPECT_TRUE(parse_real(text, value));
    EXPECT_TRUE(std::isnan(value));
  }
}

TEST(RealText, nothing_else_begins_like_a_word_for_a_nonfinite_value) {
  expect_no_reals({"in", "infinit", "infinityy", "inf1", "infe3", "na", "nano", "nan(", "nan)", "nan()x",
                   "nan(-)", "nan(()", "--inf", "+-nan", "nan1", "1inf"});
}

TEST(RealText, an_exponent_needs_digits) {
  expect_no_reals(
      {"1e", "1e+", "1d-", "1q", "1+", "1-", "1.5e+-3", "1++3", "1e 3", "1e3.0", "1e3e3", "1e3+3"});
}

TEST(RealText, a_mantissa_needs_a_digit) {
  expect_no_reals({"", "+", "-", ".", "+.", "e5", ".e5", "-.d3", "..5", "1..5", "1.2.3"});
}

TEST(RealText, the_whole_token_counts) {
  expect_no_reals({"3comment", "3#", "0x10", "\"3\"", "'3'", "3_8", "3f", "--1", "+-1", "-+1", " 1", "1 ",
                   "1,5", "1/2", "1*2", "(1,2)", "1\r", "abc"});
}

TEST(IntegerText, sign_is_optional_and_the_32_bit_range_is_complete) {
  struct Case {
    const char* text;
    int value;
  };
  for (const auto& [text, expected] :
       {Case{"6", 6}, Case{"+6", 6}, Case{"-6", -6}, Case{"0", 0}, Case{"-0", 0},
        Case{"00000000000000000007", 7}, Case{"2147483647", 2147483647}, Case{"+2147483647", 2147483647},
        Case{"-2147483648", std::numeric_limits<int>::min()}}) {
    SCOPED_TRACE(text);
    int value = 99;
    ASSERT_TRUE(parse_integer(text, value));
    EXPECT_EQ(value, expected);
  }
}

void expect_no_integers(const std::vector<std::string>& texts) {
  for (const std::string& text : texts) {
    SCOPED_TRACE(text);
    int value = 99;
    EXPECT_FALSE(parse_integer(text, value));
    EXPECT_EQ(value, 99) << "a refused text must leave the value alone";
  }
}

TEST(IntegerText, a_real_number_is_none) {
  expect_no_integers({"6.0", "6.", "6e0", "6d0", "6+0", ".6", "inf", "nan"});
}

TEST(IntegerText, what_does_not_fit_32_bits_is_none) {
  expect_no_integers({"2147483648", "+2147483648", "-2147483649", "4294967302", "99999999999999999999",
                      "-99999999999999999999"});
}

TEST(IntegerText, the_whole_token_counts) {
  expect_no_integers(
      {"", "+", "-", "+-6", "-+6", "--6", "++6", "6comment", "0x6", "6#", "6_4", " 6", "6 ", "abc"});
}

}  // namespace
}  // namespace text
