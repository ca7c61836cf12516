#include "polefit_io/network/touchstone/numbers.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <string_view>
#include <vector>

#include "polefit_io/touchstone_support.hpp"

namespace {

using namespace polefit_io;
using testing_support::line;
using testing_support::refusal_of;

double frequency_of(std::string_view text, int power) { return take_frequency(text, power, line(2)); }

std::vector<double> values_of(std::string_view text, std::size_t items_before = 0) {
  std::vector<double> values{7.0};
  append_values(text, items_before, line(2), values);
  EXPECT_EQ(values.front(), 7.0);
  values.erase(values.begin());
  return values;
}

TEST(TouchstoneNumbers, a_frequency_is_taken_off_its_line_in_hertz) {
  std::string_view text = " 1.1 2 3";
  EXPECT_EQ(take_frequency(text, 9, line(1)), 1.1e9);
  EXPECT_EQ(text, " 2 3");
}

TEST(TouchstoneNumbers, a_negative_zero_is_no_negative_frequency) {
  EXPECT_FALSE(std::signbit(frequency_of("-0", 0)));
  EXPECT_FALSE(std::signbit(frequency_of("-0.0e5", 9)));
}

TEST(TouchstoneNumbers, a_frequency_is_finite_and_not_below_zero) {
  EXPECT_EQ(refusal_of([] { frequency_of("x", 0); }), "2/1: \"x\" | a frequency");
  for (const std::string text : {"-1", "inf", "nan", "1e300"}) {
    EXPECT_EQ(refusal_of([&] { frequency_of(text, 9); }),
              "2/1: \"" + text + "\" | a finite frequency not below 0");
  }
}

TEST(TouchstoneNumbers, values_may_have_every_usual_form) {
  EXPECT_EQ(values_of("1 +1.5\t-.5 15. 1.5D+01 1e-400 4.9e-324"),
            (std::vector<double>{1.0, 1.5, -0.5, 15.0, 15.0, 0.0, 4.9e-324}));
  EXPECT_EQ(values_of(""), std::vector<double>{});
}

TEST(TouchstoneNumbers, a_refusal_counts_the_items_of_the_whole_line) {
  EXPECT_EQ(refusal_of([] { values_of("1 2 x"); }), "2/3: \"x\" | a number");
  EXPECT_EQ(refusal_of([] { values_of(" 1\t2 0x1 4", 1); }), "2/4: \"0x1\" | a number");
  EXPECT_EQ(refusal_of([] { values_of("1 1e999", 1); }), "2/3: \"1e999\" | a finite number");
  EXPECT_EQ(refusal_of([] { values_of("-nan"); }), "2/1: \"-nan\" | a finite number");
}

}  // namespace
