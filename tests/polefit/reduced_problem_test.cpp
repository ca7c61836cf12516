#include "polefit/data/reduced_problem.hpp"

#include <gtest/gtest.h>

#include "polefit/projection/projection.hpp"
#include "samples.hpp"

namespace polefit {
namespace {

using namespace test_networks;

Selection every_third(std::size_t samples) {
  Selection selection;
  for (std::size_t k = 0; k < samples; k += 3) {
    selection.samples.push_back(k);
    selection.weights.push_back(1.0 + static_cast<double>(k % 2));
  }
  return selection;
}

std::vector<double> some_weights(std::size_t count) {
  std::vector<double> weights;
  for (std::size_t k = 0; k < count; ++k) {
    weights.push_back(1.0 + static_cast<double>(k % 5));
  }
  return weights;
}

TEST(ReducedProblem, has_the_values_frequencies_and_weights_of_its_samples) {
  const NetworkKind kind{.pairs = 3, .responses = 4, .samples = 100, .constant = false, .proportional = true};
  const Network network = random_network(kind, 1);
  for (const std::size_t count : {std::size_t{0}, kind.samples, network.values.size()}) {
    NetworkData data = network.data();
    const std::vector<double> weights = some_weights(count);
    data.weights = weights;
    const Problem whole = make_problem(data, options_for(kind));
    const Combinations combinations = combine_responses(whole, 0.0);
    const Selection selection = every_third(100);
    const ReducedProblem reduced(whole, combinations, selection, 0.0);
    const Problem& part = reduced.problem();
    ASSERT_EQ(part.samples, 34U);
    ASSERT_EQ(part.responses, 4U);
    EXPECT_EQ(part.scale, whole.scale);
    EXPECT_EQ(part.constant, false);
    EXPECT_EQ(part.proportional, true);
    EXPECT_EQ(part.has_own_weights(), whole.has_own_weights());
    EXPECT_EQ(part.zeros, std::vector<double>(34));
    EXPECT_EQ(reduced.dropped(), 0.0);
    for (std::size_t i = 0; i < 34; ++i) {
      const std::size_t k = selection.samples[i];
      EXPECT_EQ(part.omega[i], whole.omega[k]);
      for (std::size_t r = 0; r < 4; ++r) {
        EXPECT_EQ(part.response_scale[r] * part.value(r, i), whole.response_scale[r] * whole.value(r, k));
        EXPECT_EQ(part.sample_weight(r, i), selection.weights[i] * whole.sample_weight(r, k));
      }
    }
  }
}

TEST(ReducedProblem, norm_is_that_of_its_weighted_values) {
  const Network network = random_network({.pairs = 3, .responses = 4, .samples = 100}, 2);
  const Problem whole = make_problem(network.data(), {});
  for (const double tail : {0.0, 1e-2}) {
    const ReducedProblem reduced(whole, combine_responses(whole, tail), every_third(100), 0.0);
    const Problem& part = reduced.problem();
    double sum = 0.0;
    ASSERT_EQ(part.power.size(), part.samples);
    for (std::size_t i = 0; i < part.samples; ++i) {
      double power = 0.0;
      for (std::size_t r = 0; r < part.responses; ++r) {
        power += std::norm(part.factor(r, i) * part.value(r, i));
      }
      EXPECT_NEAR(part.power[i], power, 4.0 * eps * power);
      sum += power;
    }
    EXPECT_NEAR(part.norm * part.norm, sum, static_cast<double>(part.samples) * eps * sum);
  }
}

TEST(ReducedProblem, drops_combinations_up_to_the_tail) {
  const Network network = random_network({.pairs = 4, .responses = 30, .samples = 80, .noise = 1e-4}, 3);
  const Problem whole = make_problem(network.data(), {});
  const Combinations combinations = combine_responses(whole, 1e-6);
  const Selection all{counted(80), std::vector<double>(80, 1.0), true};
  double last = -1.0;
  for (const double tail : {0.0, 1e-4, 1e-2, 0.1, 0.5}) {
    const ReducedProblem reduced(whole, combinations, all, tail);
    const Problem& part = reduced.problem();
    EXPECT_LE(reduced.dropped(), std::max(tail, combinations.dropped / whole.norm));
    EXPECT_GE(reduced.dropped(), last);
    last = reduced.dropped();
    // One more would be too many.
    if (part.responses > 1) {
      EXPECT_GT(std::hypot(reduced.dropped(), combinations.norms[part.responses - 1] / whole.norm), tail);
    }
    // Nothing else is lost: the products of 30 responses of 80 samples are rounded.
    const double lost = reduced.dropped() * whole.norm;
    EXPECT_NEAR(part.norm * part.norm + lost * lost, whole.norm * whole.norm,
                190.0 * eps * whole.norm * whole.norm);
  }
  EXPECT_EQ(ReducedProblem(whole, combinations, all, 2.0).problem().responses, 1U);
}

TEST(ReducedProblem, keeps_all_responses_that_have_weights_of_their_own) {
  const Network network = random_network({.pairs = 3, .responses = 4, .samples = 50}, 4);
  NetworkData data = network.data();
  const std::vector<double> weights = some_weights(network.values.size());
  data.weights = weights;
  const Problem whole = make_problem(data, {});
  EXPECT_EQ(ReducedProblem(whole, combine_responses(whole, 0.5), every_third(50), 0.9).problem().responses,
            4U);
}

TEST(ReducedProblem, has_the_poles_of_the_whole) {
  const NetworkKind kind{.pairs = 5, .real_poles = 1, .responses = 12, .samples = 6000};
  const Network network = random_network(kind, 5);
  for (const std::size_t count : {std::size_t{0}, network.values.size()}) {
    NetworkData data = network.data();
    const std::vector<double> weights = some_weights(count);
    data.weights = weights;
    const Problem whole = make_problem(data, options_for(kind));
    const Combinations combinations = combine_responses(whole, 1e-6);
    const Selection selection = select_samples(whole, combinations, by_frequency(whole), {}, 0);
    ASSERT_FALSE(selection.all);
    const ReducedProblem reduced(whole, combinations, selection, 0.0);
    RandomNumbers numbers(5);
    Poles poles = disturbed_poles(network, whole, 0.0, numbers);
    // Combinations of twelve responses whose products were rounded: root of n eps of the data at most.
    EXPECT_LE(Projection(reduced.problem(), poles, 1e-14).error(), std::sqrt(12012.0 * eps));
    // A pole that is off by a part of its width leaves more than that; about as much as on all samples, for
    // which the fewer stand.
    poles[0] *= 1.01;
    poles[1] = std::conj(poles[0]);
    const double of_all = Projection(whole, poles, 1e-14).error();
    EXPECT_GT(of_all, 1e-4);
    EXPECT_NEAR(Projection(reduced.problem(), poles, 1e-14).error() / of_all, 1.0, 0.1);
  }
}

}  // namespace
}  // namespace polefit
