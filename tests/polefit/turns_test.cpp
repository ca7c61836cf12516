#include "polefit/data/turns.hpp"

#include <gtest/gtest.h>

#include "samples.hpp"

namespace polefit {
namespace {

using namespace test_networks;

constexpr std::size_t samples = 501;

/// exp(-j phi) with phi from 0 to so many turns over the samples.
std::vector<Complex> turning(double turns) {
  std::vector<Complex> values;
  for (std::size_t k = 0; k < samples; ++k) {
    values.push_back(std::polar(1.0, -numerics::two_pi * turns * static_cast<double>(k) / (samples - 1)));
  }
  return values;
}

std::vector<Complex> joined(std::vector<Complex> first, const std::vector<Complex>& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

Turns turns_in(std::vector<Complex> values, const std::vector<double>& noise) {
  const Network network = network_of(even_frequencies(samples, 1.0, 3.0), std::move(values));
  const Problem problem = make_problem(network.data(), {});
  return turns_of(problem, by_frequency(problem), noise);
}

TEST(Turns, a_delay_is_counted_by_its_turns) {
  for (const double turns : {0.25, 1.0, 7.5, 70.0, 200.0}) {
    const Turns found = turns_in(turning(turns), {0.0});
    // An angle of up to 1257 is good to eps of it, and so is each of 500 steps: 1e-12 each at most.
    EXPECT_NEAR(found.most, turns, 1e-9);
    EXPECT_NEAR(found.degrees_a_sample, 360.0 * turns / (samples - 1), 1e-9);
  }
}

TEST(Turns, the_sign_of_a_delay_does_not_matter) {
  EXPECT_NEAR(turns_in(turning(-12.0), {0.0}).most, 12.0, 1e-9);
}

TEST(Turns, those_of_the_response_that_turns_most_count_and_the_phase_has_a_sign) {
  const Turns found = turns_in(joined(turning(3.0), turning(-12.0)), {0.0, 0.0});
  EXPECT_NEAR(found.most, 12.0, 1e-9);
  EXPECT_NEAR(found.degrees_a_sample, -360.0 * 12.0 / (samples - 1), 1e-9);
}

TEST(Turns, a_response_that_is_mostly_noise_is_left_out) {
  const std::vector<Complex> both = joined(turning(3.0), turning(12.0));
  EXPECT_NEAR(turns_in(both, {0.0, 0.5}).most, 3.0, 1e-9);
  EXPECT_NEAR(turns_in(both, {0.0, 0.1}).most, 12.0, 1e-9);
  EXPECT_EQ(turns_in(both, {0.5, 0.5}).most, 0.0);
}

TEST(Turns, steps_of_noise_cancel) {
  RandomNumbers numbers(1);
  // A step of the delay is 1.4 degrees, one of the noise three times that.
  std::vector<Complex> values = turning(2.0);
  for (Complex& value : values) {
    value += 0.05 * white_noise(numbers);
  }
  // Of all steps the ends alone are left, each off by 0.05 / 2 pi turns in the mean; ten times that.
  EXPECT_NEAR(turns_in(values, {0.05}).most, 2.0, 0.16);
}

TEST(Turns, a_zero_takes_its_two_steps_only) {
  // Beside samples in every quadrant, for which products with 0 have zeros of either sign.
  std::vector<Complex> values = turning(20.0);
  for (const std::size_t k : {103U, 109U, 115U, 121U}) {
    values[k] = 0.0;
  }
  EXPECT_NEAR(turns_in(values, {0.0}).most, 20.0 * (1.0 - 8.0 / (samples - 1)), 1e-9);
  EXPECT_NEAR(turns_in(joined(std::vector<Complex>(samples), turning(2.0)), {0.0, 0.0}).most, 2.0, 1e-9);
}

TEST(Turns, are_of_samples_by_frequency_wherever_they_stand) {
  RandomNumbers numbers(2);
  const std::vector<std::size_t> places = shuffled(samples, numbers);
  const std::vector<double> frequencies = even_frequencies(samples, 1.0, 3.0);
  const std::vector<Complex> values = turning(9.0);
  Network network;
  for (const std::size_t place : places) {
    network.frequencies.push_back(frequencies[place]);
    network.values.push_back(values[place]);
  }
  network.model.constants.resize(1);
  network.model.proportionals.resize(1);
  const Problem problem = make_problem(network.data(), {});
  EXPECT_NEAR(turns_of(problem, by_frequency(problem), {0.0}).most, 9.0, 1e-9);
}

TEST(Turns, do_not_hang_on_the_size_of_the_response) {
  for (const double factor : {0x1p-900, 0x1p-600, 0x1p600, 0x1p900}) {
    std::vector<Complex> values = turning(5.0);
    for (Complex& value : values) {
      value *= factor;
    }
    EXPECT_NEAR(turns_in(values, {0.0}).most, 5.0, 1e-9) << factor;
  }
}

}  // namespace
}  // namespace polefit
