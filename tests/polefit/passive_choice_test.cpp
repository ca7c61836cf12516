#include "polefit/search/passive_choice.hpp"

#include <gtest/gtest.h>

#include <array>
#include <string>

#include "polefit/search/within_noise.hpp"

namespace polefit {
namespace {

constexpr std::array<SearchEnd, 4> of_the_data{SearchEnd::noise, SearchEnd::not_causal, SearchEnd::no_gain,
                                               SearchEnd::missed_measure};

const Target target{.error = 1e-6};

/// A model with such an error, for the target and for the correction.
PassiveSearch found_with(double error, std::size_t poles = 4, bool passive = true) {
  PassiveSearch found;
  found.search.error = error;
  found.search.fit.model.poles.resize(poles);
  found.search.fit.report.errors.resize(1);
  found.search.fit.report.errors[0].relative = error;
  found.search.findings.noise = {0.0};
  found.enforcement.passivity.passive = passive;
  found.enforcement.error_after = error;
  return found;
}

Before before_with(SearchEnd end, double error) {
  return {.end = end, .finding = "what was found", .error = error, .weighted = error};
}

TEST(PassiveChoice, a_passive_model_is_taken_before_one_that_is_not) {
  for (const double error : {1e-7, 1e-3}) {
    for (const double other : {1e-7, 1e-3}) {
      const PassiveSearch passive = found_with(error, 8);
      const PassiveSearch active = found_with(other, 4, false);
      EXPECT_TRUE(better(passive, active, target));
      EXPECT_FALSE(better(active, passive, target));
      PassiveFit passive_fit;
      passive_fit.enforcement = passive.enforcement;
      PassiveFit active_fit;
      active_fit.enforcement = active.enforcement;
      EXPECT_TRUE(better(passive_fit, active_fit));
      EXPECT_FALSE(better(active_fit, passive_fit));
    }
  }
}

TEST(PassiveChoice,
     of_passive_models_one_that_meets_the_target_with_few_poles_is_taken_then_the_least_error) {
  EXPECT_TRUE(better(found_with(1e-6, 20), found_with(2e-6, 4), target));
  EXPECT_FALSE(better(found_with(2e-6, 4), found_with(1e-6, 20), target));
  EXPECT_TRUE(better(found_with(9e-7, 4), found_with(1e-7, 6), target));
  EXPECT_FALSE(better(found_with(1e-7, 6), found_with(9e-7, 4), target));
  EXPECT_TRUE(better(found_with(2e-6, 20), found_with(3e-6, 4), target));
  EXPECT_FALSE(better(found_with(3e-6, 4), found_with(2e-6, 20), target));
}

TEST(PassiveChoice, a_model_that_is_not_passive_is_never_enough) {
  for (const SearchEnd end : {SearchEnd::target_met, SearchEnd::met_to_noise, SearchEnd::noise}) {
    const Before before = before_with(end, 1e-6);
    EXPECT_TRUE(is_enough(found_with(1e-6), before, target));
    EXPECT_FALSE(is_enough(found_with(1e-6, 4, false), before, target));
    EXPECT_EQ(end_of(found_with(1e-6, 4, false), before, target), SearchEnd::lost_to_passivity);
  }
  EXPECT_TRUE(is_enough(found_with(1e-6).enforcement, 1e-6));
  EXPECT_FALSE(is_enough(found_with(1e-6, 4, false).enforcement, 1e-6));
}

TEST(PassiveChoice, whatever_was_in_the_way_of_a_target_growth_above_a_twentieth_is_lost_to_passivity) {
  for (const SearchEnd end : of_the_data) {
    const Before before = before_with(end, 1e-5);
    EXPECT_EQ(end_of(found_with(1.04e-5), before, target), end);
    EXPECT_TRUE(is_enough(found_with(1.04e-5), before, target));
    EXPECT_EQ(end_of(found_with(1.06e-5), before, target), SearchEnd::lost_to_passivity);
    EXPECT_FALSE(is_enough(found_with(1.06e-5), before, target));
    EXPECT_EQ(end_of(found_with(1e-6), before, target), SearchEnd::target_met);
  }
  const Before limited = before_with(SearchEnd::most_poles, 1e-5);
  EXPECT_EQ(end_of(found_with(1.04e-5), limited, target), SearchEnd::most_poles);
  EXPECT_EQ(end_of(found_with(1.06e-5), limited, target), SearchEnd::lost_to_passivity);
  const Before noisy = before_with(SearchEnd::met_to_noise, 1e-5);
  EXPECT_EQ(end_of(found_with(1.04e-5), noisy, target), SearchEnd::met_to_noise);
  EXPECT_EQ(end_of(found_with(1.06e-5), noisy, target), SearchEnd::lost_to_passivity);
  const Before met = before_with(SearchEnd::target_met, 1e-6);
  EXPECT_EQ(end_of(found_with(1.04e-6), met, target), SearchEnd::lost_to_passivity);
  // No order follows such data, passive or not.
  const Before coarse = before_with(SearchEnd::too_coarse, 0.5);
  EXPECT_EQ(end_of(found_with(0.9), coarse, target), SearchEnd::too_coarse);
}

TEST(WithinNoise, of_the_worst_response_each_has_to_be_and_of_all_their_mean) {
  Report report;
  report.errors.resize(2);
  report.errors[0].relative = 1.05e-3;
  report.errors[1].relative = 1.2e-3;
  Findings findings;
  findings.noise = {1e-3, 1e-3};
  findings.noise_floor = 1e-3;
  // Permitted is 1.1e-3 each; the mean of the squares is that of 1.13e-3.
  const double small = 1e-6;
  EXPECT_FALSE(within_noise(report, findings, {.error = small}));
  EXPECT_FALSE(within_noise(report, findings, {.error = small, .measure = Measure::worst_response}));
  report.errors[0].relative = 0.9e-3;  // and now that of 1.06e-3
  EXPECT_TRUE(within_noise(report, findings, {.error = small}));
  EXPECT_FALSE(within_noise(report, findings, {.error = small, .measure = Measure::worst_response}));
  report.errors[1].relative = 1.09e-3;
  EXPECT_TRUE(within_noise(report, findings, {.error = small, .measure = Measure::worst_response}));
  EXPECT_FALSE(within_noise(report, findings, {.error = small, .measure = Measure::largest_error}));
}

/// Who asks for an error below 1e-8 counts what a correction adds to it.
TEST(PassiveChoice, errors_that_are_rounding_are_lost_like_others) {
  const Target small{.error = 1e-13};
  const Before before = before_with(SearchEnd::noise, 1e-12);
  EXPECT_EQ(end_of(found_with(5e-9), before, small), SearchEnd::lost_to_passivity);
  EXPECT_FALSE(is_enough(found_with(5e-9), before, small));
  EXPECT_EQ(end_of(found_with(1.04e-12), before, small), SearchEnd::noise);
  // A fit of given order has no target: it is not fitted again for so little.
  EXPECT_TRUE(is_enough(found_with(5e-9).enforcement, 1e-12));
  EXPECT_FALSE(is_enough(found_with(2e-8).enforcement, 1e-12));
}

TEST(PassiveChoice, tells_what_was_reached_before_and_what_is_in_the_way_still) {
  const auto told = [](SearchEnd end, bool passive = true) {
    const Before before = before_with(end, 1e-5);
    PassiveSearch found = found_with(3e-4, 4, passive);
    found.search.end = end_of(found, before, target);
    return finding_of(found, before, target, 100);
  };
  const std::string missed = "target of 1e-06 not met: ";
  EXPECT_EQ(told(SearchEnd::target_met), missed + "it was met before the model was made passive");
  EXPECT_EQ(told(SearchEnd::met_to_noise),
            missed + "it was met as far as the noise allows before the model was made passive");
  for (const SearchEnd end : {SearchEnd::noise, SearchEnd::no_gain, SearchEnd::missed_measure}) {
    EXPECT_EQ(told(end), missed + "the error was 1e-05 before the model was made passive");
  }
  for (const SearchEnd end : {SearchEnd::not_causal, SearchEnd::most_poles}) {
    EXPECT_EQ(told(end), "what was found; the error was 1e-05 before the model was made passive");
  }
  EXPECT_EQ(told(SearchEnd::too_coarse), "what was found");
  EXPECT_EQ(told(SearchEnd::noise, false), missed + "no model could be made passive");
}

}  // namespace
}  // namespace polefit
