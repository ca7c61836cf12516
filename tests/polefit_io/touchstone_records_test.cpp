#include "polefit_io/network/touchstone/records.hpp"

#include <gtest/gtest.h>

#include <string_view>
#include <vector>

#include "polefit_io/touchstone_support.hpp"

namespace {

using namespace polefit_io;
using testing_support::line;
using testing_support::refusal_of;
using Numbers = std::vector<double>;

/// Takes lines, counted from 1.
class Taker {
 public:
  explicit Taker(std::size_t ports, bool version_2 = false) : records_({.ports = ports}, 3, version_2) {}

  bool take(std::string_view text) { return records_.take(text, line(++number_)); }
  std::string refusal(std::string_view text) {
    return refusal_of([&] { take(text); });
  }
  const Records& records() const { return records_; }
  void drop_data() { records_.drop_data(); }

 private:
  Records records_;
  std::int64_t number_ = 0;
};

TEST(TouchstoneRecords, frequencies_and_values_are_kept_as_they_stand) {
  Taker taker(1);
  EXPECT_TRUE(taker.take("1 2 3"));
  EXPECT_TRUE(taker.take("4 5 6"));
  const RawData& data = taker.records().data();
  EXPECT_EQ(data.layout.ports, 1U);
  EXPECT_EQ(data.frequencies, (Numbers{1e3, 4e3}));
  EXPECT_EQ(data.values, (Numbers{2, 3, 5, 6}));
  EXPECT_EQ(data.lines, (std::vector<std::int64_t>{1, 2}));
}

TEST(TouchstoneRecords, of_three_ports_and_in_version_2_they_are_wrapped_at_will) {
  Taker three(3);
  for (const char* const text : {"1", "1 2 3", "4 5 6 7 8 9 10 11 12 13 14 15 16 17", "18",
                                 "2 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18"}) {
    EXPECT_TRUE(three.take(text));
  }
  EXPECT_EQ(three.records().data().frequencies, (Numbers{1e3, 2e3}));
  EXPECT_EQ(three.records().data().lines, (std::vector<std::int64_t>{1, 5}));
  Taker two(2, true);
  EXPECT_TRUE(two.take("1 2 3 4 5"));
  EXPECT_TRUE(two.take("6 7 8 9"));
  two.records().expect_whole("the end", line(3));
}

TEST(TouchstoneRecords, values_too_many_or_few_for_a_line_are_refused) {
  const std::string expected = " | 3 values for a frequency of 1 port, and the next frequency on a new line";
  EXPECT_EQ(Taker(1).refusal("1 2"), "1: 2 values" + expected);
  EXPECT_EQ(Taker(1).refusal("1 2 3 4"), "1: 4 values" + expected);
  Taker two(2, true);
  two.take("1 2 3 4 5");
  EXPECT_EQ(two.refusal("6 7 8 9 10"),
            "2: 10 values with those since line 1 | 9 values for a frequency of 2 ports, and the next "
            "frequency on a new line");
}

TEST(TouchstoneRecords, lines_that_look_like_frequencies_of_fewer_ports_are_refused) {
  Taker four(4);
  for (int k = 0; k < 10; ++k) {
    EXPECT_TRUE(four.take("1 2 3"));
  }
  EXPECT_EQ(four.refusal("1 2 3"),
            "11: 11 lines of 3 values each, which seem to be as many frequencies | 33 values for a frequency "
            "of 4 ports");
}

TEST(TouchstoneRecords, a_record_that_is_not_whole_is_refused_where_something_else_begins) {
  Taker taker(3);
  taker.records().expect_whole("[End]", line(1));
  taker.take("1 2 3");
  EXPECT_EQ(refusal_of([&] { taker.records().expect_whole("[End]", line(9)); }),
            "9: [End] after 3 values since line 1 | 19 values for a frequency of 3 ports");
}

TEST(TouchstoneRecords, frequencies_may_repeat_and_not_decrease) {
  Taker taker(1);
  taker.take("2 0 0");
  EXPECT_TRUE(taker.take("2 0 0"));
  EXPECT_EQ(taker.refusal("1 0 0"),
            "3/1: a frequency below the one before it | frequencies that do not decrease");
}

TEST(TouchstoneRecords, five_values_not_above_the_last_frequency_of_two_ports_begin_noise_data) {
  Taker two(2);
  two.take("2 1 0 2 0 3 0 4 0");
  EXPECT_FALSE(two.take("2 0.5 0.3 90 0.2"));
  EXPECT_EQ(two.records().data().frequencies, Numbers{2e3});
  EXPECT_EQ(two.records().data().values.size(), 8U);
  two.records().expect_whole("the end", line(3));
}

TEST(TouchstoneRecords, version_2_marks_noise_data_by_a_keyword_alone) {
  Taker two(2, true);
  two.take("2 1 0 2 0 3 0 4 0");
  EXPECT_TRUE(two.take("2 0.5 0.3 90 0.2"));
  EXPECT_EQ(two.records().data().frequencies, (Numbers{2e3, 2e3}));
}

TEST(TouchstoneRecords, what_was_dropped_is_counted_and_the_next_frequency_held_against_it) {
  Taker two(2);
  two.take("2 1 0 2 0 3 0 4 0");
  EXPECT_TRUE(two.records().whole());
  two.drop_data();
  EXPECT_TRUE(two.records().data().values.empty());
  EXPECT_EQ(two.refusal("1 1 0 2 0 3 0 4 0"),
            "2/1: a frequency below the one before it | frequencies that do not decrease, or noise data of 5 "
            "values a "
            "line");
  Taker noisy(2);
  noisy.take("2 1 0 2 0 3 0 4 0");
  noisy.drop_data();
  EXPECT_FALSE(noisy.take("2 0.5 0.3 90 0.2"));
  EXPECT_EQ(noisy.records().frequencies(), 1U);
}

TEST(TouchstoneNoiseData, lines_of_five_numbers_are_counted) {
  NoiseData noise;
  noise.take("2 0.5 0.3 90 0.2", 9, line(1));
  noise.take("2 0.5 0.3 90 0.2", 9, line(2));
  EXPECT_EQ(noise.frequencies(), 2U);
}

TEST(TouchstoneNoiseData, other_lines_are_refused) {
  NoiseData noise;
  noise.take("2 0.5 0.3 90 0.2", 0, line(1));
  EXPECT_EQ(refusal_of([&] { noise.take("3 0.5 0.3 90", 0, line(2)); }), "2: 4 values in noise data | 5");
  EXPECT_EQ(refusal_of([&] { noise.take("3 0.5 x 90 1", 0, line(2)); }), "2/3: \"x\" | a number");
  EXPECT_EQ(refusal_of([&] { noise.take("1 0.5 0.3 90 0.2", 0, line(2)); }),
            "2/1: a noise frequency below the one before it | frequencies that do not decrease");
}

}  // namespace
