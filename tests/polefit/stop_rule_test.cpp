#include "polefit/fitting/stop_rule.hpp"

#include <gtest/gtest.h>

namespace polefit {
namespace {

TEST(StopRule, it_ends_with_as_many_steps_in_a_row_without_gain_as_its_patience) {
  for (const int patience : {1, 2, 4}) {
    StopRule rule(patience);
    EXPECT_FALSE(rule.ended());
    for (int step = 1; step <= patience; ++step) {
      EXPECT_FALSE(rule.ended()) << step;
      rule.step(false);
      EXPECT_EQ(rule.idle_steps(), step);
    }
    EXPECT_TRUE(rule.ended());
  }
}

TEST(StopRule, a_gain_makes_it_count_anew) {
  StopRule rule(3);
  for (int round = 0; round < 5; ++round) {
    rule.step(false);
    rule.step(false);
    rule.step(true);
    EXPECT_EQ(rule.idle_steps(), 0);
    EXPECT_FALSE(rule.ended());
  }
}

TEST(StopRule, it_stays_ended_until_there_is_a_gain) {
  StopRule rule(2);
  for (int step = 0; step < 5; ++step) {
    rule.step(false);
  }
  EXPECT_TRUE(rule.ended());
  rule.step(true);
  EXPECT_FALSE(rule.ended());
}

}  // namespace
}  // namespace polefit
