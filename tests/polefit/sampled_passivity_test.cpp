/// Whether samples are those of a passive network.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

#include "enforcement_cases.hpp"
#include "passive_networks.hpp"
#include "polefit/enforcement.hpp"

namespace polefit {
namespace {

using testing_support::Complex;
using testing_support::eps;

NetworkMatrix matrix_of_ports(char parameter, std::size_t ports) {
  return {parameter, std::vector<double>(ports, 50.0), all_elements(ports)};
}

NetworkData data_of(const std::vector<double>& frequencies, const std::vector<Complex>& values,
                    std::size_t responses) {
  return {.frequencies = frequencies,
          .responses = Responses::by_response(values, responses),
          .names = {},
          .weights = {}};
}

TEST(SampledPassivity, networks_of_passive_elements_are_passive) {
  for (std::uint64_t seed = 0; seed < 24; ++seed) {
    for (const char parameter : {'S', 'Y', 'Z'}) {
      const Network network = passive_networks::passive_network(seed, 1 + seed % 4, 40, parameter);
      const SampledPassivity found = sampled_passivity(network.data(), *network.matrix);
      EXPECT_TRUE(found.passive) << seed << parameter;
      EXPECT_EQ(found.tolerance, 1e-3);
      EXPECT_EQ(found.samples, 0U);
      EXPECT_EQ(found.lowest, 0.0);
      EXPECT_EQ(found.highest, 0.0);
    }
  }
}

TEST(SampledPassivity, tells_which_samples_violate_and_the_worst_of_them) {
  // Of [[0, a], [b, 0]] the singular values are |a| and |b|; frequencies need not rise.
  const std::vector<double> frequencies{5.0, 1.0, 2.0, 4.0, 3.0};
  const std::vector<double> of_21{0.5, 1.0009, 1.002, 1.05, -1.01};
  std::vector<Complex> values(20);
  for (std::size_t k = 0; k < 5; ++k) {
    values[5 + k] = 0.3;
    values[10 + k] = Complex(0.0, of_21[k]);
  }
  const SampledPassivity found = sampled_passivity(data_of(frequencies, values, 4), matrix_of_ports('S', 2));
  EXPECT_FALSE(found.passive);
  EXPECT_NEAR(found.extreme, 1.05, 10.0 * eps);  // the root of an eigenvalue of a 2 x 2
  EXPECT_EQ(found.frequency, 4.0);
  EXPECT_EQ(found.samples, 3U);
  EXPECT_EQ(found.lowest, 2.0);
  EXPECT_EQ(found.highest, 4.0);
}

TEST(SampledPassivity, y_and_z_are_judged_relative_to_their_norm) {
  for (const char parameter : {'Y', 'Z'}) {
    for (const double size : {1.0, 1e-6, 1e6}) {
      // The Hermitian part of [[1, x], [x, 1]] has the eigenvalues 1 + x and 1 - x.
      const double x = 1.1;
      const std::vector<double> frequencies{1.0, 2.0, 3.0};
      std::vector<Complex> values;
      for (const double element : {1.0, x, x, 1.0}) {
        values.insert(values.end(),
                      {size * element, size * Complex(element, 2.0 * element), size * Complex(1.0, 0.0)});
      }
      values[5] = values[8] = 0.0;
      const SampledPassivity found =
          sampled_passivity(data_of(frequencies, values, 4), matrix_of_ports(parameter, 2));
      EXPECT_FALSE(found.passive);
      EXPECT_EQ(found.samples, 2U);
      EXPECT_EQ(found.frequency, 1.0);
      EXPECT_EQ(found.lowest, 1.0);
      EXPECT_EQ(found.highest, 2.0);
      EXPECT_NEAR(found.extreme, (1.0 - x) / std::sqrt(2.0 + 2.0 * x * x), 10.0 * eps);
    }
  }
}

TEST(SampledPassivity, y_and_z_of_any_size_are_judged_as_those_near_one_are) {
  const std::vector<double> frequencies{1.0, 2.0};
  const std::vector<Complex> values{{1.0, 0.5}, {1.0, 0.0}, {1.5, -1.0}, {0.5, 0.5},
                                    {1.0, 0.0}, {0.5, 0.5}, {1.0, 0.0},  {2.0, 0.0}};
  const std::vector<double> noise{0.01, 0.02, 0.03, 0.04};
  const SampledPassivity expected =
      sampled_passivity(data_of(frequencies, values, 4), matrix_of_ports('Z', 2), noise);
  ASSERT_EQ(expected.samples, 1U);
  for (const int exponent : {-1000, -600, 600, 1020}) {
    std::vector<Complex> scaled;
    for (const Complex value : values) {
      scaled.emplace_back(std::ldexp(value.real(), exponent), std::ldexp(value.imag(), exponent));
    }
    const SampledPassivity found =
        sampled_passivity(data_of(frequencies, scaled, 4), matrix_of_ports('Z', 2), noise);
    EXPECT_EQ(found.extreme, expected.extreme) << exponent;
    EXPECT_EQ(found.samples, 1U) << exponent;
    EXPECT_EQ(found.tolerance, expected.tolerance) << exponent;
  }
}

TEST(SampledPassivity, s_parameters_of_any_size_have_a_finite_largest_singular_value) {
  for (const double size : {0x1p-1074, 1e-310, 1e-200, 1e200, 1.7e308}) {
    const SampledPassivity found = sampled_passivity(data_of({1.0}, std::vector<Complex>(4, size), 4),
                                                     matrix_of_ports('S', 2), {0.1, 0.1, 0.1, 0.1});
    // Of [[a, a], [a, a]] it is 2 a.
    const double expected = std::min(2.0 * size, std::numeric_limits<double>::max());
    EXPECT_NEAR(found.extreme, expected, 10.0 * eps * expected) << size;
    EXPECT_EQ(found.passive, size < 1.0) << size;
  }
}

TEST(SampledPassivity, zeros_are_passive) {
  for (const char parameter : {'S', 'Y', 'Z'}) {
    const std::vector<double> frequencies{0.0, 1.0};
    const std::vector<Complex> values(8);
    const SampledPassivity found =
        sampled_passivity(data_of(frequencies, values, 4), matrix_of_ports(parameter, 2));
    EXPECT_TRUE(found.passive);
    EXPECT_EQ(found.extreme, 0.0);
  }
}

TEST(SampledPassivity, the_tolerance_is_three_times_the_noise_where_that_is_more) {
  // Elements of root mean square 2 in all, with noise of 1 per cent of 1, 1, 1 and 1: its norm is 0.02.
  const std::vector<double> frequencies{1.0, 2.0};
  const std::vector<Complex> values(8, 0.5);
  const NetworkData data = data_of(frequencies, values, 4);
  const std::vector<double> noise(4, 0.02);  // of 0.5 each: 0.01
  const SampledPassivity of_s = sampled_passivity(data, matrix_of_ports('S', 2), noise);
  EXPECT_NEAR(of_s.tolerance, 3.0 * 0.02, 10.0 * eps);
  // Relative to the norm 1 of the matrix.
  EXPECT_NEAR(sampled_passivity(data, matrix_of_ports('Y', 2), noise).tolerance, 3.0 * 0.02, 10.0 * eps);
  EXPECT_EQ(sampled_passivity(data, matrix_of_ports('S', 2), std::vector<double>(4, 1e-5)).tolerance, 1e-3);
  std::vector<Complex> twice = values;
  std::transform(twice.begin(), twice.end(), twice.begin(), [](Complex z) { return 2.0 * z; });
  const NetworkData large = data_of(frequencies, twice, 4);
  EXPECT_NEAR(sampled_passivity(large, matrix_of_ports('S', 2), noise).tolerance, 6.0 * 0.02, 10.0 * eps);
  EXPECT_NEAR(sampled_passivity(large, matrix_of_ports('Z', 2), noise).tolerance, 3.0 * 0.02, 10.0 * eps);
  // And it decides: the largest singular value of the larger ones is 2.
  EXPECT_FALSE(sampled_passivity(large, matrix_of_ports('S', 2), noise).passive);
  EXPECT_TRUE(sampled_passivity(large, matrix_of_ports('S', 2), std::vector<double>(4, 0.2)).passive);
}

/// A capacitor: where its admittance is small, noise is all that its real part is.
TEST(SampledPassivity, noise_counts_as_it_is_where_admittances_are_small) {
  std::vector<double> frequencies;
  std::vector<Complex> values;
  double squares = 0.0;
  for (int k = 1; k <= 100; ++k) {
    frequencies.push_back(k);
    values.emplace_back(k % 2 == 0 ? 1e-5 : -1e-5, 1e-4 * k);
    squares += std::norm(values.back());
  }
  const NetworkData data = data_of(frequencies, values, 1);
  const std::vector<double> noise{1e-5 / std::sqrt(squares / 100.0)};
  EXPECT_TRUE(sampled_passivity(data, matrix_of_ports('Y', 1), noise).passive);
  EXPECT_FALSE(sampled_passivity(data, matrix_of_ports('Y', 1)).passive);
  values[99] = {-5e-5, 1e-2};
  EXPECT_FALSE(sampled_passivity(data_of(frequencies, values, 1), matrix_of_ports('Y', 1), noise).passive);
}

TEST(SampledPassivity, refuses_what_is_no_whole_matrix) {
  const std::vector<double> frequencies{1.0, 2.0};
  const std::vector<Complex> values(8, 0.5);
  const NetworkData data = data_of(frequencies, values, 4);
  const auto refused_as = [&](const NetworkMatrix& matrix, const std::vector<double>& noise) {
    try {
      sampled_passivity(data, matrix, noise);
    } catch (const Error& error) {
      return std::optional(error.kind());
    }
    return std::optional<ErrorKind>();
  };
  EXPECT_EQ(refused_as(matrix_of_ports('S', 2), {}), std::nullopt);
  EXPECT_EQ(refused_as(matrix_of_ports('S', 1), {}), ErrorKind::bad_shape);
  EXPECT_EQ(refused_as(matrix_of_ports('S', 3), {}), ErrorKind::bad_shape);
  EXPECT_EQ(refused_as(matrix_of_ports('S', 2), {0.1, 0.1}), ErrorKind::bad_shape);
  NetworkMatrix twice = matrix_of_ports('S', 2);
  twice.elements[3] = twice.elements[0];
  EXPECT_EQ(refused_as(twice, {}), ErrorKind::bad_shape);
  const std::vector<Complex> bad(8, testing_support::quiet_nan);
  EXPECT_THROW(sampled_passivity(data_of(frequencies, bad, 4), matrix_of_ports('S', 2)), Error);
}

}  // namespace
}  // namespace polefit
