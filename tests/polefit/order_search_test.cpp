#include "polefit/order_search.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <string>
#include <tuple>
#include <vector>

#include "numerics.hpp"
#include "numerics/angular_frequency.hpp"
#include "polefit/search/sentence.hpp"

namespace polefit {
namespace {

using testing_support::Complex;
using testing_support::RandomNumbers;

/// Samples with their responses one after the other.
struct Samples {
  std::vector<double> frequencies;
  std::vector<Complex> values;
  std::size_t responses = 0;
  std::vector<double> weights;

  NetworkData view() const { return {frequencies, Responses::by_response(values, responses), {}, weights}; }
};

std::vector<double> grid(std::size_t count) {
  std::vector<double> frequencies;
  for (std::size_t k = 0; k < count; ++k) {
    frequencies.push_back(0.01 + (1.0 - 0.01) * static_cast<double>(k) / static_cast<double>(count));
  }
  return frequencies;
}

/// A network of resonances over the band (0 .. 1 Hz), all of which show.
Samples network(std::size_t order, std::size_t responses, std::size_t count, std::uint64_t seed = 1) {
  RandomNumbers numbers(seed);
  Model model;
  const std::size_t pairs = order / 2;
  for (std::size_t i = 0; i < pairs; ++i) {
    const double place = (static_cast<double>(i) + 0.5 + 0.3 * numbers()) / static_cast<double>(pairs);
    const Complex pole = numerics::two_pi * place * Complex(-numbers.between(0.01, 0.05), 1.0);
    model.poles.insert(model.poles.end(), {pole, std::conj(pole)});
  }
  for (std::size_t r = 0; r < responses; ++r) {
    model.constants.push_back(0.2 * numbers());
    model.proportionals.push_back(0.0);
    for (std::size_t i = 0; i < model.poles.size(); i += 2) {
      const double size = -model.poles[i].real() * numbers.between(0.3, 1.0);
      const Complex residue = std::polar(size, 3.14 * numbers());
      model.residues.insert(model.residues.end(), {residue, std::conj(residue)});
    }
  }
  return {grid(count), evaluate(model, grid(count)), responses, {}};
}

double root_mean_square(const std::vector<Complex>& values) {
  double squares = 0.0;
  for (const Complex value : values) {
    squares += std::norm(value);
  }
  return std::sqrt(squares / static_cast<double>(values.size()));
}

/// Noise of root mean square `size`, evenly over a square.
void add_noise(Samples& samples, double size, std::uint64_t seed) {
  RandomNumbers numbers(seed);
  for (Complex& value : samples.values) {
    value += size * std::sqrt(1.5) * numbers.complex();
  }
}

std::size_t order_of(const Search& search) { return search.fit.model.poles.size(); }

/// What holds of every search.
void expect_in_order(const Search& search, const Target& target) {
  EXPECT_FALSE(search.steps.empty());
  EXPECT_LE(order_of(search), target.most_poles.value_or(400));
  EXPECT_TRUE(std::isfinite(search.error));
  EXPECT_NO_THROW(check(search.fit.model));
  if (search.end == SearchEnd::target_met) {
    EXPECT_LE(search.error, target.error);
  }
  for (const Step& step : search.steps) {
    EXPECT_LE(step.order, target.most_poles.value_or(400));
  }
}

TEST(OrderSearch, finds_the_order_of_exact_networks_or_a_few_poles_more) {
  for (const std::size_t order : {4U, 10U, 20U}) {
    for (const std::size_t responses : {1U, 3U, 9U}) {
      for (const std::uint64_t seed : {1U, 2U, 3U}) {
        SCOPED_TRACE(std::to_string(order) + " poles, " + std::to_string(responses) + " responses, seed " +
                     std::to_string(seed));
        const Samples samples = network(order, responses, 301, seed);
        const Target target{.error = 1e-8};
        const Search search = fit_to_error(samples.view(), target);
        expect_in_order(search, target);
        EXPECT_EQ(search.end, SearchEnd::target_met);
        EXPECT_GE(order_of(search), order);
        EXPECT_LE(order_of(search), order + 4);  // an excess that dropping did not remove
      }
    }
  }
}

TEST(OrderSearch, takes_no_more_poles_than_a_rough_target_needs) {
  const Samples samples = network(20, 3, 301);
  const Search fine = fit_to_error(samples.view(), {.error = 1e-8});
  const Search rough = fit_to_error(samples.view(), {.error = 0.3});
  EXPECT_EQ(rough.end, SearchEnd::target_met);
  EXPECT_LT(order_of(rough), order_of(fine));
}

TEST(OrderSearch, meets_the_target_in_every_measure) {
  Samples samples = network(10, 3, 301);
  for (std::size_t k = 0; k < 301; ++k) {
    samples.values[k] *= 1e3;
  }
  for (const Measure measure : {Measure::relative_rms, Measure::worst_response, Measure::largest_error}) {
    const Target target{.error = 1e-6, .measure = measure};
    const Search search = fit_to_error(samples.view(), target);
    expect_in_order(search, target);
    EXPECT_EQ(search.end, SearchEnd::target_met);
    const Report& report = search.fit.report;
    EXPECT_EQ(search.error, measure == Measure::relative_rms     ? report.relative_error
                            : measure == Measure::worst_response ? report.worst_relative_error
                                                                 : report.largest_error);
  }
}

TEST(OrderSearch, has_met_its_target_where_the_error_of_the_model_that_it_returns_has_and_only_there) {
  int met = 0;
  int missed = 0;
  for (std::uint64_t seed = 0; seed < 30; ++seed) {
    SCOPED_TRACE(seed);
    Samples samples = network(12, 1 + seed % 3, 201, seed);
    RandomNumbers numbers(seed + 100);
    // What is minimised has weights, the error that counts has none: either may be met without the other.
    samples.weights.assign(201, 1.0);
    const bool noisy = seed % 2 == 0;
    for (std::size_t k = 0; k < samples.values.size(); ++k) {
      const double imaginary = numbers();
      const double real = numbers();
      samples.values[k] += (noisy && k % 201 < 10 ? 1e-2 : 1e-6) * Complex(real, imaginary);
    }
    for (std::size_t k = 0; k < 201; ++k) {
      samples.weights[k] = noisy ? (k < 10 ? 100.0 : 1.0) : (k < 100 ? 1.0 : 1e-3);
    }
    const double error = std::pow(10.0, -1.0 - static_cast<double>(seed % 7) / 3.0);
    const Target target{.error = error,
                        .measure = seed % 5 == 0 ? Measure::worst_response : Measure::relative_rms};
    const Search search = fit_to_error(samples.view(), target);
    const Report& report = search.fit.report;
    const double found =
        target.measure == Measure::worst_response ? report.worst_relative_error : report.relative_error;
    EXPECT_EQ(search.error, found);
    EXPECT_EQ(search.end == SearchEnd::target_met, found <= error);
    EXPECT_EQ(report.finding.ends_with(" met"), found <= error) << report.finding;
    EXPECT_EQ(search.fit.model.origin->finding, report.finding);
    if (found <= error) {
      EXPECT_TRUE(succeeded(search));
      ++met;
    } else if (search.end == SearchEnd::missed_measure) {
      EXPECT_FALSE(succeeded(search));
      ++missed;
    }
  }
  EXPECT_GE(met, 5);
  EXPECT_GE(missed, 1);
}

TEST(OrderSearch, a_limit_that_is_half_the_number_of_samples_is_told_as_that) {
  Search search;
  search.end = SearchEnd::most_poles;
  EXPECT_EQ(sentence(search, {.error = 1e-3}, 6, 13),
            "target of 0.001 not met: the limit of 6 poles, half the number of samples, is reached");
  EXPECT_EQ(sentence(search, {.error = 1e-3}, 6, 6),
            "target of 0.001 not met: the limit of 6 poles is reached");
}

TEST(OrderSearch, does_not_model_pure_noise) {
  Samples samples{grid(301), std::vector<Complex>(602), 2, {}};
  add_noise(samples, 1.0, 5);
  const Target target{.error = 1e-2};
  const Search search = fit_to_error(samples.view(), target);
  expect_in_order(search, target);
  EXPECT_EQ(search.end, SearchEnd::met_to_noise);
  EXPECT_LE(order_of(search), 20U);  // of 100 that it might have taken
  EXPECT_GT(search.error, 0.5);      // of noise, 301 samples leave that much to 20 poles and more
}

TEST(OrderSearch, does_not_model_the_noise_on_a_network) {
  for (const std::uint64_t seed : {7U, 8U, 9U}) {
    SCOPED_TRACE(seed);
    const Samples clean = network(10, 3, 301);
    Samples noisy = clean;
    const double noise = 1e-2 * root_mean_square(clean.values);
    add_noise(noisy, noise, seed);
    const Target target{.error = 1e-6};
    const Search search = fit_to_error(noisy.view(), target);
    expect_in_order(search, target);
    EXPECT_TRUE(search.end == SearchEnd::met_to_noise || search.end == SearchEnd::noise);
    EXPECT_NEAR(search.findings.noise_floor, 1e-2, 2e-3);
    std::vector<Complex> difference = evaluate(search.fit.model, clean.frequencies);
    for (std::size_t i = 0; i < difference.size(); ++i) {
      difference[i] -= clean.values[i];
    }
    EXPECT_LT(root_mean_square(difference), 0.5 * noise);  // 11 of 602 unknowns a response: 0.14 at best
  }
}

TEST(OrderSearch, respects_the_limit_on_poles) {
  const Samples samples = network(20, 3, 301);
  for (const std::size_t most : {0U, 1U, 3U, 4U, 9U, 12U}) {
    SCOPED_TRACE(most);
    const Target target{.error = 1e-8, .most_poles = most};
    const Search search = fit_to_error(samples.view(), target);
    expect_in_order(search, target);
    EXPECT_NE(search.end, SearchEnd::target_met);
    if (most < 4) {
      EXPECT_EQ(search.end, SearchEnd::most_poles);
    }
  }
}

TEST(OrderSearch, ends_when_the_callback_says_so_with_the_model_so_far) {
  const Samples samples = network(20, 3, 301);
  for (const int most : {1, 2, 9}) {
    SCOPED_TRACE(most);
    int calls = 0;
    Options options;
    options.progress = [&](const Progress&) { return ++calls < most; };
    const Search search = fit_to_error(samples.view(), {.error = 1e-12}, options);
    EXPECT_EQ(search.end, SearchEnd::cancelled);
    EXPECT_EQ(calls, most);
    EXPECT_GE(order_of(search), 1U);
    EXPECT_TRUE(std::isfinite(search.error));
  }
}

TEST(OrderSearch, a_cancelled_search_has_met_its_target_when_the_model_so_far_does) {
  const Samples samples = network(10, 3, 301);
  int calls = 0;
  Options options;
  options.progress = [&](const Progress&) {
    ++calls;
    return true;
  };
  ASSERT_EQ(fit_to_error(samples.view(), {.error = 1e-8}, options).end, SearchEnd::target_met);
  const int last = calls;
  calls = 0;
  options.progress = [&](const Progress&) { return ++calls < last; };
  const Search search = fit_to_error(samples.view(), {.error = 1e-8}, options);
  EXPECT_EQ(search.end, SearchEnd::target_met);  // which it was before
  EXPECT_EQ(calls, last);
}

TEST(OrderSearch, keeps_an_exact_sample_in_the_final_model) {
  Samples samples = network(10, 3, 301);
  add_noise(samples, 1e-3, 10);
  for (const std::size_t exact : {0U, 2U, 150U, 300U}) {
    SCOPED_TRACE(exact);
    Options options;
    options.exact_sample = exact;
    const Search search = fit_to_error(samples.view(), {.error = 1e-2}, options);
    const std::vector<Complex> values = evaluate(search.fit.model, samples.frequencies);
    for (std::size_t r = 0; r < samples.responses; ++r) {
      const Complex value = samples.values[r * 301 + exact];
      // Rounding of the constraint and of the evaluation: 11 terms of size 1 each.
      EXPECT_LE(std::abs(values[r * 301 + exact] - value), 1e-12);
    }
  }
}

TEST(OrderSearch, refuses_a_model_without_poles_and_constant_where_a_sample_is_to_be_exact) {
  const Samples samples = network(4, 1, 101);
  Options options;
  options.constant = false;
  options.exact_sample = 0;
  try {
    static_cast<void>(fit_to_error(samples.view(), {.error = 1e-3, .most_poles = 0}, options));
    FAIL() << "accepted";
  } catch (const Error& error) {
    EXPECT_EQ(error.kind(), ErrorKind::bad_option);
    EXPECT_STREQ(
        error.what(),
        "the value of sample 0 (counted from 0) of response 0 (counted from 0) cannot be exact: a model "
        "without poles and constant is 0 there");
  }
}

TEST(OrderSearch, takes_weights_per_sample_and_per_response) {
  for (const std::size_t sets : {1U, 3U}) {
    SCOPED_TRACE(sets);
    Samples samples = network(10, 3, 301);
    RandomNumbers numbers(11);
    for (std::size_t i = 0; i < sets * 301; ++i) {
      samples.weights.push_back(numbers.between(0.5, 2.0));
    }
    const Target target{.error = 1e-8};
    const Search search = fit_to_error(samples.view(), target);
    expect_in_order(search, target);
    EXPECT_EQ(search.end, SearchEnd::target_met);
    EXPECT_LE(order_of(search), 14U);
  }
}

TEST(OrderSearch, weights_of_zero_on_the_samples_used_are_no_error) {
  // All weight on what may be held out, or on a single sample.
  for (const std::size_t step : {5U, 1000U}) {
    Samples samples = network(4, 1, 101);
    samples.weights.assign(101, 0.0);
    for (std::size_t k = 2; k < 101; k += step) {
      samples.weights[k] = 1.0;
    }
    EXPECT_NO_THROW(static_cast<void>(fit_to_error(samples.view(), {.error = 1e-3})));
  }
}

TEST(OrderSearch, ends_on_data_of_a_few_samples) {
  for (const std::size_t count : {1U, 2U, 3U, 5U, 8U}) {
    for (const bool proportional : {false, true}) {
      SCOPED_TRACE(std::to_string(count) + (proportional ? " samples, proportional" : " samples"));
      const Samples samples = network(4, 2, count);
      Options options;
      options.proportional = proportional;
      const Target target{.error = 1e-9};
      const Search search = fit_to_error(samples.view(), target, options);
      expect_in_order(search, target);
      EXPECT_LE(order_of(search), 2 * count);
    }
  }
}

TEST(OrderSearch, ends_when_all_samples_are_at_one_frequency) {
  for (const double frequency : {0.0, 0.5}) {
    SCOPED_TRACE(frequency);
    Samples samples = network(4, 2, 60);
    samples.frequencies.assign(60, frequency);
    const Target target{.error = 1e-6};
    const Search search = fit_to_error(samples.view(), target);
    expect_in_order(search, target);
  }
}

TEST(OrderSearch, fits_constant_data_with_next_to_no_poles) {
  const Samples samples{grid(101), std::vector<Complex>(202, 3.0), 2, {}};
  const Target target{.error = 1e-9};
  const Search search = fit_to_error(samples.view(), target);
  expect_in_order(search, target);
  EXPECT_EQ(search.end, SearchEnd::target_met);
  EXPECT_LE(order_of(search), 2U);
}

TEST(OrderSearch, fits_data_that_are_zero_in_one_response) {
  Samples samples = network(10, 3, 301);
  std::fill_n(samples.values.begin(), 301, Complex());
  for (const Measure measure : {Measure::relative_rms, Measure::worst_response, Measure::largest_error}) {
    const Target target{.error = 1e-8, .measure = measure};
    const Search search = fit_to_error(samples.view(), target);
    expect_in_order(search, target);
    EXPECT_EQ(search.end, SearchEnd::target_met);
    EXPECT_LE(order_of(search), 14U);
  }
}

TEST(OrderSearch, ends_on_a_delay_that_no_order_fits_exactly) {
  Samples samples{grid(301), {}, 1, {}};
  for (const double frequency : samples.frequencies) {
    samples.values.push_back(std::exp(Complex(0.0, -10.0 * numerics::two_pi * frequency)));
  }
  const Target target{.error = 1e-13};
  const Search search = fit_to_error(samples.view(), target);
  expect_in_order(search, target);
  EXPECT_LT(search.error, 1e-2);
}

TEST(OrderSearch, the_order_of_the_samples_does_not_matter) {
  const Samples samples = network(10, 2, 301);
  Samples reversed = samples;
  std::reverse(reversed.frequencies.begin(), reversed.frequencies.end());
  std::reverse(reversed.values.begin(), reversed.values.begin() + 301);
  std::reverse(reversed.values.begin() + 301, reversed.values.end());
  const Search a = fit_to_error(samples.view(), {.error = 1e-6});
  const Search b = fit_to_error(reversed.view(), {.error = 1e-6});
  EXPECT_EQ(a.end, b.end);
  EXPECT_EQ(order_of(a), order_of(b));
}

TEST(OrderSearch, refuses_targets_that_are_not_above_zero) {
  const Samples samples = network(4, 1, 101);
  for (const double error : {0.0, -1.0, std::numeric_limits<double>::quiet_NaN()}) {
    try {
      static_cast<void>(fit_to_error(samples.view(), {.error = error}));
      ADD_FAILURE() << "took " << error;
    } catch (const Error& refused) {
      EXPECT_EQ(refused.kind(), ErrorKind::bad_option);
    }
  }
}

TEST(OrderSearch, refuses_an_exact_sample_that_does_not_exist) {
  const Samples samples = network(4, 1, 101);
  Options options;
  options.exact_sample = 101;
  EXPECT_THROW(static_cast<void>(fit_to_error(samples.view(), {.error = 1e-3}, options)), Error);
}

std::string refusal_of(const Samples& samples, const Options& options = {}) {
  Options silent = options;
  silent.progress = [](const Progress&) {
    ADD_FAILURE() << "a part of the data was fitted";
    return false;
  };
  try {
    static_cast<void>(fit_to_error(samples.view(), {.error = 1e-3}, silent));
  } catch (const Error& error) {
    return error.what();
  }
  ADD_FAILURE() << "was accepted";
  return {};
}

TEST(OrderSearch, what_is_wrong_is_said_of_all_the_data_and_not_of_a_part_of_them) {
  Samples samples = network(4, 1, 101);
  samples.values[57] = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(refusal_of(samples), "sample 57 of response 0 (counted from 0) is not finite");
  samples.values[57] = 1.0;
  samples.frequencies[2] = -1.0;
  EXPECT_EQ(refusal_of(samples).substr(0, 34), "frequency 2 (counted from 0) is -1");
  samples = network(4, 1, 101);
  samples.values[57] = {1.5e308, 1.5e308};
  EXPECT_EQ(refusal_of(samples),
            "the modulus of sample 57 of response 0 (counted from 0) is beyond the largest double");
}

TEST(OrderSearch, choices_out_of_range_are_refused_before_the_data_are_looked_at) {
  Samples samples = network(4, 1, 101);
  samples.values[57] = std::numeric_limits<double>::quiet_NaN();
  Options options;
  options.threads = 0;
  EXPECT_EQ(refusal_of(samples, options), "the number of threads is 0");
}

TEST(OrderSearch, a_network_of_four_ports_takes_a_handful_of_steps) {
  const Samples samples = network(20, 16, 501);
  const Search search = fit_to_error(samples.view(), {.error = 1e-6});
  EXPECT_EQ(search.end, SearchEnd::target_met);
  EXPECT_LE(search.steps.size(), 10U);  // 6 as measured; one for each pair would be 9
}

TEST(OrderSearch, the_size_of_the_responses_does_not_matter_to_their_relative_errors) {
  const Samples samples = network(8, 2, 101);
  const Search expected = fit_to_error(samples.view(), {.error = 1e-6});
  ASSERT_EQ(expected.end, SearchEnd::target_met);
  // Residues of all of them are in the range, and no value is so small that it lost digits.
  for (const auto& [first, second] :
       {std::pair(-1000, -1000), std::pair(-600, 600), std::pair(1015, -1000)}) {
    Samples scaled = samples;
    for (std::size_t k = 0; k < scaled.values.size(); ++k) {
      const int exponent = k < 101 ? first : second;
      scaled.values[k] = {std::ldexp(scaled.values[k].real(), exponent),
                          std::ldexp(scaled.values[k].imag(), exponent)};
    }
    const Search found = fit_to_error(scaled.view(), {.error = 1e-6});
    EXPECT_EQ(found.end, expected.end) << first;
    EXPECT_EQ(found.fit.model.poles, expected.fit.model.poles) << first;
    EXPECT_EQ(found.error, expected.error) << first;
  }
}

TEST(OrderSearch, data_near_the_smallest_double_are_fitted_to_the_digits_they_have) {
  Samples samples = network(4, 1, 101);
  for (Complex& value : samples.values) {
    value = {std::ldexp(value.real(), -1060), std::ldexp(value.imag(), -1060)};
  }
  const Search found = fit_to_error(samples.view(), {.error = 1e-9});
  EXPECT_TRUE(std::isfinite(found.fit.report.gain));
  // Parts of the data, of the constant and of each of eight products are rounded to 2^-1074 at most, those of
  // residues to as much over |s - a|, which is 0.06 at least: two parts of at most 2^-1074 (1 + 8 + 8 /
  // 0.06), relative to a root mean square above 2^-1064.
  EXPECT_LE(found.error, 200.0 * 0x1p-1074 / 0x1p-1064);
  EXPECT_GT(found.error, 0.0);
}

TEST(OrderSearch, fits_data_of_zeros_by_zero_without_poles) {
  Samples samples{grid(101), std::vector<Complex>(202), 2, {}};
  const Search search = fit_to_error(samples.view(), {.error = 1e-3});
  EXPECT_EQ(search.end, SearchEnd::target_met);
  EXPECT_EQ(order_of(search), 0U);
  EXPECT_EQ(evaluate(search.fit.model, samples.frequencies), samples.values);
  const Fit fitted = fit(samples.view());
  EXPECT_EQ(evaluate(fitted.model, samples.frequencies), samples.values);
  EXPECT_NO_THROW(check(samples.view()));
}

TEST(OrderSearch, a_response_of_noise_does_not_make_the_others_coarse) {
  Samples samples = network(10, 3, 401);
  Samples noise{grid(401), std::vector<Complex>(401), 1, {}};
  add_noise(noise, 1.0, 3);
  std::copy(noise.values.begin(), noise.values.end(), samples.values.begin() + 401);
  const Search search = fit_to_error(samples.view(), {.error = 1e-3});
  EXPECT_EQ(search.end, SearchEnd::met_to_noise);
  EXPECT_TRUE(succeeded(search));
  EXPECT_LE(search.fit.report.errors[0].relative, 2e-3);
  EXPECT_LE(search.fit.report.errors[2].relative, 2e-3);
}

TEST(OrderSearch, a_delay_that_is_sampled_coarsely_is_no_noise) {
  for (const double degrees : {80.0, 120.0, 170.0}) {
    SCOPED_TRACE(degrees);
    Samples samples{grid(201), {}, 1, {}};
    for (std::size_t k = 0; k < 201; ++k) {
      samples.values.push_back(std::polar(0.9, -degrees / 360.0 * numerics::two_pi * static_cast<double>(k)));
    }
    const Search search = fit_to_error(samples.view(), {.error = 1e-3});
    EXPECT_TRUE(search.end == SearchEnd::target_met || search.end == SearchEnd::too_coarse)
        << search.fit.report.finding;
    EXPECT_EQ(search.findings.noise_floor, 0.0);
    EXPECT_NEAR(search.findings.degrees_a_sample, degrees, 1e-9);
  }
}

TEST(OrderSearch, data_that_are_advanced_by_one_time_are_told_by_how_much) {
  for (const std::uint64_t seed : {1U, 2U, 3U, 4U}) {
    for (const double phase : {1.0, 2.0}) {  // at the highest frequency
      SCOPED_TRACE(testing::Message() << "seed " << seed << ", " << phase << " radians");
      Samples samples = network(10, 2, 401, seed);
      const double time = phase / (numerics::two_pi * samples.frequencies.back());
      for (std::size_t i = 0; i < samples.values.size(); ++i) {
        samples.values[i] *= std::polar(1.0, numerics::two_pi * samples.frequencies[i % 401] * time);
      }
      const Search search = fit_to_error(samples.view(), {.error = 1e-5, .most_poles = 12});
      EXPECT_EQ(search.end, SearchEnd::not_causal);
      // The two poles more take up a part of it.
      EXPECT_GE(search.findings.advance, 0.75 * time);
      EXPECT_LE(search.findings.advance, 1.05 * time);
      EXPECT_NE(search.fit.report.finding.find("if the data came"), std::string::npos)
          << search.fit.report.finding;
    }
  }
}

TEST(OrderSearch, weights_do_not_make_it_look_below_the_noise) {
  const Samples clean = network(10, 3, 301);
  Samples noisy = clean;
  add_noise(noisy, 1e-2 * root_mean_square(clean.values), 7);
  noisy.weights.assign(noisy.values.size(), 1.0);
  const Search search = fit_to_error(noisy.view(), {.error = 1e-6});
  EXPECT_EQ(search.end, SearchEnd::met_to_noise);
  for (const Step& step : search.steps) {
    EXPECT_LE(step.order, 20U);  // of 10 that are there; below the noise the next double is tried
  }
}

TEST(OrderSearch, pure_noise_is_no_success) {
  Samples samples{grid(301), std::vector<Complex>(301), 1, {}};
  add_noise(samples, 1.0, 5);
  EXPECT_FALSE(succeeded(fit_to_error(samples.view(), {.error = 1e-2})));
}

TEST(OrderSearch, tells_the_noise_of_each_response) {
  Samples samples = network(10, 3, 401);
  Samples noise{grid(401), std::vector<Complex>(401), 1, {}};
  const double size = 1e-2;
  add_noise(noise, size, 3);
  double squares = 0.0;
  for (std::size_t k = 0; k < 401; ++k) {
    squares += std::norm(samples.values[401 + k]);
    samples.values[401 + k] += noise.values[k];
  }
  const Search search = fit_to_error(samples.view(), {.error = 1e-6});
  const double relative = size / std::sqrt(squares / 401);
  EXPECT_EQ(search.findings.noise[0], 0.0);
  // A median of 401 values is good to 5 per cent, the least of six of them to somewhat less.
  EXPECT_NEAR(search.findings.noise[1], relative, 0.2 * relative);
  EXPECT_EQ(search.findings.noise[2], 0.0);
}

TEST(OrderSearch, succeeds_with_a_small_error_at_an_end_that_is_that_of_the_data) {
  Search search;
  for (const auto& [end, small, large] :
       {std::tuple(SearchEnd::target_met, true, true), std::tuple(SearchEnd::met_to_noise, true, true),
        std::tuple(SearchEnd::noise, true, false), std::tuple(SearchEnd::not_causal, true, false),
        std::tuple(SearchEnd::no_gain, true, false), std::tuple(SearchEnd::too_coarse, false, false),
        std::tuple(SearchEnd::most_poles, false, false), std::tuple(SearchEnd::cancelled, false, false),
        std::tuple(SearchEnd::lost_to_passivity, false, false)}) {
    search.end = end;
    search.findings.noise = {0.01, 0.9};
    search.fit.report.relative_error = 1e-2;
    EXPECT_EQ(succeeded(search), small);
    search.fit.report.relative_error = 1.1e-2;
    EXPECT_EQ(succeeded(search), large);
  }
}

}  // namespace
}  // namespace polefit
