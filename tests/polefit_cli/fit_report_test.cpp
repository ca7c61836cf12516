#include "polefit_cli/commands/fit_report.hpp"

#include <gtest/gtest.h>

#include <limits>
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
  EXPECT_EQ(frequency_text(9.87654e15), "9876.54 THz");
  EXPECT_EQ(frequency_text(1.2345e299), "1.23e+299 Hz");
  EXPECT_EQ(frequency_text(-1.2345e299), "-1.23e+299 Hz");
  EXPECT_EQ(frequency_text(5e-324), "4.94e-324 Hz");
  EXPECT_EQ(frequency_text(0.000125), "0.000125 Hz");
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

TEST(FitReport, the_error_over_all_is_finite_whatever_its_size) {
  for (const double size : {1e-200, 1e200}) {
    FitOutcome outcome = outcome_of(2);
    outcome.fit.report.errors[0].rms = 3.0 * size;
    outcome.fit.report.errors[1].rms = 4.0 * size;
    // The root of (9 + 16) / 2 is 3.54.
    const std::string expected = size < 1.0 ? "0.02   3.5e-200" : "0.02   3.5e+200";
    const std::string text = fit_report(network_of(2), outcome);
    EXPECT_NE(text.find(expected), std::string::npos) << text;
  }
}

TEST(FitReport, tells_order_path_and_errors_of_the_worst_responses_first) {
  const std::string text = fit_report(network_of(9), outcome_of(9));
  EXPECT_NE(text.find("9 responses, 2 samples from 1 GHz to 2 GHz"), std::string::npos) << text;
  EXPECT_NE(text.find("3 poles (1 conjugate pair, 1 real)"), std::string::npos) << text;
  EXPECT_NE(text.find("4, poles settled"), std::string::npos) << text;
  EXPECT_NE(text.find("3 by normal equations, 1 by orthogonal factorisation"), std::string::npos) << text;
  EXPECT_LT(text.find("R8"), text.find("R7"));
  EXPECT_EQ(text.find("R3"), std::string::npos);
  EXPECT_NE(text.find("the worst 5 of 9 responses"), std::string::npos) << text;
  EXPECT_NE(text.find("all                0.02   0.1             0.3"), std::string::npos) << text;
}

TEST(FitReport, a_fit_has_converged_when_poles_or_residual_settled_and_a_search_when_it_succeeded) {
  FitOutcome outcome = outcome_of(1);
  EXPECT_TRUE(converged(outcome));
  outcome.fit.report.reason = polefit::StopReason::iteration_limit;
  EXPECT_FALSE(converged(outcome));
  outcome.search_succeeded = true;
  EXPECT_TRUE(converged(outcome));
  outcome.search_succeeded = false;
  EXPECT_FALSE(converged(outcome));
}

TEST(FitReport, says_what_a_search_found_and_the_noise_of_responses_where_it_was_told) {
  FitOutcome outcome = outcome_of(2);
  outcome.search_succeeded = true;
  outcome.orders_tried = 3;
  outcome.fit.report.finding = "target of 0.001 met";
  outcome.noise = {0.0, 0.0};
  EXPECT_NE(fit_report(network_of(2), outcome).find("3 orders tried; target of 0.001 met"),
            std::string::npos);
  EXPECT_EQ(fit_report(network_of(2), outcome).find("noise of the data"), std::string::npos);
  outcome.noise = {1e-9, 1e-9};  // rounding of the file
  EXPECT_EQ(fit_report(network_of(2), outcome).find("noise of the data"), std::string::npos);
  outcome.noise = {1e3, 1e3};  // resonances sampled coarsely
  EXPECT_EQ(fit_report(network_of(2), outcome).find("noise of the data"), std::string::npos);
  outcome.noise = {0.0, 0.04};
  const std::string text = fit_report(network_of(2), outcome);
  EXPECT_NE(text.find("noise of the data\n"), std::string::npos) << text;
  EXPECT_NE(text.find("0.028\n"), std::string::npos) << text;  // 0.04 over the root of two
  EXPECT_LT(text.find("0.04\n"), text.find("-\n")) << text;    // R1, which is worse, then R0
}

TEST(FitReport, says_whether_the_model_of_a_matrix_is_passive) {
  FitOutcome outcome = outcome_of(1);
  EXPECT_EQ(fit_report(network_of(1), outcome).find("passive"), std::string::npos);
  outcome.passivity.emplace();
  outcome.passivity->passive = true;
  const std::string text = fit_report(network_of(1), outcome);
  EXPECT_NE(text.find("  passive     certified at all frequencies"), std::string::npos) << text;
}

/// Of a model that was made passive.
FitOutcome corrected(double error_before, double error_after) {
  FitOutcome outcome = outcome_of(1);
  outcome.to_be_passive = true;
  outcome.passivity.emplace();
  outcome.passivity->passive = true;
  outcome.passivity->extreme = 0.5;
  outcome.enforcement.emplace();
  outcome.enforcement->remedy = polefit::Remedy::nearest;
  outcome.enforcement->error_before = error_before;
  outcome.enforcement->error_after = error_after;
  outcome.first = {.order = 3, .error = error_before};
  return outcome;
}

/// What the table says of passivity, to the end of that line.
std::string passive_line(const FitOutcome& outcome) {
  const std::string text = fit_report(network_of(1), outcome);
  const std::size_t begin = text.find("  passive     ");
  return begin == std::string::npos ? "" : text.substr(begin + 14, text.find('\n', begin) - begin - 14);
}

TEST(FitReport, says_what_making_a_model_passive_has_cost) {
  const std::string certified = "certified at all frequencies (largest singular value 0.5 at 0 Hz)";
  FitOutcome outcome = corrected(1e-3, 1.004e-3);
  EXPECT_EQ(passive_line(outcome), certified + "; cost 0.4 % of the error");
  outcome.enforcement->room_pairs = 1;
  outcome.first.order = 1;
  EXPECT_EQ(passive_line(outcome), certified + "; cost 0.4 % of the error, and 1 pole pair beyond the band");
  EXPECT_EQ(passive_line(corrected(1e-3, 1.0005e-3)), certified + "; cost below 0.1 % of the error");
  outcome = corrected(1e-3, 1.004e-3);
  outcome.enforcement->remedy = polefit::Remedy::none;
  EXPECT_EQ(passive_line(outcome), certified);
}

TEST(FitReport, the_cost_of_another_order_is_that_against_the_first_fit) {
  FitOutcome outcome = corrected(0.01, 0.01);
  outcome.search_succeeded = false;
  outcome.first = {.order = 12, .error = 1e-3};
  EXPECT_TRUE(passive_line(outcome).ends_with("; the error was 0.001 before, with 12 poles"));
  outcome.first.error = 0.00996;
  EXPECT_TRUE(passive_line(outcome).ends_with("; cost 0.4 % of the error of 12 poles"));
  outcome.enforcement->remedy = polefit::Remedy::none;  // it was passive, the first was not
  EXPECT_TRUE(passive_line(outcome).ends_with("; cost 0.4 % of the error of 12 poles"));
}

TEST(FitReport, fewer_poles_than_were_asked_for_are_told) {
  FitOutcome outcome = corrected(1e-3, 1e-3);
  const auto order = [&] {
    const std::string text = fit_report(network_of(1), outcome);
    return text.substr(text.find("  order"), text.find("  passive") - text.find("  order"));
  };
  EXPECT_EQ(order(), "  order       3 poles (1 conjugate pair, 1 real)\n");
  outcome.first.order = 7;
  EXPECT_EQ(order(), "  order       3 poles (1 conjugate pair, 1 real); 7 made no better passive model\n");
  outcome.search_succeeded = true;  // no order was asked for
  EXPECT_EQ(fit_report(network_of(1), outcome).find("made no better"), std::string::npos);
}

TEST(FitReport, a_passive_model_that_does_not_follow_the_data_any_more_is_told_and_has_not_converged) {
  const std::string lost = "; it does not follow the data any more: the error was 0.001 before";
  EXPECT_FALSE(converged(corrected(1e-3, 0.31)));
  EXPECT_NE(passive_line(corrected(1e-3, 0.31)).find(lost), std::string::npos);
  EXPECT_TRUE(converged(corrected(1e-3, 0.29)));
  EXPECT_EQ(passive_line(corrected(1e-3, 0.29)).find("follow the data"), std::string::npos);
  EXPECT_TRUE(converged(corrected(0.05, 0.45)));  // little was lost
  EXPECT_FALSE(converged(corrected(0.05, 0.55)));
  FitOutcome searched = corrected(1e-3, 0.31);
  searched.search_succeeded = true;
  EXPECT_FALSE(converged(searched));
}

TEST(FitReport, a_given_order_that_costs_more_than_a_twentieth_is_told_to_be_no_good_choice) {
  const std::string better = "; a target (--error) or another order may do better";
  EXPECT_TRUE(passive_line(corrected(1e-3, 1.06e-3)).ends_with("; cost 6 % of the error" + better));
  EXPECT_TRUE(passive_line(corrected(1e-3, 1.04e-3)).ends_with("; cost 4 % of the error"));
  EXPECT_TRUE(passive_line(corrected(1e-14, 3e-9)).ends_with("; the error was 1e-14 before" + better));
  FitOutcome searched = corrected(1e-3, 1.06e-3);
  searched.search_succeeded = true;
  EXPECT_TRUE(passive_line(searched).ends_with("; cost 6 % of the error"));
}

TEST(FitReport, says_where_and_by_how_much_data_are_not_passive) {
  polefit::Network network = network_of(1);
  network.matrix = polefit::NetworkMatrix{.parameter = 'S', .references = {50.0}, .elements = {{1, 1}}};
  FitOutcome outcome = corrected(1e-3, 1e-3);
  outcome.active = {
      .passive = false, .extreme = 1.0625, .frequency = 2e9, .samples = 2, .lowest = 1e9, .highest = 2e9};
  const std::string data =
      "\n              the data are not passive: largest singular value 1.0625 at 2 GHz; 2 of 2 samples from "
      "1 GHz to 2 GHz are above 1 by more than 0.001";
  EXPECT_NE(fit_report(network, outcome).find(data + "\n"), std::string::npos);
  outcome.enforcement.reset();
  EXPECT_EQ(fit_report(network, outcome).find("the data"),
            std::string::npos);  // the model is passive by itself
  outcome.to_be_passive = outcome.passivity->passive = false;
  EXPECT_NE(fit_report(network, outcome).find(data + "; --passive corrects the model all the same\n"),
            std::string::npos);
  network.matrix->parameter = 'Z';
  outcome.active->extreme = -0.25;
  outcome.active->samples = 1;
  EXPECT_NE(fit_report(network, outcome)
                .find("least eigenvalue of the real part, over the matrix' norm, -0.25 at 2 GHz; 1 of 2 "
                      "samples is below 0 by more than 0.001;"),
            std::string::npos);
}

TEST(FitReport, a_model_that_was_to_be_passive_and_is_not_has_not_converged) {
  FitOutcome outcome = corrected(1e-3, 1e-3);
  EXPECT_TRUE(converged(outcome));
  outcome.passivity->passive = false;
  outcome.not_corrected = "because";
  EXPECT_FALSE(converged(outcome));
  EXPECT_TRUE(passive_line(outcome).ends_with("; not corrected: because"));
  outcome.to_be_passive = false;
  EXPECT_TRUE(converged(outcome));
  outcome.to_be_passive = true;
  outcome.passivity.reset();
  EXPECT_FALSE(converged(outcome));
}

TEST(FitReport, a_model_of_s_parameters_is_harmful_when_it_neither_fits_nor_stays_below_twice_the_data) {
  polefit::Network network = network_of(1);
  FitOutcome outcome = outcome_of(1);
  outcome.fit.report.relative_error = 0.02;
  outcome.fit.report.gain = 2.1;
  EXPECT_FALSE(harmful(outcome, network.matrix));  // of unknown kind
  network.matrix = polefit::NetworkMatrix{.parameter = 'S', .references = {50.0}, .elements = {{1, 1}}};
  EXPECT_TRUE(harmful(outcome, network.matrix));
  EXPECT_NE(fit_report(network, outcome).find("up to 2.1 times the largest value of the data"),
            std::string::npos);
  outcome.fit.report.gain = 1.9;
  EXPECT_FALSE(harmful(outcome, network.matrix));
  outcome.fit.report.gain = std::numeric_limits<double>::quiet_NaN();
  EXPECT_TRUE(harmful(outcome, network.matrix));
  outcome.fit.report.gain = 2.1;
  outcome.fit.report.relative_error = 0.009;
  EXPECT_FALSE(harmful(outcome, network.matrix));
  network.matrix->parameter = 'Z';
  outcome.fit.report.relative_error = 0.02;
  EXPECT_FALSE(harmful(outcome, network.matrix));
}

TEST(FitReport, the_line_of_a_search_tells_order_error_and_what_is_tried) {
  EXPECT_EQ(search_text({.order = 24, .error = 1.2e-5}), "searching   order 24   error 1.2e-05   relocating");
  EXPECT_EQ(search_text({.order = 24, .polishing = true, .error = 1.2e-5}),
            "searching   order 24   error 1.2e-05   polishing");
}

TEST(FitReport, a_model_of_given_order_that_does_not_follow_the_data_has_not_converged) {
  FitOutcome outcome = outcome_of(2);
  outcome.fit.report.relative_error = 0.3;
  EXPECT_TRUE(converged(outcome));
  EXPECT_EQ(fit_report(network_of(2), outcome).find("follow the data"), std::string::npos);
  for (const double error : {0.31, std::numeric_limits<double>::quiet_NaN()}) {
    outcome.fit.report.relative_error = error;
    EXPECT_FALSE(converged(outcome)) << error;
    EXPECT_NE(
        fit_report(network_of(2), outcome).find("  fit         it does not follow the data: the error is "),
        std::string::npos);
  }
}

TEST(FitReport, a_value_that_was_to_be_exact_and_is_not_is_told_by_text_and_status) {
  FitOutcome outcome = outcome_of(2);
  outcome.off_at_exact_sample = 1e-9;
  EXPECT_TRUE(converged(outcome));
  EXPECT_EQ(fit_report(network_of(2), outcome).find("not exact"), std::string::npos);
  for (const double off : {2e-6, std::numeric_limits<double>::infinity()}) {
    outcome.off_at_exact_sample = off;
    EXPECT_FALSE(converged(outcome));
    EXPECT_NE(fit_report(network_of(2), outcome).find("  0 Hz        not exact: "), std::string::npos);
  }
}

TEST(FitReport, a_target_that_is_named_decides_for_a_given_order) {
  FitOutcome outcome = outcome_of(2);
  outcome.fit.report.relative_error = 0.02;
  outcome.fit.report.worst_relative_error = 0.03;
  outcome.fit.report.largest_error = 0.4;
  const auto expect = [&](polefit::Measure measure, double error) {
    outcome.target = polefit::Target{.error = error, .measure = measure};
    outcome.fit.report.reason = polefit::StopReason::iteration_limit;  // which does not matter then
    EXPECT_TRUE(converged(outcome)) << error;
    EXPECT_NE(
        fit_report(network_of(2), outcome).find("  fit         target of " + short_number(error) + " met\n"),
        std::string::npos);
    outcome.target->error = std::nextafter(error, 0.0);
    outcome.fit.report.reason = polefit::StopReason::poles_settled;
    EXPECT_FALSE(converged(outcome)) << error;
    EXPECT_NE(fit_report(network_of(2), outcome).find(" not met: the error is "), std::string::npos);
  };
  expect(polefit::Measure::relative_rms, 0.02);
  expect(polefit::Measure::worst_response, 0.03);
  expect(polefit::Measure::largest_error, 0.4);
}

}  // namespace
