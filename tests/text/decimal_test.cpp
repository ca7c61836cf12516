#include "text/decimal.hpp"

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <limits>
#include <random>
#include <string>

#include "text/number_text.hpp"

namespace {

using text::append_shortest;
using text::shortest;
using text::significant;
using Limits = std::numeric_limits<double>;

std::uint64_t bits_read_back(const std::string& text) {
  double value = 0.0;
  EXPECT_TRUE(text::parse_real(text, value)) << text;
  return std::bit_cast<std::uint64_t>(value);
}

TEST(Decimal, the_shortest_text_that_reads_back_is_written) {
  EXPECT_EQ(shortest(0.1), "0.1");
  EXPECT_EQ(shortest(-2.0), "-2");
  EXPECT_EQ(shortest(1e22), "1e+22");
  EXPECT_EQ(shortest(-0.0), "-0");
  EXPECT_EQ(shortest(0.1 + 0.2), "0.30000000000000004");
}

TEST(Decimal, the_words_of_what_is_not_finite_are_those_that_are_read) {
  EXPECT_EQ(shortest(Limits::infinity()), "inf");
  EXPECT_EQ(shortest(-Limits::infinity()), "-inf");
  EXPECT_EQ(shortest(Limits::quiet_NaN()), "nan");
}

TEST(Decimal, text_is_appended) {
  std::string text = "x ";
  append_shortest(text, 1.5);
  EXPECT_EQ(text, "x 1.5");
}

TEST(Decimal, shortest_and_17_digits_read_back_to_the_same_bits) {
  std::mt19937_64 engine(1);
  for (int i = 0; i < 10000; ++i) {
    const std::uint64_t bits = i == 0   ? std::bit_cast<std::uint64_t>(-Limits::max())
                               : i == 1 ? std::bit_cast<std::uint64_t>(-Limits::denorm_min())
                                        : engine();
    const auto value = std::bit_cast<double>(bits);
    if (value - value == 0.0) {
      EXPECT_EQ(bits_read_back(shortest(value)), bits);
      EXPECT_EQ(bits_read_back(significant(value)), bits);
    }
  }
}

TEST(Decimal, significant_digits_are_rounded_and_their_zeros_dropped) {
  EXPECT_EQ(significant(0.000012, 6), "1.2e-05");
  EXPECT_EQ(significant(0.0341, 2), "0.034");
  EXPECT_EQ(significant(50.0, 6), "50");
  EXPECT_EQ(significant(1234567.0, 3), "1.23e+06");
}

}  // namespace
