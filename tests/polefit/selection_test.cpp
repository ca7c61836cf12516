#include "polefit/data/selection.hpp"

#include <gtest/gtest.h>

#include <numbers>

#include "samples.hpp"

namespace polefit {
namespace {

using namespace test_networks;

constexpr std::size_t samples = 20001;

/// A network, its problem, and what is selected of it.
struct Case {
  explicit Case(Network made, const std::vector<double>& weights = {}) : network(std::move(made)) {
    NetworkData data = network.data();
    data.weights = weights;
    problem = make_problem(data, {});
    combinations = combine_responses(problem, 0.0);
    order = by_frequency(problem);
  }
  Case(const Case&) = delete;
  Case& operator=(const Case&) = delete;

  Selection selected(std::size_t least = 0, const std::vector<double>& residual = {}) const {
    return select_samples(problem, combinations, order, residual, least);
  }

  Network network;
  Problem problem;
  Combinations combinations;
  std::vector<std::size_t> order;
};

/// One resonance of half width 1e-3 at 1.5 in the band 1..2, alone.
constexpr double resonance = 1.5;
constexpr double half_width = 1e-3;
Network narrow(std::size_t count) {
  const std::vector<double> frequencies = even_frequencies(count, 1.0, 2.0);
  std::vector<Complex> values;
  for (const double frequency : frequencies) {
    values.push_back(half_width / Complex(half_width, frequency - resonance));
  }
  return network_of(frequencies, values);
}

/// A slow response that turns a quarter.
Network calm(std::size_t count) {
  const std::vector<double> frequencies = even_frequencies(count, 1.0, 2.0);
  std::vector<Complex> values;
  for (const double frequency : frequencies) {
    values.push_back(1.0 / Complex(1.0, frequency));
  }
  return network_of(frequencies, values);
}

std::size_t samples_between(const Selection& selection, const Network& network, double low, double high) {
  std::size_t count = 0;
  for (const std::size_t k : selection.samples) {
    count += network.frequencies[k] > low && network.frequencies[k] < high ? 1 : 0;
  }
  return count;
}

/// By frequency, both ends, each once, the squares of the weights as many as there are samples.
void expect_sound(const Selection& selection, const Case& of) {
  ASSERT_FALSE(selection.samples.empty());
  ASSERT_EQ(selection.samples.size(), selection.weights.size());
  EXPECT_EQ(selection.samples.front(), of.order.front());
  EXPECT_EQ(selection.samples.back(), of.order.back());
  double squares = 0.0;
  for (std::size_t i = 0; i < selection.samples.size(); ++i) {
    if (i > 0) {
      EXPECT_LT(of.problem.omega[selection.samples[i - 1]], of.problem.omega[selection.samples[i]]);
    }
    EXPECT_GT(selection.weights[i], 0.0);
    squares += selection.weights[i] * selection.weights[i];
  }
  // Each square is rounded by eps of it, and so is each sum.
  const auto all = static_cast<double>(of.order.size());
  EXPECT_NEAR(squares, all, static_cast<double>(selection.samples.size()) * eps * all);
}

TEST(Selection, has_both_ends_by_frequency_and_weights_for_all_samples) {
  const Case quiet(calm(samples));
  expect_sound(quiet.selected(), quiet);
  const Case sharp(narrow(samples));
  expect_sound(sharp.selected(), sharp);
  expect_sound(sharp.selected(5000), sharp);
  const Case few(calm(300));
  expect_sound(few.selected(), few);

  RandomNumbers numbers(1);
  const std::vector<std::size_t> places = shuffled(samples, numbers);
  Network mixed = sharp.network;
  for (std::size_t k = 0; k < samples; ++k) {
    mixed.frequencies[k] = sharp.network.frequencies[places[k]];
    mixed.values[k] = sharp.network.values[places[k]];
  }
  const Case unordered(std::move(mixed));
  expect_sound(unordered.selected(), unordered);
}

TEST(Selection, weights_are_those_of_the_samples_nearest) {
  const Case sharp(narrow(samples));
  const Selection selection = sharp.selected();
  for (std::size_t i = 1; i + 1 < selection.samples.size(); ++i) {
    // Half of the samples between it and each neighbour, in an order of samples that is that of frequencies.
    const auto between = static_cast<double>(selection.samples[i + 1] - selection.samples[i - 1]);
    EXPECT_NEAR(selection.weights[i] * selection.weights[i], 0.5 * between, 2.0 * eps * between);
  }
}

TEST(Selection, of_few_samples_is_all_of_them) {
  // A calm curve wants the fewest, 400; a third more is not worth it.
  const Case few(calm(520));
  const Selection all = few.selected();
  EXPECT_TRUE(all.all);
  EXPECT_EQ(all.samples, few.order);
  EXPECT_EQ(all.weights, std::vector<double>(520, 1.0));
  const Case more(calm(521));
  EXPECT_FALSE(more.selected().all);
  EXPECT_EQ(more.selected().samples.size(), 400U);
}

TEST(Selection, has_as_many_samples_as_are_wanted_at_least) {
  const Case sharp(narrow(samples));
  EXPECT_LT(sharp.selected().samples.size(), 3001U);
  EXPECT_EQ(sharp.selected(5000).samples.size(), 5000U);
  EXPECT_TRUE(sharp.selected(samples).all);
}

TEST(Selection, follows_a_curve_the_longer_it_is) {
  // Ten turns are 20 pi of its size: an eighth each are 503 samples, of which the phase takes as many.
  std::vector<Complex> values;
  for (std::size_t k = 0; k < samples; ++k) {
    values.push_back(std::polar(1.0, numerics::two_pi * 10.0 * static_cast<double>(k) / (samples - 1)));
  }
  const Case turning(network_of(even_frequencies(samples, 1.0, 2.0), values));
  const double wanted = 20.0 * std::numbers::pi * 8.0;
  // Chords of 4000 points instead of arcs are shorter by 1e-5; the number is whole.
  EXPECT_NEAR(static_cast<double>(turning.selected().samples.size()), wanted, 1.0);
}

TEST(Selection, has_more_samples_on_a_narrow_resonance_than_even_spacing) {
  const Case sharp(narrow(samples));
  const Selection selection = sharp.selected();
  ASSERT_FALSE(selection.all);
  const double reach = 10.0 * half_width;
  const auto found =
      static_cast<double>(samples_between(selection, sharp.network, resonance - reach, resonance + reach));
  const auto count = static_cast<double>(selection.samples.size());
  // Half of them by the length of the curve, a circle of which 2 / pi arctan 10 = 0.94 lies in the reach.
  EXPECT_GE(found, 0.45 * count);
  // Half of them evenly: outside of the reach, which has a part of 0.02 of the band.
  EXPECT_GE(count - found, 0.45 * count);
}

TEST(Selection, has_more_samples_where_a_residual_is) {
  const Case quiet(calm(samples));
  std::vector<double> residual(samples);
  std::fill_n(residual.begin() + 4000, 2000, 1.0);
  const Selection selection = quiet.selected(0, residual);
  expect_sound(selection, quiet);
  const auto found = static_cast<double>(samples_between(selection, quiet.network, 1.2, 1.3));
  const auto count = static_cast<double>(selection.samples.size());
  EXPECT_GE(found, 0.39 * count);  // two fifths by the residual alone
  EXPECT_LE(found, 0.6 * count);
  // A residual of zeros attracts nothing.
  expect_sound(quiet.selected(0, std::vector<double>(samples)), quiet);
}

TEST(Selection, looks_at_weighted_data) {
  // The resonance has no weight: what is left is calm.
  std::vector<double> weights;
  const Network network = narrow(samples);
  for (const double frequency : network.frequencies) {
    weights.push_back(std::abs(frequency - resonance) < 20.0 * half_width ? 0.0 : 1.0);
  }
  const Case sharp(network, weights);
  const double reach = 10.0 * half_width;
  const Selection selection = sharp.selected();
  const auto found =
      static_cast<double>(samples_between(selection, sharp.network, resonance - reach, resonance + reach));
  // Half of the samples are spread evenly over the band, the reach being 0.02 of it; steps of 0 attract none.
  EXPECT_LE(found, 0.02 * 0.5 * static_cast<double>(selection.samples.size()) + 1.0);
}

}  // namespace
}  // namespace polefit
