#include "polefit/fit.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>
#include <limits>
#include <numeric>
#include <string>
#include <utility>

#include "networks.hpp"
#include "polefit/model_file.hpp"
#include "polefit/order_search.hpp"

namespace polefit {
namespace {

using namespace test_networks;

/// How far the relative error of a fit of exact samples may be from 0. The last relocation starts from poles
/// that are right but for rounding, so that rounding counts once, times the condition of the systems; the
/// conditions of normal equations are their squares.
double permitted_error(const Fit& found, std::size_t samples) {
  const Report& report = found.report;
  const double condition = report.last_path == Path::gram
                               ? std::sqrt(report.condition_basis * report.condition_sigma)
                               : report.condition_sigma;
  return 2.0 * static_cast<double>(samples) * eps / condition;
}

void expect_same_bits(const Fit& found, const Fit& expected) {
  EXPECT_EQ(found.model.poles, expected.model.poles);
  EXPECT_EQ(found.model.residues, expected.model.residues);
  EXPECT_EQ(found.model.constants, expected.model.constants);
  EXPECT_EQ(found.model.proportionals, expected.model.proportionals);
  EXPECT_EQ(found.report.residual, expected.report.residual);
  EXPECT_EQ(found.report.iterations, expected.report.iterations);
}

TEST(Fit, finds_exact_networks_again) {
  double worst = 0.0;
  double largest_permitted = 0.0;
  for (std::uint64_t seed = 0; seed < 60; ++seed) {
    // Where the constant is left out, sigma f of a model with h s has one all the same, and no exact fit.
    const NetworkKind kind{.pairs = 1 + seed % 30,
                           .real_poles = seed % 3,
                           .responses = 1 + (seed * 7) % 50,
                           .constant = seed % 4 != 1,
                           .proportional = seed % 4 == 2};
    const Network network = random_network(kind, seed);
    for (const bool orthogonal : {false, true}) {
      if (orthogonal && seed % 6 != 0) {
        continue;  // that path takes its time
      }
      SCOPED_TRACE(testing::Message() << "seed " << seed << " orthogonal " << orthogonal);
      Options options = options_for(kind);
      options.orthogonal = orthogonal;
      const Fit found = fit(network.data(), options);
      const double permitted = permitted_error(found, network.frequencies.size());
      EXPECT_LE(found.report.worst_relative_error, permitted);
      worst = std::max(worst, found.report.worst_relative_error / permitted);
      largest_permitted = std::max(largest_permitted, permitted);
      for (const Complex pole : network.model.poles) {
        double distance = std::numeric_limits<double>::infinity();
        for (const Complex other : found.model.poles) {
          distance = std::min(distance, std::abs(other - pole) / std::abs(pole));
        }
        EXPECT_LE(distance, 1e3 * permitted);
      }
    }
  }
  std::cout << "worst error: " << worst << " of what is permitted, which is at most " << largest_permitted
            << "\n";
  EXPECT_LE(largest_permitted, 1e-6);
}

TEST(Fit, leaves_pairs_and_their_residues_exactly_conjugate) {
  for (std::uint64_t seed = 0; seed < 20; ++seed) {
    const NetworkKind kind{.pairs = 1 + seed % 8, .real_poles = seed % 3, .responses = 3, .noise = 0.3};
    const Model model = fit(random_network(kind, seed).data(), options_for(kind)).model;
    for (std::size_t i = 0; i < model.poles.size(); ++i) {
      if (model.poles[i].imag() == 0.0) {
        for (std::size_t r = 0; r < 3; ++r) {
          EXPECT_EQ(model.residues_of(r)[i].imag(), 0.0);
        }
        continue;
      }
      ASSERT_LT(i + 1, model.poles.size());
      EXPECT_GT(model.poles[i].imag(), 0.0);
      EXPECT_EQ(model.poles[i + 1], std::conj(model.poles[i]));
      for (std::size_t r = 0; r < 3; ++r) {
        EXPECT_EQ(model.residues_of(r)[i + 1], std::conj(model.residues_of(r)[i]));
      }
      ++i;
    }
  }
}

TEST(Fit, does_not_depend_on_the_number_of_threads) {
  for (const std::size_t responses : {1U, 13U, 14U, 50U}) {
    const NetworkKind kind{.pairs = 6, .real_poles = 1, .responses = responses, .noise = 0.01};
    const Network network = random_network(kind, responses);
    for (const bool orthogonal : {false, true}) {
      Options options = options_for(kind);
      options.orthogonal = orthogonal;
      const Fit alone = fit(network.data(), options);
      for (const int threads : {2, 3, 8}) {
        SCOPED_TRACE(testing::Message()
                     << responses << " responses, " << threads << " threads " << orthogonal);
        options.threads = threads;
        expect_same_bits(fit(network.data(), options), alone);
      }
    }
  }
}

TEST(Fit, takes_any_layout_of_the_responses) {
  const NetworkKind kind{.pairs = 4, .responses = 5, .noise = 0.01};
  const Network network = random_network(kind, 1);
  const Fit expected = fit(network.data(), options_for(kind));
  const std::size_t samples = network.frequencies.size();
  std::vector<Complex> by_sample(network.values.size());
  for (std::size_t r = 0; r < 5; ++r) {
    for (std::size_t k = 0; k < samples; ++k) {
      by_sample[k * 5 + r] = network.values[r * samples + k];
    }
  }
  NetworkData data = network.data();
  data.responses = Responses::by_sample(by_sample, 5);
  expect_same_bits(fit(data, options_for(kind)), expected);
}

TEST(Fit, scaled_frequencies_scale_the_model_bit_by_bit) {
  const NetworkKind kind{.pairs = 5, .real_poles = 2, .responses = 2, .proportional = true, .noise = 0.01};
  Network network = random_network(kind, 1);
  for (const bool orthogonal : {false, true}) {
    Options options = options_for(kind);
    options.orthogonal = orthogonal;
    Fit expected = fit(network.data(), options);
    for (const int exponent : {-30, 7}) {
      const double scale = std::ldexp(1.0, exponent);
      Network scaled = network;
      for (double& frequency : scaled.frequencies) {
        frequency *= scale;
      }
      const Fit found = fit(scaled.data(), options);
      for (std::size_t i = 0; i < found.model.poles.size(); ++i) {
        EXPECT_EQ(found.model.poles[i], expected.model.poles[i] * scale);
      }
      for (std::size_t i = 0; i < found.model.residues.size(); ++i) {
        EXPECT_EQ(found.model.residues[i], expected.model.residues[i] * scale);
      }
      EXPECT_EQ(found.model.constants, expected.model.constants);
      for (std::size_t r = 0; r < 2; ++r) {
        EXPECT_EQ(found.model.proportionals[r], expected.model.proportionals[r] / scale);
      }
    }
  }
}

TEST(Fit, does_not_depend_on_the_order_of_responses_and_samples) {
  const NetworkKind kind{.pairs = 5, .responses = 20, .noise = 1e-3};
  const Network network = random_network(kind, 3);
  const Fit expected = fit(network.data(), options_for(kind));
  const std::size_t samples = network.frequencies.size();
  RandomNumbers numbers(1);
  std::vector<std::size_t> order(samples);
  std::iota(order.begin(), order.end(), std::size_t{0});
  for (std::size_t k = samples - 1; k > 0; --k) {
    std::swap(order[k], order[static_cast<std::size_t>(numbers.below(static_cast<int>(k) + 1))]);
  }
  Network shuffled = network;
  for (std::size_t k = 0; k < samples; ++k) {
    shuffled.frequencies[k] = network.frequencies[order[k]];
    for (std::size_t r = 0; r < 20; ++r) {
      shuffled.values[(19 - r) * samples + k] = network.values[r * samples + order[k]];
    }
  }
  // From the same starting poles: the band is the same.
  const Fit found = fit(shuffled.data(), options_for(kind));
  const double permitted = permitted_error(expected, samples);
  EXPECT_NEAR(found.report.relative_error, expected.report.relative_error, permitted);
  for (std::size_t r = 0; r < 20; ++r) {
    EXPECT_NEAR(found.report.errors[19 - r].rms, expected.report.errors[r].rms, permitted);
  }
}

TEST(Fit, takes_repeated_frequencies_as_they_are) {
  const NetworkKind kind{.pairs = 4, .responses = 2};
  Network network = random_network(kind, 2);
  const Fit once = fit(network.data(), options_for(kind));
  Network twice = network;
  twice.values.clear();
  const std::size_t samples = network.frequencies.size();
  for (std::size_t r = 0; r < 2; ++r) {
    for (std::size_t k = 0; k < 2 * samples; ++k) {
      twice.values.push_back(network.values[r * samples + k % samples]);
    }
  }
  twice.frequencies.insert(twice.frequencies.end(), network.frequencies.begin(), network.frequencies.end());
  const Fit found = fit(twice.data(), options_for(kind));
  EXPECT_LE(found.report.relative_error, permitted_error(once, 2 * samples));
}

TEST(Fit, starting_pairs_may_have_either_member_first) {
  const NetworkKind kind{.pairs = 2, .responses = 1, .noise = 0.01};
  const Network network = random_network(kind, 2);
  Options options;
  options.starting_poles = {{-1e8, 1e10}, {-1e8, -1e10}, {-1e8, 4e10}, {-1e8, -4e10}};
  const Fit expected = fit(network.data(), options);
  std::swap(options.starting_poles[0], options.starting_poles[1]);
  expect_same_bits(fit(network.data(), options), expected);
  options.iterations = 0;
  EXPECT_NO_THROW(check(fit(network.data(), options).model));
}

TEST(Fit, the_model_knows_the_band_and_the_number_of_the_samples_and_its_errors) {
  const NetworkKind kind{.pairs = 2, .responses = 3, .noise = 0.1};
  Network network = random_network(kind, 5);
  std::swap(network.frequencies[0], network.frequencies[7]);
  std::swap(network.frequencies[4], network.frequencies.back());
  const auto [lowest, highest] = std::minmax_element(network.frequencies.begin(), network.frequencies.end());
  const Fit found = fit(network.data(), options_for(kind));
  ASSERT_TRUE(found.model.origin);
  EXPECT_EQ(found.model.origin->lowest, *lowest);
  EXPECT_EQ(found.model.origin->highest, *highest);
  EXPECT_EQ(found.model.origin->samples, network.frequencies.size());
  ASSERT_EQ(found.model.origin->errors.size(), 3U);
  for (std::size_t r = 0; r < 3; ++r) {
    EXPECT_EQ(found.model.origin->errors[r].rms, found.report.errors[r].rms);
    EXPECT_EQ(found.model.origin->errors[r].relative, found.report.errors[r].relative);
    EXPECT_EQ(found.model.origin->errors[r].largest, found.report.errors[r].largest);
  }
}

TEST(Fit, a_model_whose_error_overflows_can_be_saved) {
  const std::vector<double> frequencies{1.0, 2.0};
  const std::vector<Complex> values{1.25e308, -0.7e308};
  Options options;
  options.complex_pairs = 0;
  options.exact_sample = 0;
  const Fit found = fit({frequencies, Responses::by_response(values, 1), {}, {}}, options);
  EXPECT_EQ(found.report.largest_error, std::numeric_limits<double>::infinity());
  EXPECT_FALSE(found.model.origin);
  EXPECT_EQ(model_from_json(to_json(found.model)).constants, found.model.constants);
}

TEST(Fit, takes_the_exact_value_at_a_chosen_sample) {
  for (const bool proportional : {false, true}) {
    const NetworkKind kind{.pairs = 4, .responses = 40, .proportional = proportional, .noise = 0.05};
    Network network = random_network(kind, 4);
    for (const std::size_t exact : {0U, 17U}) {
      // The first sample becomes the direct-current point, where responses are real.
      network.frequencies[0] = 0.0;
      for (std::size_t r = 0; r < 40; ++r) {
        network.values[r * network.frequencies.size()] = 0.5 + 0.01 * static_cast<double>(r);
      }
      Options options = options_for(kind);
      options.exact_sample = exact;
      const Fit found = fit(network.data(), options);
      const double frequency = network.frequencies[exact];
      const std::vector<Complex> values = evaluate(found.model, {&frequency, 1});
      for (std::size_t r = 0; r < 40; ++r) {
        // A dozen terms of order 1 and the rounding of the constraint's factorisation.
        EXPECT_LE(std::abs(values[r] - network.data().responses(r, exact)), 1e3 * eps) << r;
      }
      options.exact_sample.reset();
      const Fit free = fit(network.data(), options);
      EXPECT_GE(found.report.relative_error, free.report.relative_error);
      EXPECT_LE(found.report.relative_error, 5.0 * free.report.relative_error);
    }
  }
}

std::string refusal_of_fit(const NetworkData& data, const Options& options) {
  try {
    static_cast<void>(fit(data, options));
  } catch (const Error& error) {
    return error.what();
  }
  return "was accepted";
}

TEST(Fit, exact_values_that_no_model_has_are_told_with_response_and_reason) {
  Network network = random_network({.pairs = 2, .responses = 2}, 1);
  const std::size_t samples = network.frequencies.size();
  network.frequencies[4] = 0.0;
  network.values[4] = 0.25;
  network.values[samples + 4] = {0.5, 0.125};
  Options options = options_for({.pairs = 2});
  options.exact_sample = 4;
  EXPECT_EQ(
      refusal_of_fit(network.data(), options),
      "the value at 0 Hz of response 1 (counted from 0) cannot be exact: it has an imaginary part of 0.125, "
      "a model is real there");
  network.values[samples + 4] = 0.5;
  network.frequencies[2] = 0.0;
  network.values[2] = 0.25;
  EXPECT_EQ(
      refusal_of_fit(network.data(), options),
      "the value at 0 Hz of response 1 (counted from 0) cannot be exact: samples 2 and 4 (counted from 0) "
      "are different ones");
  options.complex_pairs = 0;
  options.constant = false;
  EXPECT_EQ(
      refusal_of_fit(network.data(), options),
      "the value at 0 Hz of response 0 (counted from 0) cannot be exact: a model without poles and constant "
      "is 0 there");
  options.exact_sample = 7;
  EXPECT_EQ(refusal_of_fit(network.data(), options),
            "the value of sample 7 (counted from 0) of response 0 (counted from 0) cannot be exact: a model "
            "without poles and constant is 0 there");
}

TEST(Fit, rounding_at_zero_hertz_is_no_imaginary_part_and_no_other_value) {
  Network network = random_network({.pairs = 2, .responses = 2, .samples = 36}, 1);
  network.frequencies[4] = network.frequencies[9] = 0.0;
  network.values[4] = {0.5, -0.0};
  network.values[9] = {0.5, 4e-7};
  network.values[36 + 4] = {1e-12, 1e-11};  // a zero, as a solver leaves it
  network.values[36 + 9] = {-1e-12, 0.0};
  Options options = options_for({.pairs = 2});
  for (const std::size_t exact : {4U, 9U}) {
    options.exact_sample = exact;
    const Fit found = fit(network.data(), options);
    const std::vector<double> zero{0.0};
    const std::vector<Complex> values = evaluate(found.model, zero);
    for (std::size_t r = 0; r < 2; ++r) {
      // A dozen terms of order 1 and the rounding of the constraint's factorisation.
      EXPECT_LE(std::abs(values[r] - network.values[36 * r + exact].real()), 1e3 * eps) << r;
    }
  }
}

TEST(Fit, too_many_unknowns_are_told_by_their_true_number) {
  const Network network = random_network({.pairs = 2, .samples = 36}, 1);
  Options options;
  options.real_poles = 1;
  const std::string samples = " unknowns a response, but only 72 equations of 36 samples";
  for (const auto& [pairs, unknowns] : {std::pair<std::size_t, const char*>(500'000, "1000002"),
                                        {1ULL << 31U, "4294967298"},
                                        {1ULL << 62U, "9223372036854775810"},
                                        {1ULL << 63U, "at least 18446744073709551615"}}) {
    options.complex_pairs = pairs;
    EXPECT_EQ(refusal_of_fit(network.data(), options), unknowns + samples);
  }
}

TEST(Fit, weights_of_the_samples_decide_where_a_model_is_good) {
  // Two resonances, and a model with one.
  const NetworkKind kind{.pairs = 2, .responses = 1, .samples = 200};
  const Network network = random_network(kind, 5);
  Options options;
  options.complex_pairs = 1;
  std::vector<double> weights(200, 1.0);
  const auto error_below = [&](const Fit& found, bool below) {
    const std::vector<Complex> values = evaluate(found.model, network.frequencies);
    double sum = 0.0;
    for (std::size_t k = 0; k < 200; ++k) {
      sum += (k < 100) == below ? std::norm(values[k] - network.values[k]) : 0.0;
    }
    return sum;
  };
  NetworkData data = network.data();
  data.weights = weights;
  std::fill(weights.begin(), weights.begin() + 100, 100.0);
  const Fit low = fit(data, options);
  std::fill(weights.begin(), weights.begin() + 100, 0.01);
  const Fit high = fit(data, options);
  EXPECT_LT(error_below(low, true), 0.5 * error_below(high, true));
  EXPECT_LT(error_below(high, false), 0.5 * error_below(low, false));
}

TEST(Fit, weights_of_each_response_that_are_the_same_are_those_of_the_samples) {
  const NetworkKind kind{.pairs = 3, .responses = 3, .noise = 1e-3};
  const Network network = random_network(kind, 6);
  const std::size_t samples = network.frequencies.size();
  std::vector<double> shared;
  for (std::size_t k = 0; k < samples; ++k) {
    shared.push_back(1.0 + static_cast<double>(k % 3));
  }
  std::vector<double> own;
  for (int r = 0; r < 3; ++r) {
    own.insert(own.end(), shared.begin(), shared.end());
  }
  NetworkData data = network.data();
  data.weights = shared;
  const Fit expected = fit(data, options_for(kind));
  data.weights = own;
  const Fit found = fit(data, options_for(kind));
  EXPECT_EQ(found.report.orthogonal_relocations, 0);
  EXPECT_NEAR(found.report.relative_error, expected.report.relative_error,
              permitted_error(expected, samples));
}

TEST(Fit, weights_of_each_response_give_the_same_fit_by_either_path) {
  for (std::uint64_t seed = 0; seed < 6; ++seed) {
    const NetworkKind kind{.pairs = 2 + seed,
                           .real_poles = seed % 2,
                           .responses = 1 + 7 * seed,
                           .constant = seed % 3 != 1,
                           .proportional = seed % 2 == 1,
                           .noise = 1e-3};
    SCOPED_TRACE(seed);
    const Network network = random_network(kind, seed);
    RandomNumbers numbers(seed);
    std::vector<double> weights;
    for (std::size_t k = 0; k < network.values.size(); ++k) {
      weights.push_back(numbers.between(0.1, 1.0));
    }
    if (seed == 4) {  // a response that does not count
      std::fill(weights.begin(), weights.begin() + static_cast<std::ptrdiff_t>(network.frequencies.size()),
                0.0);
    }
    NetworkData data = network.data();
    data.weights = weights;
    Options options = options_for(kind);
    options.iterations = 1;
    const Fit found = fit(data, options);
    options.orthogonal = true;
    const Fit expected = fit(data, options);
    EXPECT_EQ(found.report.gram_relocations, 1);
    EXPECT_EQ(expected.report.orthogonal_relocations, 1);
    // Rounding, magnified by the condition of the normal equations; it is squares that they give.
    const double permitted = 1e3 * eps / (found.report.condition_basis * found.report.condition_sigma);
    EXPECT_LE(permitted, 1e-4);
    EXPECT_NEAR(found.report.residual * found.report.residual,
                expected.report.residual * expected.report.residual, permitted);
    for (std::size_t i = 0; i < expected.model.poles.size(); ++i) {
      EXPECT_LE(std::abs(found.model.poles[i] - expected.model.poles[i]),
                permitted * std::abs(expected.model.poles[i]));
    }
  }
}

TEST(Fit, a_response_of_zeros_gets_a_model_of_zeros_and_disturbs_nobody) {
  const NetworkKind kind{.pairs = 3, .responses = 2};
  Network network = random_network(kind, 7);
  const std::size_t samples = network.frequencies.size();
  std::fill(network.values.begin() + static_cast<std::ptrdiff_t>(samples), network.values.end(), 0.0);
  const Fit found = fit(network.data(), options_for(kind));
  EXPECT_LE(found.report.errors[0].relative, permitted_error(found, samples));
  EXPECT_EQ(found.report.errors[1].rms, 0.0);
  for (const Complex residue : found.model.residues_of(1)) {
    EXPECT_EQ(residue, 0.0);
  }
}

TEST(Fit, keeps_unstable_poles_only_when_asked_to) {
  Network network = random_network({.pairs = 2, .responses = 2}, 8);
  for (std::size_t i = 0; i < 2; ++i) {
    network.model.poles[i].real(-network.model.poles[i].real());
  }
  network.values = evaluate(network.model, network.frequencies);
  Options options = options_for({.pairs = 2});
  options.stable = false;
  const Fit unstable = fit(network.data(), options);
  EXPECT_LE(unstable.report.relative_error, 1e-9);  // exact samples; conditions of 1e-3
  EXPECT_TRUE(std::any_of(unstable.model.poles.begin(), unstable.model.poles.end(),
                          [](Complex pole) { return pole.real() > 0.0; }));
  options.stable = true;
  const Fit stable = fit(network.data(), options);
  EXPECT_TRUE(std::all_of(stable.model.poles.begin(), stable.model.poles.end(),
                          [](Complex pole) { return pole.real() < 0.0; }));
}

TEST(Fit, mirrors_starting_poles_of_the_right_half_plane) {
  const Network network = random_network({.pairs = 2}, 8);
  Options options;
  options.starting_poles = {{1e8, 1e10}, {1e8, -1e10}};
  options.iterations = 0;
  EXPECT_EQ(fit(network.data(), options).model.poles[0], Complex(-1e8, 1e10));
}

TEST(Fit, equations_of_too_many_poles_need_no_orthogonal_factorisation_where_noise_is_visible) {
  const NetworkKind kind{.pairs = 6, .responses = 2, .samples = 1501, .noise = 1e-3};
  const Network network = random_network(kind, 5);
  Options options;
  options.complex_pairs = 60;
  options.polish = false;
  const Fit found = fit(network.data(), options);
  EXPECT_EQ(found.report.orthogonal_relocations, 0);
  options.orthogonal = true;
  EXPECT_LE(found.report.relative_error, 1.1 * fit(network.data(), options).report.relative_error);
}

TEST(Fit, resonances_that_are_sampled_so_coarsely_that_they_look_like_noise_are_fitted_exactly) {
  // What relocations leave of data without noise, several times rounding.
  constexpr double most = 1e-12;
  for (const std::uint64_t seed : {1U, 2U, 3U, 4U}) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    const NetworkKind kind{.pairs = 15, .samples = 50};
    const Network network = random_network(kind, seed);
    Options options = options_for(kind);
    options.complex_pairs += 3;
    EXPECT_LE(fit(network.data(), options).report.relative_error, most);
  }
}

TEST(Fit, the_residual_is_the_same_by_either_path) {
  const NetworkKind kind{.pairs = 3, .responses = 4, .noise = 0.3};
  const Network network = random_network(kind, 9);
  Options options = options_for(kind);
  options.iterations = 1;
  const Fit by_sums = fit(network.data(), options);
  options.orthogonal = true;
  const Fit orthogonally = fit(network.data(), options);
  EXPECT_EQ(by_sums.report.last_path, Path::gram);
  // The squares of the sums are off by rounding over their conditions.
  EXPECT_NEAR(by_sums.report.residual, orthogonally.report.residual,
              permitted_error(by_sums, network.frequencies.size()));
}

TEST(Fit, without_poles_fits_the_terms_alone) {
  Network network = random_network({.pairs = 1, .responses = 1}, 9);
  for (std::size_t k = 0; k < network.values.size(); ++k) {
    network.values[k] = Complex(2.0, 3e-10 * 2.0 * 3.141592653589793 * network.frequencies[k]);
  }
  Options options;
  options.complex_pairs = 0;
  options.proportional = true;
  const Fit found = fit(network.data(), options);
  EXPECT_NEAR(found.model.constants[0], 2.0, 100 * eps);  // two orthogonal columns
  EXPECT_NEAR(found.model.proportionals[0], 3e-10, 100 * eps * 3e-10);
}

TEST(Fit, progress_is_told_after_each_relocation_and_may_end_the_run) {
  const NetworkKind kind{.pairs = 5, .noise = 0.1};
  const Network network = random_network(kind, 10);
  Options options = options_for(kind);
  options.pole_tolerance = 0.0;
  std::vector<int> told;
  options.progress = [&](const Progress& progress) {
    told.push_back(progress.iteration);
    EXPECT_EQ(progress.order, 10U);
    EXPECT_GT(progress.residual, 0.0);
    return progress.iteration < 3;
  };
  const Fit found = fit(network.data(), options);
  EXPECT_EQ(told, (std::vector<int>{1, 2, 3}));
  EXPECT_EQ(found.report.reason, StopReason::cancelled);
  EXPECT_EQ(found.report.iterations, 3);
  EXPECT_EQ(found.model.residues.size(), 10U);
}

double largest_distance(const std::vector<Complex>& before, const std::vector<Complex>& after) {
  double largest = 0.0;
  for (const Complex pole : after) {
    double nearest = std::numeric_limits<double>::infinity();
    for (const Complex other : before) {
      nearest = std::min(nearest, std::abs(pole - other) / std::abs(pole));
    }
    largest = std::max(largest, nearest);
  }
  return largest;
}

TEST(Fit, poles_have_settled_when_the_one_that_moves_most_has) {
  int ended_so = 0;
  for (unsigned seed = 0; seed < 12; ++seed) {
    SCOPED_TRACE(seed);
    const NetworkKind kind{.pairs = 6, .real_poles = 1, .noise = 0.02};
    const Network network = random_network(kind, seed);
    Options options = options_for(kind);
    options.polish = false;
    options.pole_tolerance = 1e-4;
    const Fit found = fit(network.data(), options);
    if (found.report.reason != StopReason::poles_settled || found.report.iterations < 3) {
      continue;
    }
    ++ended_so;
    std::vector<std::vector<Complex>> poles;
    for (const int fewer : {2, 1}) {
      options.iterations = found.report.iterations - fewer;
      poles.push_back(fit(network.data(), options).model.poles);
    }
    EXPECT_LT(largest_distance(poles[1], found.model.poles), 1e-4);
    EXPECT_GE(largest_distance(poles[0], poles[1]), 1e-4);
  }
  EXPECT_GE(ended_so, 6);
}

/// Norm of the weighted differences of one response from its samples.
double weighted_distance(const Network& network, const std::vector<double>& weights, const Fit& found) {
  const std::vector<Complex> values = evaluate(found.model, network.frequencies);
  double squares = 0.0;
  for (std::size_t k = 0; k < values.size(); ++k) {
    squares += std::norm(weights[k] * (values[k] - network.values[k]));
  }
  return std::sqrt(squares);
}

TEST(Fit, polishing_makes_the_weighted_error_smaller_and_not_that_without_weights) {
  int smaller = 0;
  for (unsigned seed = 0; seed < 20; ++seed) {
    const Network network = random_network({.pairs = 8}, seed);
    NetworkData data = network.data();
    std::vector<double> weights(network.frequencies.size(), 1.0);
    std::fill(weights.begin() + static_cast<std::ptrdiff_t>(weights.size() / 2), weights.end(), 0.01);
    data.weights = weights;
    Options options = options_for({.pairs = 3});
    options.polish = false;
    const double before = weighted_distance(network, weights, fit(data, options));
    options.polish = true;
    const double after = weighted_distance(network, weights, fit(data, options));
    // Both are sums of the squares of the same samples, so that rounding is of a few units.
    EXPECT_LE(after, before * (1.0 + 100.0 * eps)) << seed;
    smaller += after < 0.98 * before ? 1 : 0;
  }
  std::cout << smaller << " of 20 smaller\n";
  EXPECT_GE(smaller, 10);
}

TEST(Fit, the_last_sample_counts_as_any_other_one) {
  // One more than a block of samples that are evaluated together.
  const Network network = [] {
    Network made = random_network({.pairs = 3, .responses = 2, .samples = 257, .noise = 1e-3}, 11);
    made.values[256] += 0.5;
    made.values[2 * 257 - 1] -= 0.5;
    return made;
  }();
  Network turned = network;
  std::rotate(turned.frequencies.begin(), turned.frequencies.end() - 1, turned.frequencies.end());
  for (const std::size_t r : {0U, 1U}) {
    const auto first = turned.values.begin() + static_cast<std::ptrdiff_t>(257 * r);
    std::rotate(first, first + 256, first + 257);
  }
  Options options = options_for({.pairs = 3});
  options.iterations = 1;
  options.polish = false;
  for (const Complex pole : network.model.poles) {
    options.starting_poles.push_back(1.05 * pole);
  }
  for (const std::size_t count : {0U, 257U, 2U * 257U}) {
    const std::vector<double> weights(count, 1.0);
    for (const bool orthogonal : {false, true}) {
      SCOPED_TRACE(testing::Message() << count << " weights, orthogonal " << orthogonal);
      options.orthogonal = orthogonal;
      NetworkData data = network.data();
      data.weights = weights;
      NetworkData turned_data = turned.data();
      turned_data.weights = weights;
      const Fit expected = fit(turned_data, options);
      const Fit found = fit(data, options);
      for (std::size_t i = 0; i < 6; ++i) {
        // Sums in another order, times the condition of the equations; without the last sample the poles are
        // elsewhere by a thousandth or more.
        const double size = std::abs(expected.model.poles[i]);
        EXPECT_LE(std::abs(found.model.poles[i] - expected.model.poles[i]), 1e-9 * size);
      }
      for (std::size_t r = 0; r < 2; ++r) {
        EXPECT_NEAR(found.report.errors[r].rms, expected.report.errors[r].rms, 1e-9);
        EXPECT_NEAR(found.report.errors[r].largest, expected.report.errors[r].largest, 1e-9);
        EXPECT_GE(found.report.errors[r].largest, 0.1);  // at that sample
        EXPECT_NEAR(found.model.constants[r], expected.model.constants[r], 1e-9);
      }
    }
  }
}

TEST(Fit, says_why_it_ended) {
  const NetworkKind kind{.pairs = 5};
  const Network network = random_network(kind, 11);
  Options options = options_for(kind);
  EXPECT_EQ(fit(network.data(), options).report.reason, StopReason::poles_settled);
  options.iterations = 1;
  EXPECT_EQ(fit(network.data(), options).report.reason, StopReason::iteration_limit);
  const Network noise = random_network({.pairs = 5, .noise = 0.05}, 12);
  options.iterations = 200;
  options.pole_tolerance = 0.0;
  EXPECT_EQ(fit(noise.data(), options).report.reason, StopReason::residual_settled);
}

TEST(Fit, is_cancelled_while_it_polishes_too) {
  const Network noise = random_network({.pairs = 5, .noise = 0.05}, 12);
  Options options = options_for({.pairs = 3});  // too few, so that steps downhill pay
  bool polished = false;
  options.progress = [&](const Progress& step) {
    EXPECT_FALSE(polished);
    polished = step.polishing;
    return !polished;
  };
  const Fit found = fit(noise.data(), options);
  EXPECT_TRUE(polished);
  EXPECT_EQ(found.report.reason, StopReason::cancelled);
}

TEST(Fit, polishing_makes_a_model_of_too_few_poles_better_and_none_worse) {
  for (const unsigned seed : {12U, 13U, 14U, 15U}) {
    SCOPED_TRACE(seed);
    const Network noise = random_network({.pairs = 5, .noise = 0.01}, seed);
    for (const std::size_t pairs : {2U, 3U, 5U, 7U}) {
      Options options = options_for({.pairs = pairs});
      const Fit with = fit(noise.data(), options);
      options.polish = false;
      const Fit without = fit(noise.data(), options);
      EXPECT_EQ(without.report.polishing_steps, 0);
      // What is compared weighs responses by the root of their norms, not by these.
      EXPECT_LE(with.report.relative_error, 1.05 * without.report.relative_error);
    }
  }
}

TEST(Fit, ends_with_the_fourth_residual_in_a_row_that_moved_by_a_thousandth_at_most) {
  Options options =
      options_for({.pairs = 9});  // more than the data need, so that the residual falls for long
  options.iterations = 200;
  options.pole_tolerance = 0.0;
  std::vector<double> residuals;
  options.progress = [&](const Progress& step) {
    if (!step.polishing) {
      residuals.push_back(step.residual);
    }
    return true;
  };
  int ended_so = 0;
  for (const unsigned seed : {12U, 13U, 14U, 15U}) {
    SCOPED_TRACE(seed);
    residuals.clear();
    const Network noise = random_network({.pairs = 5, .noise = 0.05}, seed);
    if (fit(noise.data(), options).report.reason != StopReason::residual_settled) {
      continue;
    }
    ++ended_so;
    std::size_t end = 0;
    int in_a_row = 0;
    for (std::size_t k = 1; k < residuals.size() && end == 0; ++k) {
      const bool settled = std::abs(residuals[k] - residuals[k - 1]) <= 1e-3 * residuals[k - 1];
      in_a_row = settled ? in_a_row + 1 : 0;
      end = in_a_row == 4 ? k + 1 : 0;
    }
    EXPECT_EQ(residuals.size(), end);
  }
  EXPECT_GT(ended_so, 0);
}

struct BadInput {
  const char* name;
  ErrorKind kind;
  void (*spoil)(Network& network, NetworkData& data, Options& options);
};

/// What there is to refuse, and the refusal by one of the functions that take it.
class BadInputTest : public ::testing::TestWithParam<BadInput> {
 protected:
  BadInputTest() : network_(random_network({.pairs = 2, .responses = 2}, 1)), data_(network_.data()) {
    GetParam().spoil(network_, data_, options_);
    options_.progress = [](const Progress&) {
      ADD_FAILURE() << "poles were relocated";
      return false;
    };
  }
  template <class Action>
  static std::string sentence_of(const Action& action) {
    try {
      action();
    } catch (const Error& error) {
      EXPECT_EQ(error.kind(), GetParam().kind) << error.what();
      return error.what();
    }
    ADD_FAILURE() << "was accepted";
    return {};
  }
  std::string sentence_of_fit() const {
    return sentence_of([this] { static_cast<void>(fit(data_, options_)); });
  }

  Network network_;
  NetworkData data_;
  Options options_ = options_for({.pairs = 2});
};

TEST_P(BadInputTest, is_refused_with_a_sentence) { EXPECT_GT(sentence_of_fit().size(), 20U); }

class BadDataTest : public BadInputTest {};

TEST_P(BadDataTest, are_refused_by_their_check_as_by_a_fit) {
  EXPECT_EQ(sentence_of([this] { check(data_); }), sentence_of_fit());
}

class BadInputOfASearchTest : public BadInputTest {};

TEST_P(BadInputOfASearchTest, is_refused_as_by_a_fit) {
  EXPECT_EQ(sentence_of([this] { static_cast<void>(fit_to_error(data_, {}, options_)); }), sentence_of_fit());
}

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double quiet_nan = std::numeric_limits<double>::quiet_NaN();
const std::vector<std::string> three_names(3, "S");
const std::vector<double> bad_weights(36, -1.0);
const std::vector<double> zero_weights(36, 0.0);
const std::vector<double> weights_far_apart = [] {
  std::vector<double> weights(36, 1e-200);
  weights[3] = 1.0;
  return weights;
}();

const auto
    bad_data =
        ::testing::Values(
            BadInput{"no_frequencies", ErrorKind::no_samples,
                     [](Network&, NetworkData& data, Options&) { data.frequencies = {}; }},
            BadInput{"no_responses", ErrorKind::no_samples,
                     [](Network&, NetworkData& data, Options&) { data.responses.responses = 0; }},
            BadInput{"other_numbers_of_samples", ErrorKind::bad_shape,
                     [](Network&, NetworkData& data, Options&) { data.responses.samples -= 1; }},
            BadInput{"other_numbers_of_names", ErrorKind::bad_shape,
                     [](Network&, NetworkData& data, Options&) { data.names = three_names; }},
            BadInput{
                "two_names_that_are_the_same", ErrorKind::bad_shape,
                [](Network&, NetworkData& data, Options&) { data.names = std::span(three_names).first(2); }},
            BadInput{"other_numbers_of_weights", ErrorKind::bad_shape,
                     [](Network&, NetworkData& data, Options&) {
                       data.weights = std::span(bad_weights).first(7);
                     }},
            BadInput{"a_negative_frequency", ErrorKind::bad_frequency,
                     [](Network& network, NetworkData&, Options&) { network.frequencies[3] = -1.0; }},
            BadInput{"an_undefined_frequency", ErrorKind::bad_frequency,
                     [](Network& network, NetworkData&, Options&) { network.frequencies[3] = quiet_nan; }},
            BadInput{"an_undefined_sample", ErrorKind::bad_sample,
                     [](Network& network, NetworkData&, Options&) {
                       network.values[3] = {0.0, quiet_nan};
                     }},
            BadInput{"an_infinite_sample", ErrorKind::bad_sample,
                     [](Network& network, NetworkData&, Options&) { network.values[3] = infinity; }},
            BadInput{"negative_weights", ErrorKind::bad_weight,
                     [](Network&, NetworkData& data, Options&) { data.weights = bad_weights; }},
            BadInput{"weights_of_zero", ErrorKind::zero_data,
                     [](Network&, NetworkData& data, Options&) { data.weights = zero_weights; }},
            BadInput{"no_values", ErrorKind::bad_shape,
                     [](Network&, NetworkData& data, Options&) { data.responses.values = nullptr; }},
            BadInput{"a_frequency_beyond_the_range", ErrorKind::bad_frequency,
                     [](Network& network, NetworkData&, Options&) { network.frequencies[3] = 1.1e300; }},
            BadInput{"a_band_below_the_range", ErrorKind::bad_frequency,
                     [](Network& network, NetworkData&, Options&) {
                       for (double& frequency : network.frequencies) {
                         frequency *= 1e-314;
                       }
                     }},
            BadInput{"a_sample_whose_modulus_overflows", ErrorKind::bad_sample,
                     [](Network& network, NetworkData&, Options&) {
                       network.values[3] = {1.5e308, 1.5e308};
                     }},
            BadInput{"weights_that_are_too_far_apart", ErrorKind::bad_weight,
                     [](Network& network, NetworkData& data, Options&) {
                       network.values[3] = 1e-200;
                       data.weights = weights_far_apart;
                     }});
const auto bad_choices = ::testing::Values(
    BadInput{"an_exact_sample_that_is_not_there", ErrorKind::bad_option,
             [](Network&, NetworkData&, Options& options) { options.exact_sample = 36; }},
    BadInput{"an_exact_value_at_zero_hertz_with_an_imaginary_part", ErrorKind::bad_option,
             [](Network& network, NetworkData&, Options& options) {
               network.frequencies[4] = 0.0;
               network.values[36 + 4] = {0.5, 1e-5};
               options.exact_sample = 4;
             }},
    BadInput{"an_exact_value_at_zero_hertz_with_another_one_beside_it", ErrorKind::bad_option,
             [](Network& network, NetworkData&, Options& options) {
               network.frequencies[4] = network.frequencies[9] = 0.0;
               network.values[4] = network.values[9] = 0.25;
               network.values[36 + 4] = 0.5;
               network.values[36 + 9] = 0.50001;
               options.exact_sample = 9;
             }},
    BadInput{"no_threads", ErrorKind::bad_option,
             [](Network&, NetworkData&, Options& options) { options.threads = 0; }},
    BadInput{"negative_iterations", ErrorKind::bad_option,
             [](Network&, NetworkData&, Options& options) { options.iterations = -1; }},
    BadInput{"a_tolerance_below_zero", ErrorKind::bad_option,
             [](Network&, NetworkData&, Options& options) { options.pole_tolerance = -1.0; }});
const auto bad_orders = ::testing::Values(
    BadInput{"more_unknowns_than_equations", ErrorKind::too_many_unknowns,
             [](Network&, NetworkData&, Options& options) { options.complex_pairs = 36; }},
    BadInput{"many_more_unknowns_than_memory", ErrorKind::too_many_unknowns,
             [](Network&, NetworkData&, Options& options) { options.complex_pairs = 1'000'000'000'000; }},
    BadInput{"an_exact_sample_without_poles_and_constant", ErrorKind::bad_option,
             [](Network&, NetworkData&, Options& options) {
               options.complex_pairs = 0;
               options.constant = false;
               options.exact_sample = 3;
             }},
    BadInput{"an_exact_sample_at_zero_hertz_with_a_proportional_term_alone", ErrorKind::bad_option,
             [](Network& network, NetworkData&, Options& options) {
               network.frequencies[3] = 0.0;
               network.values[3] = network.values[36 + 3] = 1.0;
               options.complex_pairs = 0;
               options.constant = false;
               options.proportional = true;
               options.exact_sample = 3;
             }},
    BadInput{"a_starting_pole_without_its_conjugate", ErrorKind::bad_option,
             [](Network&, NetworkData&, Options& options) {
               options.starting_poles = {{-1, 1}, {-1, 1}};
             }},
    BadInput{"an_undefined_starting_pole", ErrorKind::bad_option,
             [](Network&, NetworkData&, Options& options) { options.starting_poles = {quiet_nan}; }});

std::string name_of(const ::testing::TestParamInfo<BadInput>& chosen) { return chosen.param.name; }

INSTANTIATE_TEST_SUITE_P(Data, BadInputTest, bad_data, name_of);
INSTANTIATE_TEST_SUITE_P(Choices, BadInputTest, bad_choices, name_of);
INSTANTIATE_TEST_SUITE_P(Orders, BadInputTest, bad_orders, name_of);
INSTANTIATE_TEST_SUITE_P(Fit, BadDataTest, bad_data, name_of);
INSTANTIATE_TEST_SUITE_P(Data, BadInputOfASearchTest, bad_data, name_of);
INSTANTIATE_TEST_SUITE_P(Choices, BadInputOfASearchTest, bad_choices, name_of);

TEST(Fit, poles_that_may_be_on_either_side_of_the_axis_never_stand_on_a_sample) {
  // More unknowns of a relocation than equations: it takes one pole to 0 exactly.
  const std::vector<double> frequencies{0.0, 2.8654554879909324, 28.654554879909327, 286.54554879909324};
  const std::vector<Complex> values{{3.3955647043291106e-08, 5.925708317535674e-08},
                                    {8.992124224982258e-08, 8.3794225170047593e-08},
                                    {-1.1018069981278071e-07, 8.5634649637326419e-08},
                                    {-6.4270265465524981e-08, -1.094295823462845e-07}};
  const NetworkData data{frequencies, Responses::by_response(values, 1), {}, {}};
  Options options;
  options.complex_pairs = 0;
  options.real_poles = 4;
  options.placement = Placement::logarithmic;
  options.stable = false;
  const Fit found = fit(data, options);
  EXPECT_TRUE(std::isfinite(found.report.relative_error));
  for (const Complex pole : found.model.poles) {
    EXPECT_NE(pole.real(), 0.0);
  }
}

TEST(Fit, one_sample_is_fitted_by_a_constant) {
  const std::vector<double> frequencies{1e9};
  const std::vector<Complex> values{{0.5, 0.0}};
  const NetworkData data{frequencies, Responses::by_response(values, 1), {}, {}};
  Options options;
  options.complex_pairs = 0;
  const Fit found = fit(data, options);
  EXPECT_NEAR(found.model.constants[0], 0.5, 4 * eps);
}

}  // namespace
}  // namespace polefit
