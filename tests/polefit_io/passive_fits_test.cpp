/// Fits of networks made passive: what is taken over from them, and how they end.

#include <gtest/gtest.h>

#include <algorithm>
#include <complex>
#include <functional>
#include <string>
#include <vector>

#include "polefit/error.hpp"
#include "polefit/network.hpp"
#include "polefit/passive_networks.hpp"

namespace {

using namespace polefit;
using passive_networks::Kind;

/// Of S whose models exceed 1.
Network violating() {
  Network network = passive_networks::passive_network(Kind::ladder, 4, 2, 150, 'S');
  network.file = "net.s2p";
  return network;
}

Network amplified(Network network) {
  for (std::complex<double>& value : network.values) {
    value *= 1.25;
  }
  return network;
}

Fit plain_fit(const Network& network, std::span<const double> weights = {}) {
  Options options;
  options.complex_pairs = 4;
  return fit(network, options, weights);
}

void expect_error(ErrorKind kind, const std::string& sentence, const std::function<void()>& action) {
  try {
    action();
    ADD_FAILURE() << "no error, expected: " << sentence;
  } catch (const Error& error) {
    EXPECT_EQ(error.kind(), kind);
    EXPECT_EQ(std::string(error.what()), sentence);
  }
}

TEST(PassiveFits, a_model_made_passive_for_a_network_is_that_for_its_data_with_a_record) {
  const Network network = violating();
  const std::vector<double> weights(network.frequencies.size(), 2.0);
  const Model model = plain_fit(network, weights).model;
  ASSERT_FALSE(passivity(model).passive);
  NetworkData data = network.data();
  data.weights = weights;
  const Enforcement found = enforce_passivity(model, network, {.most_rounds = 50}, weights);
  EXPECT_EQ(found.model.residues, enforce_passivity(model, data, {.most_rounds = 50}).model.residues);
  ASSERT_TRUE(found.model.passivity);
  EXPECT_TRUE(found.model.passivity->passive);
  EXPECT_EQ(found.model.passivity->extreme, found.report.passivity.extreme);
}

TEST(PassiveFits, the_report_of_a_fit_made_passive_is_that_of_its_model) {
  const Network network = violating();
  const Fit plain = plain_fit(network);
  const PassiveFit passive = made_passive(plain, network);
  EXPECT_NE(passive.enforcement.remedy, Remedy::none);
  const std::vector<ResponseError> expected = errors(passive.fit.model, network.data());
  double largest = 0.0;
  for (const ResponseError& error : expected) {
    largest = std::max(largest, error.largest);
  }
  EXPECT_EQ(passive.fit.report.largest_error, largest);
  EXPECT_NE(passive.fit.report.largest_error, plain.report.largest_error);
  EXPECT_EQ(passive.fit.model.origin->errors[0].rms, expected[0].rms);
  const auto modulus = [](std::complex<double> a, std::complex<double> b) {
    return std::abs(a) < std::abs(b);
  };
  const double data = std::abs(*std::max_element(network.values.begin(), network.values.end(), modulus));
  // One rounding of the modulus and one of the quotient each.
  EXPECT_NEAR(passive.fit.report.gain, largest_gain(passive.fit.model).largest / data, 1e-15 * 4);
  EXPECT_TRUE(passive.fit.model.passivity->passive);
  EXPECT_EQ(passive.fit.report.iterations, plain.report.iterations);
}

TEST(PassiveFits, a_search_that_found_a_passive_model_is_the_result_and_nothing_is_fitted_again) {
  const Network network = passive_networks::passive_network(Kind::ladder, 9, 2, 150, 'S');
  Options options;
  const Search plain = fit_to_error(network, {}, options);
  ASSERT_TRUE(passivity(plain.fit.model).passive);
  int calls = 0;
  options.progress = [&](const Progress&) {
    ++calls;
    return true;
  };
  const PassiveSearch passive = made_passive(plain, network, {}, options);
  EXPECT_EQ(calls, 0);
  EXPECT_EQ(passive.search.fit.model.residues, plain.fit.model.residues);
  EXPECT_EQ(passive.search.end, plain.end);
  EXPECT_EQ(passive.search.fit.report.finding, plain.fit.report.finding);
  EXPECT_EQ(passive.search.steps.size(), plain.steps.size());
  EXPECT_EQ(passive.enforcement.remedy, Remedy::none);
  EXPECT_TRUE(passive.search.fit.model.passivity->passive);
}

TEST(PassiveFits, a_passive_search_is_the_plain_one_and_what_is_made_of_it) {
  const Network network = violating();
  const Search plain = fit_to_error(network, {});
  const PassiveSearch made = made_passive(plain, network, {});
  const PassiveSearch found = fit_to_error_passively(network, {});
  EXPECT_EQ(found.search.fit.model.residues, made.search.fit.model.residues);
  EXPECT_EQ(found.search.end, SearchEnd::target_met);
  EXPECT_LE(found.search.error, 1e-3);
  EXPECT_TRUE(passivity(found.search.fit.model).passive);
  EXPECT_EQ(found.search.fit.report.finding, "target of 0.001 met");
}

TEST(PassiveFits, a_target_that_no_passive_model_meets_is_lost_after_other_orders_were_tried) {
  const Network network = amplified(violating());
  const Search plain = fit_to_error(network, {});
  ASSERT_EQ(plain.end, SearchEnd::target_met);
  const PassiveSearch passive = made_passive(plain, network, {});
  EXPECT_EQ(passive.search.end, SearchEnd::lost_to_passivity);
  EXPECT_FALSE(succeeded(passive.search));
  EXPECT_GT(passive.search.error, 1e-3);
  EXPECT_EQ(passive.search.error, passive.search.fit.report.relative_error);
  EXPECT_EQ(passive.search.fit.report.finding,
            "target of 0.001 not met: it was met before the model was made passive");
  EXPECT_EQ(passive.search.fit.model.origin->finding, passive.search.fit.report.finding);
  EXPECT_GT(passive.search.steps.size(), plain.steps.size());
  EXPECT_TRUE(passivity(passive.search.fit.model).passive);
}

TEST(PassiveFits, a_search_that_is_ended_ends_with_a_passive_model) {
  const Network network = amplified(violating());
  Options options;
  const Search plain = fit_to_error(network, {}, options);
  options.progress = [](const Progress&) { return false; };
  const PassiveSearch passive = made_passive(plain, network, {}, options);
  EXPECT_EQ(passive.search.end, SearchEnd::cancelled);
  EXPECT_EQ(passive.search.fit.report.finding, "cancelled");
  EXPECT_TRUE(passivity(passive.search.fit.model).passive);
}

TEST(PassiveFits, what_was_met_to_the_noise_stays_so_while_the_error_is_hardly_larger) {
  Network network = passive_networks::passive_network(Kind::resonators, 1, 2, 150, 'S');
  passive_networks::add_noise(network, 1e-3, 1);
  const Search plain = fit_to_error(network, {});
  ASSERT_EQ(plain.end, SearchEnd::met_to_noise);
  ASSERT_FALSE(passivity(plain.fit.model).passive);
  const PassiveSearch passive = made_passive(plain, network, {});
  EXPECT_GT(passive.search.error, plain.error);
  EXPECT_LE(passive.search.error, 1.05 * plain.error);
  EXPECT_EQ(passive.search.end, SearchEnd::met_to_noise);
}

TEST(PassiveFits, what_one_response_has_of_noise_does_not_let_the_others_suffer) {
  Network network = passive_networks::passive_network(Kind::resonators, 1, 2, 150, 'S');
  passive_networks::add_noise(network, 1e-3, 1);
  const PassiveSearch passive = fit_to_error_passively(network, {});
  ASSERT_NE(passive.enforcement.remedy, Remedy::none);
  for (std::size_t r = 0; r < 4; ++r) {
    // Each of four responses is at most at what it is allowed, and together they get 5 per cent worse: the
    // square of one of them by at most 4 (1.05^2 - 1) of that square.
    const double allowed = std::max(1e-3, 1.1 * passive.search.findings.noise[r]);
    EXPECT_LE(passive.search.fit.report.errors[r].relative, 1.19 * allowed) << r;
  }
}

TEST(PassiveFits, a_search_of_other_data_is_refused) {
  const std::string sentence = "net.s2p: the search is not one of these data";
  expect_error(ErrorKind::bad_shape, sentence, [] { made_passive(Search{}, violating(), {}); });
  Search found = fit_to_error(violating(), {});
  found.findings.noise.pop_back();
  expect_error(ErrorKind::bad_shape, sentence, [&] { made_passive(found, violating(), {}); });
}

TEST(PassiveFits, poles_that_need_not_be_stable_are_refused) {
  const Network network = violating();
  Options options;
  options.stable = false;
  const std::string sentence = "net.s2p: a model with poles that need not be stable cannot be made passive";
  expect_error(ErrorKind::bad_option, sentence, [&] { fit_to_error_passively(network, {}, options); });
  expect_error(ErrorKind::bad_option, sentence, [&] { made_passive(Search{}, network, {}, options); });
}

TEST(PassiveFits, what_is_no_whole_matrix_or_no_model_of_it_is_refused_in_the_name_of_the_file) {
  const Network network = violating();
  const Fit plain = plain_fit(network);
  const std::vector<std::string> some{"S11", "S12", "S22"};
  const Network part = select_responses(network, some);
  const std::string lack = "net.s2p: the network has not all elements of a matrix of 2 ports; S21 is missing";
  expect_error(ErrorKind::bad_shape, lack, [&] { fit_to_error_passively(part, {}); });
  expect_error(ErrorKind::bad_shape, lack, [&] { made_passive(Search{}, part, {}); });
  expect_error(ErrorKind::bad_shape, lack, [&] { made_passive(plain, part); });
  expect_error(ErrorKind::bad_shape, lack, [&] { enforce_passivity(plain.model, part); });
  expect_error(ErrorKind::bad_shape, lack, [&] { sampled_passivity(part); });
  Model transposed = plain.model;
  std::swap(transposed.network->elements[1], transposed.network->elements[2]);
  Model admittance = plain.model;
  admittance.network->parameter = 'Y';
  for (const Model& other : {transposed, admittance}) {
    expect_error(ErrorKind::bad_shape,
                 "net.s2p: the model is not one of the network's S parameters, in their order",
                 [&] { enforce_passivity(other, network); });
  }
}

TEST(PassiveFits, the_samples_of_a_network_are_judged_as_its_data_are) {
  EXPECT_TRUE(sampled_passivity(violating()).passive);
  const Network network = amplified(violating());
  const SampledPassivity found = sampled_passivity(network);
  EXPECT_FALSE(found.passive);
  EXPECT_EQ(found.extreme, sampled_passivity(network.data(), *network.matrix).extreme);
  EXPECT_TRUE(sampled_passivity(network, {1.0, 1.0, 1.0, 1.0}).passive);  // lost in noise
}

}  // namespace
