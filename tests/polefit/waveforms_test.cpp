#include "polefit/response/waveforms.hpp"

#include <gtest/gtest.h>

#include <vector>

#include "numerics.hpp"
#include "polefit/error.hpp"

namespace polefit {
namespace {

using testing_support::infinity;
using testing_support::quiet_nan;

TEST(Waveforms, values_are_linear_between_points_zero_before_and_constant_behind) {
  const Waveform waveform{{1.0, 3.0}, {0.0, 4.0}};
  const std::vector<double> times{0.0, 1.0, 1.5, 2.5, 3.0, 9.0};
  EXPECT_EQ(values_at(waveform, times), (std::vector<double>{0.0, 0.0, 1.0, 3.0, 4.0, 4.0}));
}

TEST(Waveforms, at_a_jump_the_value_is_that_behind_it) {
  const Waveform waveform{{1.0, 2.0, 2.0}, {3.0, 3.0, -5.0}};
  const std::vector<double> times{0.5, 1.0, 1.5, 2.0, 2.5};
  EXPECT_EQ(values_at(waveform, times), (std::vector<double>{0.0, 3.0, 3.0, -5.0, -5.0}));
}

TEST(Waveforms, a_jump_that_rounding_moved_beside_an_output_is_at_the_output) {
  const double step = 0.1;
  const std::vector<double> times = even_times(step, 10);
  ASSERT_NE(times[3], 0.3);
  EXPECT_EQ(values_at({{0.3}, {1.0}}, times)[3], 1.0);
  ASSERT_GT(times[3], 0.3);
  EXPECT_EQ(values_at({{times[3]}, {1.0}}, std::vector<double>{0.3})[0], 1.0);
}

TEST(Waveforms, what_is_none_is_told) {
  const auto fault = [](const Waveform& waveform) { return waveform_fault(waveform).value_or("none"); };
  EXPECT_EQ(fault({}), "none");
  EXPECT_EQ(fault({{0.0, 1.0, 1.0, 2.0}, {0.0, 0.0, 1.0, 1.0}}), "none");
  EXPECT_EQ(fault({{0.0, 1.0}, {0.0}}), "has 2 times and 1 values, expected one a time");
  EXPECT_EQ(fault({{0.0, infinity}, {0.0, 1.0}}), "has an infinite number or none in point 2");
  EXPECT_EQ(fault({{0.0}, {quiet_nan}}), "has an infinite number or none in point 1");
  EXPECT_EQ(fault({{0.0, 2.0, 1.0}, {0.0, 1.0, 1.0}}), "goes back in time at point 3");
  EXPECT_EQ(fault({{1.0, 1.0, 1.0}, {0.0, 1.0, 2.0}}), "has three points of one time at point 3");
  EXPECT_THROW(static_cast<void>(values_at({{0.0, 1.0}, {0.0}}, std::vector<double>{1.0})), Error);
  EXPECT_THROW(static_cast<void>(values_at({}, std::vector<double>{1.0, 1.0})), Error);
}

TEST(Waveforms, a_first_value_that_is_not_zero_is_a_jump) {
  EXPECT_TRUE(jumps({{0.0}, {1.0}}));
  EXPECT_FALSE(jumps({{0.0, 1.0}, {0.0, 1.0}}));
  EXPECT_TRUE(jumps({{0.0, 1.0, 1.0}, {0.0, 1.0, 2.0}}));
  EXPECT_FALSE(jumps({{0.0, 1.0, 1.0}, {0.0, 1.0, 1.0}}));
}

TEST(Waveforms, times_are_even_within_the_rounding_of_their_ends_only) {
  EXPECT_TRUE(even_step(even_times(1e-12, 100001)));
  EXPECT_NEAR(*even_step(even_times(1e-12, 100001)), 1e-12, 1e-27);
  EXPECT_FALSE(even_step(std::vector<double>{0.0, 1.0, 2.0, 3.0 + 1e-12}));
  EXPECT_FALSE(even_step(std::vector<double>{0.0}));
}

TEST(Timeline, outputs_and_break_points_are_met_in_their_order_and_as_one_where_they_meet) {
  const std::vector<double> outputs{0.0, 1.0, 2.0, 4.0};
  Timeline timeline(outputs, {0.5, 2.0, 3.0, 9.0});
  EXPECT_EQ(timeline.outputs_at_rest(), 1U);
  struct Expected {
    double time, step;
    bool output, turns;
  };
  for (const Expected& expected :
       {Expected{0.5, 0.0, false, true}, Expected{1.0, 0.5, true, false}, Expected{2.0, 1.0, true, true},
        Expected{3.0, 1.0, false, true}, Expected{4.0, 1.0, true, false}}) {
    ASSERT_TRUE(timeline.goes_on());
    const Moment moment = timeline.next();
    EXPECT_EQ(moment.time, expected.time);
    EXPECT_EQ(moment.step, expected.step);
    EXPECT_EQ(moment.is_output, expected.output);
    EXPECT_EQ(moment.is_break, expected.turns);
  }
  EXPECT_FALSE(timeline.goes_on());
}

TEST(Timeline, even_runs_end_before_the_next_break_point) {
  const std::vector<double> outputs = even_times(1.0, 11);
  Timeline timeline(outputs, {0.0, 6.0, 7.5});
  EXPECT_EQ(timeline.even_run(100), 0U);  // from nowhere
  static_cast<void>(timeline.next());
  EXPECT_EQ(timeline.even_run(100), 5U);
  EXPECT_EQ(timeline.even_run(3), 3U);
  timeline.pass_run(5);
  EXPECT_EQ(timeline.output(), 6U);
  EXPECT_EQ(timeline.next().time, 6.0);
  EXPECT_EQ(timeline.even_run(100), 1U);
  timeline.pass_run(1);
  EXPECT_EQ(timeline.next().time, 7.5);
  EXPECT_EQ(timeline.even_run(100), 0U);  // from a break point between outputs
  static_cast<void>(timeline.next());
  EXPECT_EQ(timeline.even_run(100), 2U);
}

}  // namespace
}  // namespace polefit
