#include "hard_networks.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <ostream>
#include <string>
#include <vector>

#include "polefit/order_search.hpp"
#include "support.hpp"

namespace polefit {
namespace {

using hard_networks::made;
using testing_support::address_space_is_ours;

/// What a search with the target 1e-3 has to make of a network.
struct Expected {
  const char* name;
  std::size_t most_poles;
  double error;
  std::vector<SearchEnd> ends;
};

void PrintTo(const Expected& expected, std::ostream* out) { *out << expected.name; }

class HardNetwork : public ::testing::TestWithParam<Expected> {};

TEST_P(HardNetwork, gets_few_poles_a_small_error_and_the_true_reason) {
  const Expected& expected = GetParam();
  const Network network = made(expected.name).network;
  const Search search = fit_to_error(network, {.error = 1e-3});
  EXPECT_LE(search.fit.model.poles.size(), expected.most_poles);
  EXPECT_LE(search.error, expected.error);
  EXPECT_NE(std::find(expected.ends.begin(), expected.ends.end(), search.end), expected.ends.end())
      << search.fit.report.finding;
  // Between and beyond the samples it stays where the data are: 6 dB, but for data that are advanced.
  EXPECT_LE(search.fit.report.gain, expected.name == std::string("advance") ? 4.0 : 2.0);
  for (const std::complex<double> pole : search.fit.model.poles) {
    EXPECT_LT(pole.real(), 0.0);
  }
}

TEST_P(HardNetwork, has_no_two_pairs_that_are_one) {
  const Search search = fit_to_error(made(GetParam().name).network, {.error = 1e-3});
  const std::vector<std::complex<double>>& poles = search.fit.model.poles;
  for (std::size_t i = 0; i < poles.size(); ++i) {
    for (std::size_t j = i + 1; j < poles.size(); ++j) {
      EXPECT_GE(std::abs(poles[i] - poles[j]), 1e-3 * std::abs(poles[i].real())) << poles[i] << poles[j];
    }
  }
}

TEST_P(HardNetwork, has_the_same_model_with_any_number_of_threads) {
  const Network network = made(GetParam().name).network;
  const Search alone = fit_to_error(network, {.error = 1e-3});
  Options options;
  options.threads = 8;
  const Search together = fit_to_error(network, {.error = 1e-3}, options);
  EXPECT_EQ(alone.fit.model.poles, together.fit.model.poles);
  EXPECT_EQ(alone.fit.model.residues, together.fit.model.residues);
  EXPECT_EQ(alone.end, together.end);
}

TEST_P(HardNetwork, is_fitted_as_well_as_by_orthogonal_relocations) {
  if (!address_space_is_ours) {
    GTEST_SKIP() << "takes minutes under the sanitizers";
  }
  const Network network = made(GetParam().name).network;
  Options options;
  options.orthogonal = true;
  const double expected = fit_to_error(network, {.error = 1e-3}, options).error;
  // Below the target nothing more is asked for.
  EXPECT_LE(fit_to_error(network, {.error = 1e-3}).error, 1.05 * std::max(expected, 1e-3 / 1.05));
}

using enum SearchEnd;

// Orders: twice the number of pairs in the recipe, where there are any; where the data are no finite number
// of poles, what the search came to when it was written and a pair more. Errors: the target, or the noise of
// the recipe with a tenth more.
INSTANTIATE_TEST_SUITE_P(
    Search, HardNetwork,
    ::testing::Values(Expected{"weak", 16, 4.4e-3, {met_to_noise}},
                      Expected{"noise4", 40, 1.1e-3, {target_met, met_to_noise}},
                      Expected{"coloured", 20, 3.3e-3, {no_gain, noise, met_to_noise}},
                      Expected{"advance", 28, 1e-3, {target_met}},
                      Expected{"dispersion", 39, 1e-3, {target_met}},
                      Expected{"line8", 42, 1e-3, {target_met}},
                      // The ripple is one per cent, and turns a hundred times as fast as the rest.
                      Expected{"ripple", 8, 1.1e-2, {no_gain}}, Expected{"highq", 24, 1e-3, {target_met}},
                      Expected{"skin", 3, 1e-3, {target_met}}, Expected{"port16", 60, 1e-3, {target_met}},
                      Expected{"thru", 8, 1.4e-3, {target_met, met_to_noise}},
                      // Of what it follows, nothing can be said but that the phase runs forward.
                      Expected{"coarse", 100, 1.0, {not_causal}}),
    [](const auto& tested) { return tested.param.name; });

class SizedNetwork : public ::testing::TestWithParam<const char*> {};

TEST_P(SizedNetwork, gets_exactly_the_order_it_has) {
  const char size = *GetParam();
  if (!address_space_is_ours && (size == 'b' || size == 'c' || size == 'e')) {
    GTEST_SKIP() << "takes minutes under the sanitizers";
  }
  const hard_networks::HardNetwork network = made(GetParam());
  const Search search = fit_to_error(network.network, {.error = 1e-3});
  EXPECT_EQ(search.fit.model.poles.size(), network.poles.size());
  EXPECT_TRUE(succeeded(search)) << search.fit.report.finding;
  EXPECT_LE(search.error, 1.1e-3);
}

INSTANTIATE_TEST_SUITE_P(Search, SizedNetwork,
                         ::testing::Values("a", "b", "c", "d", "e", "a_noise", "b_noise", "c_noise",
                                           "d_noise", "e_noise"),
                         [](const auto& tested) { return std::string(tested.param); });

TEST(LongChannel, gets_a_limit_on_the_order_that_its_turns_can_be_followed_with) {
  if (!address_space_is_ours) {
    GTEST_SKIP() << "takes minutes under the sanitizers";
  }
  const Network network = made("long70").network;
  const Search search = fit_to_error(network, {.error = 1e-3});
  EXPECT_EQ(search.end, SearchEnd::target_met);
  EXPECT_LE(search.fit.model.poles.size(), 315U);
  EXPECT_NEAR(search.findings.turns, 70.0, 1.0);
}

TEST(LongChannel, is_told_how_many_poles_it_takes_where_the_limit_is_too_low) {
  const Search search = fit_to_error(made("long70").network, {.error = 1e-3, .most_poles = 64});
  EXPECT_EQ(search.end, SearchEnd::most_poles);
  EXPECT_NE(
      search.fit.report.finding.find("the limit of 64 poles is reached; the data turn 70 times, which takes "
                                     "140 poles at least"),
      std::string::npos)
      << search.fit.report.finding;
  EXPECT_LE(search.fit.report.gain, 2.0);
}

}  // namespace
}  // namespace polefit
