#include "polefit_cli/commands/fit_report.hpp"

#include <gtest/gtest.h>

#include <string>

#include "polefit_cli/commands/progress_bar.hpp"
#include "polefit_cli/commands/tables.hpp"
#include "text/counted.hpp"
#include "text/plain_text.hpp"

namespace {

using namespace polefit_cli;

TEST(FitReport, numbers_are_short_and_frequencies_have_a_prefix) {
  EXPECT_EQ(short_number(1.23456e-5, 2), "1.2e-05");
  EXPECT_EQ(short_number(0.0), "0");
  EXPECT_EQ(frequency_text(0.0), "0 Hz");
  EXPECT_EQ(frequency_text(999.0), "999 Hz");
  EXPECT_EQ(frequency_text(2.4e9), "2.4 GHz");
  EXPECT_EQ(frequency_text(1.5e12), "1.5 THz");
  EXPECT_EQ(frequency_text(1e3), "1 kHz");
  EXPECT_EQ(text::counted(1, "pole"), "1 pole");
  EXPECT_EQ(text::counted(0, "pole"), "0 poles");
}

TEST(FitReport, columns_of_a_table_are_as_wide_as_they_need) {
  EXPECT_EQ(table_text({{"a", "long"}, {"longer", "b"}, {"\xce\xa9", "1"}}),
            "a        long\nlonger      b\n\xce\xa9           1\n");
}

TEST(FitReport, control_characters_of_names_do_not_reach_the_terminal) {
  EXPECT_EQ(text::printable("a\033[2Jb\n"), "a?[2Jb?");
  EXPECT_EQ(text::printable("a\xC2\x9B"
                            "2Jb \xC2\xA0\xC3\xBC\xE2\x82\xAC \xFC"),
            "a??2Jb \xC2\xA0\xC3\xBC\xE2\x82\xAC ?");
}

TEST(FitReport, the_bar_tells_iteration_order_and_error) {
  EXPECT_EQ(progress_text({.iteration = 15, .order = 24, .residual = 1.2e-5}, 30),
            "[##########          ]  iteration 15 of 30   order 24   error 1.2e-05");
  EXPECT_EQ(progress_text({.iteration = 30, .order = 4, .residual = 0.5}, 30).substr(0, 22),
            "[####################]");
}

FitOutcome outcome_of(std::size_t responses) {
  FitOutcome outcome;
  outcome.fit.model.poles = {-1.0, {-1.0, 2.0}, {-1.0, -2.0}};
  for (std::size_t r = 0; r < responses; ++r) {
    outcome.fit.report.errors.push_back({0.1, 0.01 * static_cast<double>(r + 1), 0.3});
  }
  outcome.fit.report.relative_error = 0.02;
  outcome.fit.report.largest_error = 0.3;
  outcome.fit.report.iterations = 4;
  outcome.fit.report.gram_relocations = 3;
  outcome.fit.report.orthogonal_relocations = 1;
  outcome.fit.report.reason = polefit::StopReason::poles_settled;
  outcome.seconds = 0.5;
  return outcome;
}

polefit::Network network_of(std::size_t responses) {
  polefit::Network network;
  network.file = "x.s3p";
  network.frequencies = {1e9, 2e9};
  for (std::size_t r = 0; r < responses; ++r) {
    network.names.push_back("R" + std::to_string(r));
  }
  return network;
}

TEST(FitReport, tells_order_path_and_errors_of_the_worst_responses_first) {
  const std::string text = fit_report(network_of(9), outcome_of(9), 1e-3);
  EXPECT_NE(text.find("9 responses, 2 samples from 1 GHz to 2 GHz"), std::string::npos) << text;
  EXPECT_NE(text.find("3 poles (1 conjugate pair, 1 real)"), std::string::npos) << text;
  EXPECT_NE(text.find("4, poles settled"), std::string::npos) << text;
  EXPECT_NE(text.find("3 by normal equations, 1 by orthogonal factorisation"), std::string::npos) << text;
  EXPECT_LT(text.find("R8"), text.find("R7"));
  EXPECT_EQ(text.find("R3"), std::string::npos);
  EXPECT_NE(text.find("the worst 5 of 9 responses"), std::string::npos) << text;
  EXPECT_NE(text.find("all                0.02   0.1             0.3"), std::string::npos) << text;
}

TEST(FitReport, a_fit_has_converged_when_poles_or_residual_settled_and_a_search_when_the_target_is_met) {
  FitOutcome outcome = outcome_of(1);
  EXPECT_TRUE(converged(outcome));
  outcome.fit.report.reason = polefit::StopReason::iteration_limit;
  EXPECT_FALSE(converged(outcome));
  outcome.search_end = polefit::SearchEnd::target_met;
  EXPECT_TRUE(converged(outcome));
  for (const auto end : {polefit::SearchEnd::no_gain, polefit::SearchEnd::noise,
                         polefit::SearchEnd::most_poles, polefit::SearchEnd::cancelled}) {
    outcome.search_end = end;
    EXPECT_FALSE(converged(outcome));
    EXPECT_NE(fit_report(network_of(1), outcome, 1e-3)
                  .find(end == polefit::SearchEnd::cancelled ? "cancelled" : "not met"),
              std::string::npos);
  }
}

}  // namespace
