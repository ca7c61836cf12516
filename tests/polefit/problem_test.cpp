#include "polefit/problem/problem.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "networks.hpp"
#include "polefit/weights.hpp"

namespace polefit {
namespace {

using namespace test_networks;

/// A 3-port with elements (1,1), (1,2), ..., of which those across the diagonal are equal.
Network reciprocal_network(std::uint64_t seed) {
  const NetworkKind kind{.pairs = 4, .responses = 9, .noise = 1e-4};
  Network network = random_network(kind, seed);
  const std::size_t samples = network.frequencies.size();
  for (std::size_t i = 0; i < 3; ++i) {
    for (std::size_t j = 0; j < i; ++j) {
      std::copy_n(network.values.begin() + static_cast<std::ptrdiff_t>((3 * i + j) * samples), samples,
                  network.values.begin() + static_cast<std::ptrdiff_t>((3 * j + i) * samples));
    }
  }
  return network;
}

TEST(Problem, equal_responses_enter_once_with_their_number_as_weight) {
  const Network network = reciprocal_network(1);
  const Problem problem = make_problem(network.data(), {});
  EXPECT_EQ(problem.responses, 6U);
  EXPECT_EQ(problem.place, (std::vector<std::size_t>{0, 1, 2, 1, 3, 4, 2, 4, 5}));
  EXPECT_EQ(problem.source, (std::vector<std::size_t>{0, 1, 2, 4, 5, 8}));

  // Without equality to the last bit they are nine, of the same power within rounding.
  Network unequal = network;
  const std::size_t samples = network.frequencies.size();
  for (const std::size_t r : {3U, 6U, 7U}) {
    unequal.values[r * samples] += Complex(1e-13, 0.0);
  }
  const Problem nine = make_problem(unequal.data(), {});
  EXPECT_EQ(nine.responses, 9U);
  EXPECT_NEAR(problem.norm, nine.norm, 1e-11 * nine.norm);
}

TEST(Problem, responses_with_weights_that_differ_are_not_one) {
  const Network network = reciprocal_network(2);
  NetworkData data = network.data();
  std::vector<double> weights(network.values.size(), 1.0);
  weights[3 * network.frequencies.size() + 5] = 2.0;
  data.weights = weights;
  const Problem problem = make_problem(data, {});
  EXPECT_EQ(problem.responses, 7U);
  EXPECT_NE(problem.place[1], problem.place[3]);
  EXPECT_EQ(problem.place[2], problem.place[6]);
}

TEST(Problem, a_fit_gives_every_equal_response_its_own_place_in_the_model) {
  const Network network = reciprocal_network(3);
  const std::size_t samples = network.frequencies.size();
  Options options;
  options.complex_pairs = 4;
  const Fit found = fit(network.data(), options);
  ASSERT_EQ(found.model.responses(), 9U);
  ASSERT_EQ(found.report.errors.size(), 9U);
  for (std::size_t r = 0; r < 9; ++r) {
    EXPECT_LE(found.report.errors[r].relative, 1e-3) << r;  // the noise
  }
  EXPECT_TRUE(std::ranges::equal(found.model.residues_of(1), found.model.residues_of(3)));
  EXPECT_FALSE(std::ranges::equal(found.model.residues_of(1), found.model.residues_of(2)));

  // Broken in the last digits, so that they enter one by one: the same fit but for that.
  Network unequal = network;
  for (const std::size_t r : {3U, 6U, 7U}) {
    unequal.values[r * samples] += Complex(1e-12, 0.0);
  }
  const Fit nine = fit(unequal.data(), options);
  for (std::size_t i = 0; i < nine.model.poles.size(); ++i) {
    // A change of 1e-12, magnified by the condition of the poles against noise.
    EXPECT_LE(std::abs(nine.model.poles[i] - found.model.poles[i]), 1e-8 * std::abs(found.model.poles[i]));
  }
}

TEST(Problem, the_size_of_weights_and_data_does_not_matter) {
  const NetworkKind kind{.pairs = 3, .responses = 2, .noise = 1e-3};
  const Network network = random_network(kind, 4);
  std::vector<double> weights;
  for (std::size_t k = 0; k < network.values.size(); ++k) {
    weights.push_back(1.0 + static_cast<double>(k % 4));
  }
  NetworkData data = network.data();
  for (const bool own : {false, true}) {
    std::vector<double> plain(
        weights.begin(),
        own ? weights.end() : weights.begin() + static_cast<std::ptrdiff_t>(network.frequencies.size()));
    data.weights = plain;
    const Fit expected = fit(data, options_for(kind));
    for (const double factor : {0x1p-1000, 0x1p-500, 0x1p900}) {
      std::vector<double> scaled = plain;
      for (double& weight : scaled) {
        weight *= factor;
      }
      data.weights = scaled;
      const Fit found = fit(data, options_for(kind));
      EXPECT_EQ(found.model.poles, expected.model.poles) << factor;
      EXPECT_EQ(found.model.residues, expected.model.residues) << factor;
    }
  }
  data.weights = weights;
  const Fit expected = fit(data, options_for(kind));
  Network small = network;
  for (Complex& value : small.values) {
    value *= 0x1p-600;
  }
  NetworkData small_data = small.data();
  small_data.weights = weights;
  EXPECT_EQ(fit(small_data, options_for(kind)).model.poles, expected.model.poles);
}

TEST(Problem, the_size_of_the_weights_of_one_response_does_not_matter_to_its_residues) {
  const NetworkKind kind{.pairs = 3, .responses = 2, .noise = 1e-3};
  const Network network = random_network(kind, 6);
  const std::size_t samples = network.frequencies.size();
  std::vector<double> weights;
  for (std::size_t k = 0; k < network.values.size(); ++k) {
    weights.push_back(1.0 + static_cast<double>(k % 3));
  }
  NetworkData data = network.data();
  data.weights = weights;
  Options options = options_for(kind);
  options.starting_poles = network.model.poles;
  options.iterations = 0;
  const Fit expected = fit(data, options);
  for (const double factor : {0x1p-500, 0x1p-600, 0x1p-1000}) {
    std::vector<double> unlike = weights;
    for (std::size_t k = samples; k < 2 * samples; ++k) {
      unlike[k] *= factor;
    }
    data.weights = unlike;
    EXPECT_EQ(fit(data, options).model.residues, expected.model.residues) << factor;
    options.iterations = 3;
    Fit found;
    ASSERT_NO_THROW(found = fit(data, options));
    EXPECT_EQ(found.report.orthogonal_relocations, 0) << factor;
    EXPECT_LE(found.report.worst_relative_error, 1e-2) << factor;  // the noise
    options.iterations = 0;
  }
}

TEST(Problem, a_response_that_all_but_vanishes_disturbs_nobody_by_either_path) {
  const NetworkKind kind{.pairs = 3, .responses = 2, .noise = 1e-3};
  const Network network = random_network(kind, 5);
  const std::size_t samples = network.frequencies.size();
  const std::vector<double> weights(samples, 1.0);
  for (const bool orthogonal : {false, true}) {
    Options options = options_for(kind);
    options.orthogonal = orthogonal;
    Network zero = network;
    std::fill(zero.values.begin() + static_cast<std::ptrdiff_t>(samples), zero.values.end(), 0.0);
    NetworkData data = zero.data();
    data.weights = weights;
    const Fit expected = fit(data, options);
    for (const double factor : {1e-170, 1e-250, 1e-305, 1e-315}) {
      Network tiny = network;
      for (std::size_t k = samples; k < 2 * samples; ++k) {
        tiny.values[k] *= factor;
      }
      NetworkData tiny_data = tiny.data();
      tiny_data.weights = weights;
      Fit found;
      ASSERT_NO_THROW(found = fit(tiny_data, options)) << factor;
      EXPECT_NEAR(found.report.errors[0].relative, expected.report.errors[0].relative,
                  1e-6 * expected.report.errors[0].relative)
          << factor;
    }
  }
}

TEST(Problem, fits_of_data_of_any_size_are_those_of_the_same_data_near_one) {
  const NetworkKind kind{.pairs = 3, .responses = 2, .proportional = true, .noise = 1e-3};
  const Network network = random_network(kind, 8);
  const Fit expected = fit(network.data(), options_for(kind));
  // Powers of four, whose roots make no rounding in the weights of the responses, within which residues in
  // rad/s do not overflow and terms proportional to s do not vanish.
  for (const int exponent : {-980, -600, 600, 980}) {
    Network scaled = network;
    for (Complex& value : scaled.values) {
      value = {std::ldexp(value.real(), exponent), std::ldexp(value.imag(), exponent)};
    }
    const Fit found = fit(scaled.data(), options_for(kind));
    EXPECT_EQ(found.model.poles, expected.model.poles) << exponent;
    EXPECT_EQ(found.report.relative_error, expected.report.relative_error) << exponent;
    for (std::size_t i = 0; i < found.model.residues.size(); ++i) {
      EXPECT_EQ(std::ldexp(found.model.residues[i].real(), -exponent), expected.model.residues[i].real());
    }
    for (std::size_t r = 0; r < 2; ++r) {
      EXPECT_EQ(std::ldexp(found.model.constants[r], -exponent), expected.model.constants[r]) << exponent;
      EXPECT_EQ(std::ldexp(found.model.proportionals[r], -exponent), expected.model.proportionals[r])
          << exponent;
    }
  }
}

/// Weights by the inverse of the modulus of each sample.
Fit relative_fit(const Network& network, const Options& options) {
  NetworkData data = network.data();
  const std::vector<double> relative = weights(data, Weighting::relative);
  data.weights = relative;
  return fit(data, options);
}

TEST(Problem, relative_weights_make_responses_of_any_size_alike) {
  const NetworkKind kind{.pairs = 3, .responses = 2, .noise = 1e-3};
  const Network network = random_network(kind, 9);
  const std::size_t samples = network.frequencies.size();
  const Fit expected = relative_fit(network, options_for(kind));
  for (const auto& [first, second] : {std::pair(-830, 0), std::pair(-1000, 900), std::pair(500, 500)}) {
    Network scaled = network;
    for (std::size_t k = 0; k < 2 * samples; ++k) {
      const int exponent = k < samples ? first : second;
      scaled.values[k] = {std::ldexp(scaled.values[k].real(), exponent),
                          std::ldexp(scaled.values[k].imag(), exponent)};
    }
    const Fit found = relative_fit(scaled, options_for(kind));
    EXPECT_EQ(found.model.poles, expected.model.poles) << first;
    EXPECT_EQ(found.report.relative_error, expected.report.relative_error) << first;
  }
}

TEST(Problem, relative_weights_of_a_response_over_a_hundred_decades_are_obeyed) {
  const std::vector<double> frequencies{1.0, 2.0, 3.0, 4.0};
  Options constant;
  constant.complex_pairs = 0;
  Network small_and_large;
  small_and_large.model.constants = {0.0};
  small_and_large.frequencies = frequencies;
  small_and_large.values = {1.0, 1e-100, 1e-100, 1e-100};
  // The constant c has the least (c - 1)^2 + 3 (1e100 c - 1)^2: 1e-100 but for a part of 1e-100.
  const Fit found = relative_fit(small_and_large, constant);
  EXPECT_NEAR(found.model.constants[0], 1e-100, 10.0 * eps * 1e-100);

  Network too_far = small_and_large;
  std::fill(too_far.values.begin() + 1, too_far.values.end(), 1e-250);
  try {
    static_cast<void>(relative_fit(too_far, constant));
    FAIL() << "accepted";
  } catch (const Error& error) {
    EXPECT_EQ(error.kind(), ErrorKind::bad_weight);
    EXPECT_STREQ(
        error.what(),
        "the weights of response 0 (counted from 0) are too far apart: where it is largest, they are "
        "below 1e-120 of the largest one");
  }
}

TEST(Problem, values_that_are_not_as_many_for_each_response_are_refused) {
  const std::vector<Complex> values(7);
  for (const auto& make : {&Responses::by_response, &Responses::by_sample}) {
    try {
      make(values, 2);
      ADD_FAILURE() << "accepted";
    } catch (const Error& error) {
      EXPECT_EQ(error.kind(), ErrorKind::bad_shape);
      EXPECT_STREQ(error.what(), "7 values are not as many for each of 2 responses");
    }
  }
}

}  // namespace
}  // namespace polefit
