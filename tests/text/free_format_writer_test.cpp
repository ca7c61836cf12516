#include "text/free_format_writer.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <complex>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "support.hpp"
#include "text/number_text.hpp"

namespace text {
namespace {

using testing_support::words_of;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan_value = std::numeric_limits<double>::quiet_NaN();

/// The one item of a record without the blanks around it.
template <class Item>
std::string text_of(Item item) {
  const std::vector<std::string> words = words_of(free_format_record(item));
  EXPECT_EQ(words.size(), 1U);
  return words.empty() ? "" : words.front();
}

double number_in(const std::string& text) {
  double value = 0.0;
  EXPECT_TRUE(parse_real(text, value)) << text;
  return value;
}

TEST(FreeFormatWriter, a_record_of_text_has_one_leading_blank) {
  EXPECT_EQ(free_format_record("Lese Daten"), " Lese Daten");
}

TEST(FreeFormatWriter, no_items_make_the_empty_record) { EXPECT_EQ(free_format_record(), ""); }

TEST(FreeFormatWriter, one_blank_stands_between_two_texts) {
  EXPECT_EQ(free_format_record("Error opening file:", "a.in"), " Error opening file: a.in");
}

TEST(FreeFormatWriter, texts_keep_their_own_blanks) {
  EXPECT_EQ(free_format_record("  a  ", " b "), "   a    b ");
}

TEST(FreeFormatWriter, a_text_that_begins_with_a_blank_stands_two_blanks_behind_a_number) {
  const std::string record = free_format_record("Iteration:", 1, " error=");
  EXPECT_TRUE(record.starts_with(" Iteration: "));
  EXPECT_TRUE(record.ends_with(" 1  error=")) << record;
}

TEST(FreeFormatWriter, the_widest_numbers_are_still_separated) {
  const double wide = -1.2345678901234567e-300;
  const auto narrow = static_cast<float>(-1.23456789e-30);
  const std::string record = free_format_record(std::numeric_limits<int>::min(), wide, wide, narrow, narrow,
                                                std::complex(wide, wide), std::complex(narrow, narrow));
  EXPECT_EQ(words_of(record).size(), 7U) << record;
}

TEST(FreeFormatWriter, doubles_read_back_to_the_same_bits) {
  std::vector<double> values = {0.0,
                                -0.0,
                                0.1,
                                1.0 / 3.0,
                                std::numeric_limits<double>::max(),
                                std::numeric_limits<double>::min(),
                                std::numeric_limits<double>::denorm_min()};
  std::mt19937_64 random(1);
  for (int i = 0; i < 20000; ++i) {
    values.push_back(std::bit_cast<double>(random()));
  }
  for (const double value : values) {
    if (!std::isnan(value)) {
      const std::string text = text_of(value);
      ASSERT_EQ(std::bit_cast<std::uint64_t>(number_in(text)), std::bit_cast<std::uint64_t>(value)) << text;
    }
  }
}

TEST(FreeFormatWriter, floats_read_back_to_the_same_bits) {
  std::mt19937_64 random(2);
  for (int i = 0; i < 20000; ++i) {
    const auto value = std::bit_cast<float>(static_cast<std::uint32_t>(random()));
    if (!std::isnan(value)) {
      const std::string text = text_of(value);
      const auto back = static_cast<float>(number_in(text));
      ASSERT_EQ(std::bit_cast<std::uint32_t>(back), std::bit_cast<std::uint32_t>(value)) << text;
    }
  }
}

TEST(FreeFormatWriter, doubles_carry_17_digits_and_floats_9) {
  // A third never ends, in either base: no digit of it is a zero that the general form would drop.
  const auto threes_in = [](const std::string& text) { return std::count(text.begin(), text.end(), '3'); };
  EXPECT_EQ(text_of(1.0 / 3.0).size(), 2U + 17U);
  EXPECT_EQ(threes_in(text_of(1.0 / 3.0)), 16);  // 53 bits hold 16 correct digits
  EXPECT_EQ(text_of(1.0F / 3.0F).size(), 2U + 9U);
}

TEST(FreeFormatWriter, short_numbers_are_plain) {
  EXPECT_EQ(text_of(1500.0), "1500");
  EXPECT_EQ(text_of(-0.25), "-0.25");
  EXPECT_EQ(text_of(0.0), "0");
  EXPECT_EQ(text_of(100000.0F), "100000");
  EXPECT_EQ(text_of(-7), "-7");
}

TEST(FreeFormatWriter, numbers_far_from_one_have_an_exponent) {
  for (const double value : {1e30, 1e-30, -2.5e300, 1e-310}) {
    const std::string text = text_of(value);
    EXPECT_NE(text.find('e'), std::string::npos) << text;
  }
}

TEST(FreeFormatWriter, numbers_fill_fields_of_one_width) {
  for (const int value : {0, -1, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
    EXPECT_EQ(free_format_record(value).size(), 1U + 12U);
  }
  for (const double value :
       {0.0, 1.5, 1.0 / 3.0, -0.00012345678901234567, -1.2345678901234567e-300, -infinity, nan_value}) {
    EXPECT_EQ(free_format_record(value).size(), 1U + 25U);
    EXPECT_EQ(free_format_record(std::complex(value, value)).size(), 1U + 2U * 25U + 3U);
    const auto single = static_cast<float>(value);
    EXPECT_EQ(free_format_record(single).size(), 1U + 16U);
    EXPECT_EQ(free_format_record(std::complex(single, single)).size(), 1U + 2U * 16U + 3U);
  }
}

TEST(FreeFormatWriter, numbers_are_right_aligned) {
  EXPECT_TRUE(free_format_record(1).ends_with(" 1"));
  EXPECT_TRUE(free_format_record(1.5).ends_with(" 1.5"));
  EXPECT_TRUE(free_format_record(1.5F).ends_with(" 1.5"));
  EXPECT_TRUE(free_format_record(std::complex(1.5, -2.0)).ends_with(" (1.5,-2)"));
}

TEST(FreeFormatWriter, complex_values_are_a_pair_without_blanks_inside) {
  EXPECT_EQ(text_of(std::complex(1.5, -2.0)), "(1.5,-2)");
  EXPECT_EQ(text_of(std::complex(-0.5F, 4.0F)), "(-0.5,4)");

  const std::complex value(-1.0 / 3.0, 1e300 / 7.0);
  const std::string text = text_of(value);
  const std::size_t comma = text.find(',');
  ASSERT_NE(comma, std::string::npos);
  EXPECT_EQ(number_in(text.substr(1, comma - 1)), value.real());
  EXPECT_EQ(number_in(text.substr(comma + 1, text.size() - comma - 2)), value.imag());
}

TEST(FreeFormatWriter, nonfinite_values_are_words) {
  EXPECT_EQ(text_of(infinity), "Infinity");
  EXPECT_EQ(text_of(-infinity), "-Infinity");
  EXPECT_EQ(text_of(nan_value), "NaN");
  EXPECT_EQ(text_of(-nan_value), "NaN");
  EXPECT_EQ(text_of(std::numeric_limits<float>::infinity()), "Infinity");
  EXPECT_EQ(text_of(std::complex(nan_value, -infinity)), "(NaN,-Infinity)");
}

}  // namespace
}  // namespace text
