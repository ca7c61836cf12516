#include "polefit/model.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <utility>

#include "numerics.hpp"
#include "numerics/angular_frequency.hpp"
#include "numerics/complex_division.hpp"
#include "polefit/error.hpp"
#include "polefit/model/overall_error.hpp"
#include "requests.hpp"

namespace polefit {
namespace {

using namespace testing_support;
using testing_support::quiet_nan;  // not the one of <math.h>

void add_pole(Model& model, Complex a) {
  model.poles.push_back(a);
  if (a.imag() != 0.0) {
    model.poles.push_back(std::conj(a));
  }
}

void add_response(Model& model, double d, double h, RandomNumbers& numbers) {
  model.constants.push_back(d);
  model.proportionals.push_back(h);
  for (std::size_t i = 0; i < model.poles.size();) {
    if (model.poles[i].imag() == 0.0) {
      model.residues.emplace_back(numbers());
      i += 1;
    } else {
      const Complex c = numbers.complex();
      model.residues.insert(model.residues.end(), {c, std::conj(c)});
      i += 2;
    }
  }
}

/// Resonances between 0 and 10 rad/s and real poles, in any order.
Model random_model(RandomNumbers& numbers, int blocks, int responses) {
  Model model;
  for (int i = 0; i < blocks; ++i) {
    add_pole(model, {numbers() - 1.0, numbers() < 0.0 ? 0.0 : numbers.between(0.1, 10.0)});
  }
  for (int r = 0; r < responses; ++r) {
    const Complex terms = numbers.complex();
    add_response(model, terms.real(), terms.imag(), numbers);
  }
  return model;
}

std::vector<double> random_frequencies(RandomNumbers& numbers, int count) {
  std::vector<double> frequencies;
  for (int k = 0; k < count; ++k) {
    frequencies.push_back(numbers.between(0.0, 2.0));
  }
  return frequencies;
}

/// A model that is d everywhere.
Model constant_model(double d) { return {{}, {}, {d}, {0.0}, {}}; }

Complex point(double frequency) { return {0.0, numerics::two_pi * frequency}; }

/// Sum of the moduli of the terms of a response: what its rounding errors are to be compared with.
double size_of_terms(const Model& model, std::size_t r, Complex s) {
  double size = std::abs(model.constants[r]) + std::abs(model.proportionals[r] * s);
  for (std::size_t i = 0; i < model.poles.size(); ++i) {
    size += std::abs(model.residues_of(r)[i] / (s - model.poles[i]));
  }
  return size;
}

template <class Action>
void expect_bad_shape(Action action, const std::string& sentence) {
  try {
    action();
    FAIL() << "accepted, expected: " << sentence;
  } catch (const Error& error) {
    EXPECT_EQ(error.kind(), ErrorKind::bad_shape);
    EXPECT_EQ(error.what(), sentence);
  }
}

bool same_bits(const std::vector<ResponseError>& a, const std::vector<ResponseError>& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](const ResponseError& x, const ResponseError& y) {
                      return x.rms == y.rms && x.relative == y.relative && x.largest == y.largest;
                    });
}

TEST(Evaluate, a_few_roundings_a_pole_separate_it_from_the_formula) {
  double worst = 0.0;
  for (std::uint64_t seed = 0; seed < 100; ++seed) {
    RandomNumbers numbers(seed);
    const Model model = random_model(numbers, static_cast<int>(seed % 7), 2);
    const auto frequencies = random_frequencies(numbers, 20);
    const auto values = evaluate(model, frequencies);
    ASSERT_EQ(values.size(), 2 * frequencies.size());
    for (std::size_t r = 0; r < 2; ++r) {
      for (std::size_t k = 0; k < frequencies.size(); ++k) {
        // The reference in long double, whose own roundings do not count.
        const Complex s = point(frequencies[k]);
        const std::complex<long double> exact_s(s);
        std::complex<long double> sum = static_cast<long double>(model.constants[r]) +
                                        exact_s * static_cast<long double>(model.proportionals[r]);
        for (std::size_t i = 0; i < model.poles.size(); ++i) {
          sum += std::complex<long double>(model.residues_of(r)[i]) /
                 (exact_s - std::complex<long double>(model.poles[i]));
        }
        const auto difference = std::complex<long double>(values[r * frequencies.size() + k]) - sum;
        worst = std::max(
            worst, static_cast<double>(std::abs(difference)) /
                       (eps * static_cast<double>(model.poles.size() + 1) * size_of_terms(model, r, s)));
      }
    }
  }
  // Six roundings of eps / 2 the reciprocal with its difference, two the product with the residue and one
  // an addition, on either part, in eps (order + 1) times the sum of the terms' moduli. Worst of these seeds:
  // 0.50
  EXPECT_LE(worst, 8.0);
}

TEST(Evaluate, the_values_of_the_first_response_come_first) {
  Model model;
  model.poles = {-2.0};
  model.residues = {1.0, -4.0};
  model.constants = {1.0, 10.0};
  model.proportionals = {0.0, 0.0};
  // 1 / (0 + 2) is exact.
  EXPECT_EQ(evaluate(model, std::vector{0.0, 0.0}), (std::vector<Complex>{1.5, 1.5, 8.0, 8.0}));
}

TEST(Evaluate, without_poles_it_is_the_line_d_plus_s_h) {
  const Model model{{}, {}, {5.0}, {0.5}, {}};
  EXPECT_EQ(evaluate(model, std::vector{0.0, 2.0}), (std::vector<Complex>{5.0, {5.0, numerics::two_pi}}));
}

TEST(Evaluate, without_frequencies_or_responses_there_are_no_values) {
  RandomNumbers numbers(1);
  const auto model = random_model(numbers, 3, 2);
  EXPECT_TRUE(evaluate(model, {}).empty());
  EXPECT_TRUE(evaluate(random_model(numbers, 3, 0), std::vector{1.0}).empty());
  EXPECT_TRUE(evaluate(Model(), std::vector{1.0}).empty());
}

TEST(Evaluate, adds_the_poles_in_their_order_to_the_line) {
  // 1 is lost beside 1e16 unless it comes after the difference.
  const auto value = [](std::vector<Complex> residues, double d) {
    return evaluate({std::vector<Complex>(3, -1.0), std::move(residues), {d}, {0.0}, {}},
                    std::vector{0.0})[0];
  };
  EXPECT_EQ(value({1.0, 1e16, -1e16}, 0.0), 0.0);
  EXPECT_EQ(value({1e16, -1e16, 1.0}, 0.0), 1.0);
  EXPECT_EQ(value({1e16, -1e16, 0.0}, 1.0), 0.0);
}

TEST(Evaluate, values_have_the_bits_of_one_sample_at_a_time_without_vector_instructions) {
  RandomNumbers numbers(5);
  const Model model = random_model(numbers, 9, 3);
  // Around the size of a block, and with remainders of every vector length.
  for (const int count : {1, 7, 255, 256, 257, 700}) {
    const auto frequencies = random_frequencies(numbers, count);
    const auto values = evaluate(model, frequencies);
    for (std::size_t r = 0; r < model.responses(); ++r) {
      for (std::size_t k = 0; k < frequencies.size(); ++k) {
        const Complex s = point(frequencies[k]);
        double re = model.constants[r];
        double im = model.proportionals[r] * s.imag();
        for (std::size_t i = 0; i < model.poles.size(); ++i) {
          const Complex u = numerics::smith_quotient(1.0, s - model.poles[i]);
          const Complex c = model.residues_of(r)[i];
          re += c.real() * u.real() - c.imag() * u.imag();
          im += c.real() * u.imag() + c.imag() * u.real();
        }
        ASSERT_EQ(values[r * frequencies.size() + k], Complex(re, im)) << count << " samples, sample " << k;
      }
    }
  }
}

TEST(Evaluate, a_pole_on_a_point_spoils_that_point_alone) {
  Model model;
  add_pole(model, point(2.0));
  model.residues = {1.0, 1.0, 0.0, 0.0};
  model.constants = {0.0, 0.0};
  model.proportionals = {0.0, 0.0};
  const auto values = evaluate(model, std::vector{1.0, 2.0, 3.0});
  for (std::size_t j = 0; j < values.size(); ++j) {
    EXPECT_EQ(std::isnan(values[j].real()), j % 3 == 1) << j;
    EXPECT_EQ(std::isnan(values[j].imag()), j % 3 == 1) << j;
  }
}

TEST(Evaluate, a_model_whose_arrays_do_not_fit_together_is_refused) {
  RandomNumbers numbers(1);
  Model model;
  add_pole(model, -1.0);
  add_response(model, 0.0, 0.0, numbers);
  add_response(model, 0.0, 0.0, numbers);
  const auto refused = [](const Model& bad, const std::string& sentence) {
    expect_bad_shape([&] { check_shape(bad); }, sentence);
    expect_bad_shape([&] { check(bad); }, sentence);
    expect_bad_shape([&] { evaluate(bad, std::vector{1.0}); }, sentence);
    expect_bad_shape([&] { errors(bad, {}); }, sentence);
    expect_bad_shape([&] { state_space(bad); }, sentence);
  };
  Model bad = model;
  bad.residues.pop_back();
  refused(bad, "the model has 1 residues, expected 2");
  bad = model;
  bad.proportionals.push_back(0.0);
  refused(bad, "the model has 3 proportional terms, expected 2");
  bad = model;
  bad.names = {"S11"};
  refused(bad, "the model has 1 names, expected 2");
  bad = model;
  bad.network = {'S', {50.0}, {{1, 1}}};
  refused(bad, "the model has 1 matrix elements, expected 2");
  bad = model;
  bad.network = {'S', {50.0}, {{1, 1}, {2, 1}}};
  refused(bad, "responses[1].row is 2, expected 1 to 1");
  bad = model;
  bad.origin = Origin();
  refused(bad, "the model has 0 errors, expected 2");
}

TEST(LargestGain, is_looked_for_between_neighbouring_resonances) {
  // Two that overlap, so that their sum is largest in the middle, where none of them is.
  constexpr double apart = 0.2;  // of the damping
  Model model;
  for (const double omega : {100.0, 100.0 + apart}) {
    model.poles.insert(model.poles.end(), {{-1.0, omega}, {-1.0, -omega}});
    model.residues.insert(model.residues.end(), {1.0, 1.0});
  }
  model.constants = {0.0};
  model.proportionals = {0.0};
  const double middle = (100.0 + 0.5 * apart) / (2.0 * std::numbers::pi);
  const Gain gain = largest_gain(model);
  EXPECT_DOUBLE_EQ(gain.frequency, middle);
  EXPECT_GE(gain.largest, (1.0 - 10.0 * eps) * std::abs(evaluate(model, std::vector{middle})[0]));
}

TEST(LargestGain, terms_proportional_to_s_have_no_part_in_it) {
  Model model;
  model.poles = {-1.0};
  model.residues = {1.0};
  model.constants = {0.0};
  model.proportionals = {10.0};
  const Gain gain = largest_gain(model);
  EXPECT_EQ(gain.largest, 1.0);  // 1 / (s + 1) at 0
  EXPECT_EQ(gain.frequency, 0.0);
}

TEST(OverallError, is_no_number_where_one_of_the_errors_is_none) {
  constexpr double none = std::numeric_limits<double>::quiet_NaN();
  for (const std::size_t undefined : {0U, 1U, 2U}) {
    std::vector<ResponseError> errors(3, {.rms = 1.0, .relative = 0.5, .largest = 2.0});
    errors[undefined] = {none, none, none};
    const OverallError overall = overall_error(errors);
    EXPECT_TRUE(std::isnan(overall.relative)) << undefined;
    EXPECT_TRUE(std::isnan(overall.worst)) << undefined;
    EXPECT_TRUE(std::isnan(overall.largest)) << undefined;
  }
}

TEST(OverallError, is_told_of_errors_of_any_size) {
  for (const double size : {1e-300, 1e-242, 1.0, 1e200}) {
    const std::vector<ResponseError> errors{{.rms = 1.0, .relative = 3.0 * size, .largest = 1.0},
                                            {.rms = 1.0, .relative = 4.0 * size, .largest = 1.0}};
    // A handful of roundings.
    EXPECT_NEAR(overall_error(errors).relative / size, std::sqrt(12.5), 8.0 * eps * std::sqrt(12.5)) << size;
  }
  const std::vector<ResponseError> infinite{
      {.rms = 1.0, .relative = std::numeric_limits<double>::infinity(), .largest = 1.0}};
  EXPECT_TRUE(std::isinf(overall_error(infinite).relative));
}

TEST(ModelCheck, names_are_different_and_those_of_their_elements) {
  Model model;
  model.constants = {0.1, 0.2};
  model.proportionals = {0.0, 0.0};
  model.names = {"S11", "S(1,2)"};
  model.network = {'S', {50.0, 50.0}, {{1, 1}, {1, 2}}};
  EXPECT_NO_THROW(check(model));
  Model other = model;
  other.names[1] = "transmission";
  EXPECT_NO_THROW(check(other));
  other.names[1] = "S(2,1)";
  expect_bad_shape([&] { check(other); },
                   "responses[1].name is \"S(2,1)\", expected \"S12\", which is row 1 and column 2");
  EXPECT_NO_THROW(check_shape(other));
  other.names = {"reflection", "S(1,1)"};
  expect_bad_shape([&] { check(other); },
                   "responses[1].name is \"S(1,1)\", expected \"S12\", which is row 1 and column 2");
  other.names = {"S11", "Z12"};
  expect_bad_shape([&] { check(other); },
                   "responses[1].name is \"Z12\", expected \"S12\", which is row 1 and column 2");
  other.names = {"a", "a"};
  expect_bad_shape([&] { check(other); },
                   "responses[1].name is \"a\" as that of responses[0] is, expected a name of its own");
  other.network.reset();
  expect_bad_shape([&] { check(other); },
                   "responses[1].name is \"a\" as that of responses[0] is, expected a name of its own");
  // A transmission that is declared a port.
  Model port;
  port.constants = port.proportionals = {0.0};
  port.names = {"S21"};
  port.network = {'S', {50.0}, {{1, 1}}};
  EXPECT_NO_THROW(check(port));
}

TEST(Errors, they_are_mean_relative_and_largest_moduli_of_the_differences) {
  const std::vector<double> frequencies{1.0, 2.0};
  const std::vector<Complex> values{{4.0, 4.0}, {1.0, 0.0}};
  const auto result = errors(constant_model(1.0), {frequencies, Responses::by_response(values, 1), {}, {}});
  ASSERT_EQ(result.size(), 1U);
  // Differences of moduli 5 and 0, data of square moduli 32 and 1; two roundings after exact sums.
  EXPECT_NEAR(result[0].rms, std::sqrt(12.5), 2 * eps * std::sqrt(12.5));
  EXPECT_NEAR(result[0].relative, std::sqrt(25.0 / 33.0), 4 * eps);
  EXPECT_EQ(result[0].largest, 5.0);
}

TEST(Errors, over_many_samples_they_are_those_of_the_values_of_the_model) {
  double worst = 0.0;
  for (std::uint64_t seed = 0; seed < 20; ++seed) {
    RandomNumbers numbers(seed);
    const Model model = random_model(numbers, 4, 3);
    const int samples = 200 + numbers.below(600);
    const auto frequencies = random_frequencies(numbers, samples);
    auto data = evaluate(model, frequencies);
    const auto exact = data;
    for (Complex& value : data) {
      value += numbers.complex();
    }
    const auto result = errors(model, {frequencies, Responses::by_response(data, 3), {}, {}});
    for (std::size_t r = 0; r < 3; ++r) {
      long double sum = 0.0;
      long double size = 0.0;
      double largest = 0.0;
      for (std::size_t k = 0; k < frequencies.size(); ++k) {
        const std::size_t j = r * frequencies.size() + k;
        sum += std::norm(std::complex<long double>(exact[j] - data[j]));
        size += std::norm(std::complex<long double>(data[j]));
        largest = std::max(largest, std::abs(exact[j] - data[j]));
      }
      const auto deviation = [&](double found, long double expected) {
        worst = std::max(worst, static_cast<double>(std::abs(found / expected - 1.0L)) / (eps * samples));
      };
      deviation(result[r].rms, std::sqrt(sum / samples));
      deviation(result[r].relative, std::sqrt(sum / size));
      EXPECT_NEAR(result[r].largest, largest,
                  4 * eps * largest);  // four roundings on either side, of eps / 2
    }
  }
  // A sum of M positive terms is off by M eps / 2 at most, its root by half of that, the relative error has
  // two of them; in eps M. Worst of these seeds: 0.0080
  EXPECT_LE(worst, 1.0);
}

TEST(Errors, the_layout_of_the_data_does_not_matter) {
  RandomNumbers numbers(3);
  const Model model = random_model(numbers, 4, 3);
  const std::size_t samples = 300;
  const auto frequencies = random_frequencies(numbers, static_cast<int>(samples));
  std::vector<Complex> values;
  for (std::size_t j = 0; j < 3 * samples; ++j) {
    values.push_back(numbers.complex());
  }
  const auto expected = errors(model, {frequencies, Responses::by_response(values, 3), {}, {}});

  struct Layout {
    std::ptrdiff_t response_stride;
    std::ptrdiff_t sample_stride;
    std::size_t first;
  };
  const auto last = static_cast<std::ptrdiff_t>(samples) - 1;
  for (const auto& [response_stride, sample_stride, first] :
       {Layout{1, 3, 0}, Layout{7, 22, 5}, Layout{-1, -3, 3 * samples - 1},
        Layout{-last - 2, 1, 2 * samples + 2}, Layout{last + 1, -1, samples - 1}}) {
    std::vector<Complex> memory(25 * samples, Complex(quiet_nan, quiet_nan));
    const Responses view{memory.data() + first, 3, samples, response_stride, sample_stride};
    for (std::size_t r = 0; r < 3; ++r) {
      for (std::size_t k = 0; k < samples; ++k) {
        memory[static_cast<std::size_t>(&view.values[static_cast<std::ptrdiff_t>(r) * response_stride +
                                                     static_cast<std::ptrdiff_t>(k) * sample_stride] -
                                        memory.data())] = values[r * samples + k];
      }
    }
    EXPECT_TRUE(same_bits(errors(model, {frequencies, view, {}, {}}), expected))
        << response_stride << ' ' << sample_stride;
  }
}

TEST(Errors, a_stride_of_zero_repeats_one_value) {
  const Complex value(3.0, 4.0);
  const std::vector<double> frequencies(300, 1.0);
  const Model model{{}, {}, {0.0, 3.0}, {0.0, 0.0}, {}};
  const auto result = errors(model, {frequencies, Responses{&value, 2, 300, 0, 0}, {}, {}});
  EXPECT_EQ(result[0].largest, 5.0);
  EXPECT_EQ(result[1].largest, 4.0);
  EXPECT_NEAR(result[0].rms, 5.0, 2 * 5.0 * eps);  // division and root after an exact sum
  EXPECT_NEAR(result[1].relative, 0.8, 3 * eps);
}

TEST(Errors, weights_are_not_used) {
  RandomNumbers numbers(2);
  const Model model = random_model(numbers, 2, 1);
  const std::vector<double> frequencies{0.5, 1.0};
  const std::vector<Complex> values{1.0, {0.0, 2.0}};
  const std::vector<double> weights{0.0, 1e6};
  const auto view = Responses::by_response(values, 1);
  EXPECT_TRUE(
      same_bits(errors(model, {frequencies, view, {}, weights}), errors(model, {frequencies, view, {}, {}})));
}

TEST(Errors, for_data_of_zeros_the_relative_error_is_the_error) {
  const std::vector<Complex> values(3, 0.0);
  const std::vector<double> frequencies(3, 1.0);
  const auto result = errors(constant_model(0.25), {frequencies, Responses::by_response(values, 1), {}, {}});
  EXPECT_EQ(result[0].rms, 0.25);
  EXPECT_EQ(result[0].relative, 0.25);
}

TEST(Errors, without_samples_they_are_zero) {
  const auto result = errors(constant_model(1.0), {{}, Responses{nullptr, 1, 0, 0, 1}, {}, {}});
  ASSERT_EQ(result.size(), 1U);
  EXPECT_TRUE(same_bits(result, {ResponseError{0.0, 0.0, 0.0}}));
  EXPECT_TRUE(errors(Model(), NetworkData()).empty());
}

TEST(Errors, model_and_data_times_a_power_of_two_make_errors_times_that_power_bit_by_bit) {
  RandomNumbers numbers(9);
  const std::vector<double> frequencies(600, 1.0);
  std::vector<Complex> values;
  for (std::size_t k = 0; k < frequencies.size(); ++k) {
    values.push_back(numbers.complex());
  }
  const auto expected = errors(constant_model(1.0), {frequencies, Responses::by_response(values, 1), {}, {}});
  // Squares of these overflow or vanish.
  for (const int exponent : {-900, -600, 600, 1020}) {
    auto scaled = values;
    for (Complex& value : scaled) {
      value = {std::ldexp(value.real(), exponent), std::ldexp(value.imag(), exponent)};
    }
    const auto result = errors(constant_model(std::ldexp(1.0, exponent)),
                               {frequencies, Responses::by_response(scaled, 1), {}, {}});
    EXPECT_EQ(result[0].rms, std::ldexp(expected[0].rms, exponent)) << exponent;
    EXPECT_EQ(result[0].relative, expected[0].relative) << exponent;
    EXPECT_EQ(result[0].largest, std::ldexp(expected[0].largest, exponent)) << exponent;
  }
}

TEST(Errors, large_values_after_small_ones_and_the_smallest_of_all_count) {
  const double smallest = std::numeric_limits<double>::denorm_min();
  std::vector<Complex> values(300, smallest);
  const std::vector<double> frequencies(values.size(), 1.0);
  auto result = errors(constant_model(0.0), {frequencies, Responses::by_response(values, 1), {}, {}});
  EXPECT_EQ(result[0].rms, smallest);
  EXPECT_EQ(result[0].largest, smallest);
  EXPECT_EQ(result[0].relative, 1.0);
  values.back() = 0x1p1023;
  result = errors(constant_model(0.0), {frequencies, Responses::by_response(values, 1), {}, {}});
  EXPECT_EQ(result[0].rms, std::ldexp(std::sqrt(1.0 / 300.0), 1023));
  EXPECT_EQ(result[0].largest, 0x1p1023);
}

TEST(Errors, the_largest_is_that_of_all_blocks) {
  std::vector<Complex> values(600, 1.0);
  const std::vector<double> frequencies(values.size(), 1.0);
  values[0] = 1.5;
  values[599] = 2.0;  // squares are formed in another unit from here on
  const auto result = errors(constant_model(0.0), {frequencies, Responses::by_response(values, 1), {}, {}});
  EXPECT_EQ(result[0].largest, 2.0);
}

TEST(Errors, what_is_infinite_or_no_number_shows) {
  const std::vector<double> frequencies{1.0, 2.0, 3.0};
  Model model;
  add_pole(model, point(2.0));
  model.residues = {1.0, 1.0};
  model.constants = {0.0};
  model.proportionals = {0.0};
  std::vector<Complex> values(3, 1.0);
  const auto spoiled = errors(model, {frequencies, Responses::by_response(values, 1), {}, {}});
  EXPECT_TRUE(std::isnan(spoiled[0].rms));
  EXPECT_TRUE(std::isnan(spoiled[0].relative));
  EXPECT_TRUE(std::isnan(spoiled[0].largest));
  values[0] = infinity;
  const auto infinite = errors(constant_model(0.0), {frequencies, Responses::by_response(values, 1), {}, {}});
  EXPECT_EQ(infinite[0].rms, infinity);
  EXPECT_EQ(infinite[0].largest, infinity);
}

TEST(Errors, data_of_another_shape_than_the_model_are_refused) {
  const std::vector<Complex> values(4, 0.0);
  const std::vector<double> frequencies(4, 1.0);
  expect_bad_shape(
      [&] {
        errors(constant_model(1.0),
               {std::span(frequencies).first(2), Responses::by_response(values, 2), {}, {}});
      },
      "the data have 2 responses, expected 1");
  expect_bad_shape(
      [&] {
        errors(constant_model(1.0),
               {std::span(frequencies).first(3), Responses::by_response(values, 1), {}, {}});
      },
      "the data have 4 samples, expected 3");
}

TEST(Errors, the_values_of_the_model_are_never_all_in_memory) {
  RandomNumbers numbers(4);
  const Model model = random_model(numbers, 2, 8);
  const std::vector<double> frequencies(100000, 1.0);
  const Complex value = 1.0;
  largest_request = 0;
  errors(model, {frequencies, Responses{&value, 8, frequencies.size(), 0, 0}, {}, {}});
  // A block of 256 samples of at most four poles takes 8 kB for either part; one response alone would take
  // 1600 kB.
  EXPECT_LE(largest_request, 16000U);
}

TEST(StateSpace, a_pole_is_a_block_and_a_response_is_an_output) {
  Model model;
  add_pole(model, -1.0);
  add_pole(model, {-2.0, 3.0});
  model.residues = {4.0, {5.0, 6.0}, {5.0, -6.0}, 7.0, {8.0, 9.0}, {8.0, -9.0}};
  model.constants = {10.0, 11.0};
  model.proportionals = {12.0, 13.0};
  const StateSpace system = state_space(model);
  EXPECT_EQ(system.order, 3U);
  EXPECT_EQ(system.outputs, 2U);
  EXPECT_EQ(system.a, Matrix(3, 3, {-1, 0, 0, 0, -2, 3, 0, -3, -2}).elements);
  EXPECT_EQ(system.b, (std::vector<double>{1, 2, 0}));
  EXPECT_EQ(system.c, Matrix(2, 3, {4, 5, 6, 7, 8, 9}).elements);
  EXPECT_EQ(system.d, model.constants);
  EXPECT_EQ(system.e, model.proportionals);
}

/// x of (s I - A) x = b, b a column of B, by elimination with column pivots in long double.
std::vector<std::complex<long double>> states_at(Complex s, const StateSpace& system, std::size_t input) {
  using Value = std::complex<long double>;
  const std::size_t n = system.order;
  std::vector<std::vector<Value>> rows(n, std::vector<Value>(n + 1));
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j < n; ++j) {
      rows[i][j] = (i == j ? Value(s) : Value()) - static_cast<long double>(system.a[i + j * n]);
    }
    rows[i][n] = static_cast<long double>(system.b[i + input * n]);
  }
  for (std::size_t p = 0; p < n; ++p) {
    std::size_t pivot = p;
    for (std::size_t i = p + 1; i < n; ++i) {
      pivot = std::abs(rows[i][p]) > std::abs(rows[pivot][p]) ? i : pivot;
    }
    std::swap(rows[p], rows[pivot]);
    for (std::size_t i = 0; i < n; ++i) {
      const Value factor = i == p ? Value() : rows[i][p] / rows[p][p];
      for (std::size_t j = p; j <= n; ++j) {
        rows[i][j] -= factor * rows[p][j];
      }
    }
  }
  std::vector<Value> x(n);
  for (std::size_t i = 0; i < n; ++i) {
    x[i] = rows[i][n] / rows[i][i];
  }
  return x;
}

/// Column `input` of C (s I - A)^-1 B + D + s E.
std::vector<std::complex<long double>> outputs_at(Complex s, const StateSpace& system, std::size_t input) {
  const auto x = states_at(s, system, input);
  std::vector<std::complex<long double>> y;
  for (std::size_t output = 0; output < system.outputs; ++output) {
    const std::size_t place = output + input * system.outputs;
    y.push_back(std::complex<long double>(s) * static_cast<long double>(system.e[place]) +
                static_cast<long double>(system.d[place]));
    for (std::size_t i = 0; i < system.order; ++i) {
      y.back() += static_cast<long double>(system.c[output + i * system.outputs]) * x[i];
    }
  }
  return y;
}

/// The state space has the numbers of the model without a rounding, so this is the error of evaluate alone,
/// in its unit.
double state_space_error(const Model& model, std::size_t r, Complex s, Complex value,
                         std::complex<long double> exact) {
  const double unit = eps * static_cast<double>(model.poles.size() + 1) * size_of_terms(model, r, s);
  return static_cast<double>(std::abs(std::complex<long double>(value) - exact)) / unit;
}

TEST(StateSpace, its_transfer_function_is_the_model) {
  double worst = 0.0;
  for (std::uint64_t seed = 0; seed < 50; ++seed) {
    RandomNumbers numbers(seed);
    const Model model = random_model(numbers, static_cast<int>(seed % 7), 2);
    const StateSpace system = state_space(model);
    const auto frequencies = random_frequencies(numbers, 10);
    const auto values = evaluate(model, frequencies);
    for (std::size_t k = 0; k < frequencies.size(); ++k) {
      const Complex s = point(frequencies[k]);
      const auto y = outputs_at(s, system, 0);
      for (std::size_t r = 0; r < 2; ++r) {
        worst = std::max(worst, state_space_error(model, r, s, values[r * frequencies.size() + k], y[r]));
      }
    }
  }
  EXPECT_LE(worst, 8.0);  // the bound of evaluate; worst of these seeds: 0.43
}

TEST(StateSpace, without_poles_only_the_line_is_left) {
  const StateSpace system = state_space({{}, {}, {1.0}, {2.0}, {}});
  EXPECT_EQ(system.order, 0U);
  EXPECT_TRUE(system.a.empty());
  EXPECT_TRUE(system.b.empty());
  EXPECT_TRUE(system.c.empty());
  EXPECT_EQ(system.d, std::vector{1.0});
  EXPECT_EQ(system.e, std::vector{2.0});
}

TEST(StateSpace, without_responses_there_are_states_and_no_outputs) {
  const StateSpace system = state_space({{{-1.0, 2.0}, {-1.0, -2.0}}, {}, {}, {}, {}});
  EXPECT_EQ(system.order, 2U);
  EXPECT_EQ(system.outputs, 0U);
  EXPECT_EQ(system.a.size(), 4U);
  EXPECT_TRUE(system.c.empty());
}

TEST(StateSpace, poles_and_residues_without_their_exact_conjugates_are_refused) {
  const auto refused = [](std::vector<Complex> poles, std::vector<Complex> residues,
                          const std::string& sentence) {
    const Model model{std::move(poles), std::move(residues), {0.0}, {0.0}, {}};
    expect_bad_shape([&] { check(model); }, sentence);
    expect_bad_shape([&] { state_space(model); }, sentence);
    EXPECT_NO_THROW(check_shape(model)) << "its arrays fit together";
    EXPECT_NO_THROW(evaluate(model, std::vector{1.0}));
  };
  const Complex a(-1.0, 2.0);
  const Complex c(3.0, 4.0);
  const std::string alone = "poles[0] is complex and not followed by its exact conjugate";
  refused({a}, {c}, alone);
  refused({a, a}, {c, std::conj(c)}, alone);
  refused({a, {-1.0, -2.0 - 2 * eps}}, {c, std::conj(c)}, alone);
  refused({-1.0, std::conj(a), a}, {1.0, c, c}, "poles[1] leads a pair without a positive imaginary part");
  refused({{-1.0, quiet_nan}}, {c}, "poles[0] leads a pair without a positive imaginary part");
  refused({a, std::conj(a)}, {c, c},
          "responses[0].residues[1] is not the exact conjugate of the one before it, as its pole is");
  refused({-1.0}, {c}, "responses[0].residues[0] is not real, as the residue of a real pole is");
}

/// The elements of a matrix in another order than row by row.
std::vector<MatrixElement> shuffled_elements(std::size_t ports, RandomNumbers& numbers) {
  auto elements = all_elements(ports);
  for (std::size_t i = elements.size() - 1; i > 0; --i) {
    std::swap(elements[i], elements[static_cast<std::size_t>(numbers.below(static_cast<int>(i) + 1))]);
  }
  return elements;
}

TEST(PortStateSpace, its_transfer_function_is_the_matrix_in_whatever_order_the_responses_are) {
  double worst = 0.0;
  for (std::uint64_t seed = 0; seed < 20; ++seed) {
    RandomNumbers numbers(seed);
    Model model = random_model(numbers, static_cast<int>(seed % 5), 9);
    model.network = {'S', {50.0, 60.0, 75.0}, shuffled_elements(3, numbers)};
    const StateSpace system = port_state_space(model);
    ASSERT_EQ(system.order, 3 * model.poles.size());
    ASSERT_EQ(system.inputs, 3U);
    ASSERT_EQ(system.outputs, 3U);
    const auto frequencies = random_frequencies(numbers, 3);
    const auto values = evaluate(model, frequencies);
    for (std::size_t k = 0; k < frequencies.size(); ++k) {
      const Complex s = point(frequencies[k]);
      for (std::size_t r = 0; r < 9; ++r) {
        const auto [row, column] = model.network->elements[r];
        const auto y = outputs_at(s, system, column - 1);
        worst =
            std::max(worst, state_space_error(model, r, s, values[r * frequencies.size() + k], y[row - 1]));
      }
    }
  }
  EXPECT_LE(worst, 8.0);  // the bound of evaluate; worst of these seeds: 0.41
}

TEST(PortStateSpace, the_states_of_one_input_are_those_of_the_state_space) {
  RandomNumbers numbers(1);
  Model model = random_model(numbers, 3, 4);
  model.network = {'Y', {50.0, 50.0}, {{2, 2}, {1, 2}, {1, 1}, {2, 1}}};
  const std::size_t n = model.poles.size();
  const StateSpace single = state_space(model);
  const StateSpace both = port_state_space(model);
  for (std::size_t j = 0; j < 2 * n; ++j) {
    for (std::size_t i = 0; i < 2 * n; ++i) {
      EXPECT_EQ(both.a[i + j * 2 * n], i / n == j / n ? single.a[i % n + j % n * n] : 0.0);
    }
    for (std::size_t input = 0; input < 2; ++input) {
      EXPECT_EQ(both.b[j + input * 2 * n], j / n == input ? single.b[j % n] : 0.0);
    }
  }
}

TEST(PortStateSpace, what_is_no_whole_matrix_is_refused) {
  RandomNumbers numbers(1);
  Model model = random_model(numbers, 2, 3);
  expect_bad_shape([&] { port_state_space(model); },
                   "the model has no network matrix of which its responses are elements");
  model.network = {'S', {50.0, 50.0}, {{1, 1}, {2, 2}, {2, 1}}};
  expect_bad_shape([&] { port_state_space(model); },
                   "the model has not all elements of a matrix of 2 ports; S12 is missing");
  Model one = random_model(numbers, 0, 1);
  add_pole(one, {-1.0, 2.0});
  one.residues = {{1.0, 1.0}, {1.0, 1.0}};
  one.network = {'S', {50.0}, {{1, 1}}};
  expect_bad_shape(
      [&] { port_state_space(one); },
      "responses[0].residues[1] is not the exact conjugate of the one before it, as its pole is");
}

}  // namespace
}  // namespace polefit
