#include <gtest/gtest.h>

#include "polefit/data/facts.hpp"
#include "samples.hpp"

namespace polefit {
namespace {

using namespace test_networks;

/// Two responses, the second with ten times the noise of the first.
Network noisy_network() {
  constexpr std::size_t samples = 2000;
  Network network = random_network({.pairs = 3, .responses = 2, .samples = samples}, 1);
  RandomNumbers numbers(1);
  for (std::size_t r = 0; r < 2; ++r) {
    double squares = 0.0;
    for (std::size_t k = 0; k < samples; ++k) {
      squares += std::norm(network.values[r * samples + k]);
    }
    const double rms = std::sqrt(squares / samples);
    for (std::size_t k = 0; k < samples; ++k) {
      network.values[r * samples + k] += (r == 0 ? 1e-3 : 1e-2) * rms * white_noise(numbers);
    }
  }
  return network;
}

TEST(DataFacts, noise_is_relative_to_each_response_and_to_all) {
  const Network network = noisy_network();
  const Problem problem = make_problem(network.data(), {});
  const DataFacts facts = facts_of(problem);
  ASSERT_EQ(facts.noise.size(), 2U);
  // Medians of 2000 windows of up to eight samples vary by 3 per cent; five times that.
  EXPECT_NEAR(facts.noise[0] / 1e-3, 1.0, 0.15);
  EXPECT_NEAR(facts.noise[1] / 1e-2, 1.0, 0.15);
  // A response counts by the inverse root of its norm, so that the square of the weighted one is its norm.
  double squares = 0.0;
  double all = 0.0;
  for (std::size_t r = 0; r < 2; ++r) {
    double norm = 0.0;
    for (std::size_t k = 0; k < problem.samples; ++k) {
      norm += std::norm(problem.value(r, k));
    }
    squares += std::sqrt(norm) * facts.noise[r] * facts.noise[r];
    all += std::sqrt(norm);
  }
  EXPECT_NEAR(facts.floor, std::sqrt(squares / all), 1e-9 * facts.floor);  // sums of 2000 terms
}

TEST(DataFacts, do_not_hang_on_the_size_of_the_data) {
  const Network network = noisy_network();
  const DataFacts expected = facts_of(make_problem(network.data(), {}));
  for (const int exponent : {-900, -600, 600, 900}) {
    Network scaled = network;
    for (Complex& value : scaled.values) {
      value *= std::ldexp(1.0, exponent);
    }
    const DataFacts facts = facts_of(make_problem(scaled.data(), {}));
    EXPECT_EQ(facts.noise, expected.noise) << exponent;
    EXPECT_EQ(facts.floor, expected.floor) << exponent;  // even powers, of which roots are exact
    EXPECT_EQ(facts.turns.most, expected.turns.most) << exponent;
  }
}

TEST(DataFacts, noise_of_a_response_does_not_hang_on_its_weights) {
  const Network network = noisy_network();
  const DataFacts expected = facts_of(make_problem(network.data(), {}));
  std::vector<double> weights(network.values.size(), 1.0);
  std::fill(weights.begin() + 2000, weights.end(), 0x1p-900);
  NetworkData data = network.data();
  data.weights = weights;
  EXPECT_EQ(facts_of(make_problem(data, {})).noise, expected.noise);
}

}  // namespace
}  // namespace polefit
