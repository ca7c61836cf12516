#include "polefit/data/noise_floor.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <numbers>

#include "samples.hpp"

namespace polefit {
namespace {

using namespace test_networks;

double floor_of(const Network& network) {
  const Problem problem = make_problem(network.data(), {});
  return NoiseEstimate(problem, by_frequency(problem)).of(0) / problem.inverse_unit[0];
}

/// Three resonances of quality 20 to 50 in 1..3 Hz.
Complex resonances(double frequency) {
  const Complex s(0.0, frequency);
  return 0.05 / (s - Complex(-0.02, 1.3)) + 0.04 / (s - Complex(-0.05, 1.9)) +
         0.06 / (s - Complex(-0.03, 2.6)) + 0.3;
}

Network sampled(const std::vector<double>& frequencies, const std::function<Complex(double)>& response) {
  std::vector<Complex> values;
  for (const double frequency : frequencies) {
    values.push_back(response(frequency));
  }
  return network_of(frequencies, std::move(values));
}

/// Random frequencies that are at least half their mean distance apart.
std::vector<double> uneven_frequencies(std::size_t count, RandomNumbers& numbers) {
  std::vector<double> frequencies = even_frequencies(count, 1.0, 3.0);
  for (double& frequency : frequencies) {
    frequency += 0.5 / static_cast<double>(count) * numbers();
  }
  return frequencies;
}

/// Binomial coefficients with alternating signs, the sum of their squares 1.
std::vector<double> difference(int d) {
  std::vector<double> factors{1.0};
  for (int i = 0; i < d; ++i) {
    factors.push_back(0.0);
    for (std::size_t j = factors.size(); j-- > 1;) {
      factors[j] -= factors[j - 1];
    }
  }
  const double size = testing_support::norm(factors);
  for (double& factor : factors) {
    factor /= size;
  }
  return factors;
}

/// Sum of factors[i] factors[j] correlation(i + lag - j).
double correlation_of_differences(const std::vector<double>& factors, int lag,
                                  const std::function<double(int)>& correlation) {
  double sum = 0.0;
  for (std::size_t i = 0; i < factors.size(); ++i) {
    for (std::size_t j = 0; j < factors.size(); ++j) {
      sum += factors[i] * factors[j] * correlation(std::abs(static_cast<int>(i) + lag - static_cast<int>(j)));
    }
  }
  return sum;
}

double white(int lag) { return lag == 0 ? 1.0 : 0.0; }

/// Five standard deviations of s_d, relative, from so many neighbouring windows. The squares of complex
/// noise are exponentially distributed: their median ln 2 has the density 1 / 2, so that of n independent
/// ones varies by 1 / root n, and its root by 1 / (2 ln 2 root n). Windows whose differences correlate by rho
/// count like 1 / (1 + 2 sum rho^2) of their number, at least, since squares correlate by rho^2.
double five_deviations(int d, std::size_t windows, const std::function<double(int)>& correlation) {
  const std::vector<double> factors = difference(d);
  const double own = correlation_of_differences(factors, 0, correlation);
  double each = 1.0;
  for (int lag = 1; lag < 20; ++lag) {
    const double rho = correlation_of_differences(factors, lag, correlation) / own;
    each += 2.0 * rho * rho;
  }
  return 5.0 * std::sqrt(each / static_cast<double>(windows)) / (2.0 * std::numbers::ln2);
}

TEST(NoiseFloor, white_noise_on_resonances_is_found) {
  for (const std::size_t samples : {500U, 2000U, 4000U}) {
    for (std::uint64_t seed = 0; seed < 10; ++seed) {
      RandomNumbers numbers(seed);
      const double rms = 1e-3;
      const Network network = sampled(even_frequencies(samples, 1.0, 3.0), [&](double frequency) {
        return resonances(frequency) + rms * white_noise(numbers);
      });
      // The least of six estimates; that of the highest degree varies most.
      EXPECT_NEAR(floor_of(network) / rms, 1.0, five_deviations(7, samples - 7, white)) << samples << seed;
    }
  }
}

TEST(NoiseFloor, of_more_samples_than_are_looked_at_is_that_of_all_of_the_band) {
  RandomNumbers numbers(1);
  const double rms = 1e-3;
  // A quarter of the samples, at the lower end, has next to no noise.
  const Network network = sampled(even_frequencies(40000, 1.0, 3.0), [&](double frequency) {
    return resonances(frequency) + (frequency > 1.5 ? rms : 1e-9) * white_noise(numbers);
  });
  // The median of all is where a third of the noisy ones lies below.
  const double expected = std::sqrt(std::log(1.5) / std::numbers::ln2);
  // The density there is 3 / 4 times 2 / 3, as great as that at the median of noise alone, but the quantile
  // is ln 1.5 instead of ln 2: the relative deviation is 1.7 times as large.
  EXPECT_NEAR(floor_of(network) / (rms * expected), 1.0, 2.0 * five_deviations(7, 4096, white));
}

TEST(NoiseFloor, of_unevenly_spaced_frequencies_is_found_as_well) {
  for (std::uint64_t seed = 0; seed < 10; ++seed) {
    RandomNumbers numbers(seed);
    const std::vector<double> frequencies = uneven_frequencies(3000, numbers);
    const double rms = 1e-3;
    const Network network = sampled(
        frequencies, [&](double frequency) { return resonances(frequency) + rms * white_noise(numbers); });
    // Windows a whole length apart are independent; that is the least that counts.
    const double bound = 5.0 * std::sqrt(8.0 / 3000.0) / (2.0 * std::numbers::ln2);
    EXPECT_NEAR(floor_of(network) / rms, 1.0, bound) << seed;
  }
}

TEST(NoiseFloor, of_coloured_noise_is_the_least_of_its_differences) {
  // Neighbours added with these factors: of the first the seventh differences are the least, of the other the
  // second ones.
  const std::vector<std::vector<double>> colours{std::vector<double>(5, 1.0), {1.0, -4.0, 6.0, -4.0, 1.0}};
  for (std::vector<double> colour : colours) {
    const double size = testing_support::norm(colour);
    for (double& factor : colour) {
      factor /= size;
    }
    const auto correlation = [&](int lag) {
      double sum = 0.0;
      for (auto i = static_cast<std::size_t>(lag); i < colour.size(); ++i) {
        sum += colour[i] * colour[i - static_cast<std::size_t>(lag)];
      }
      return sum;
    };
    double expected = testing_support::infinity;
    double deviations = 0.0;
    for (int d = 2; d <= 7; ++d) {
      expected = std::min(expected, std::sqrt(correlation_of_differences(difference(d), 0, correlation)));
      deviations = std::max(deviations, five_deviations(d, 4000U - 7U, correlation));
    }
    constexpr int seeds = 10;
    double mean = 0.0;
    for (std::uint64_t seed = 0; seed < seeds; ++seed) {
      RandomNumbers numbers(seed);
      std::vector<Complex> last(colour.size());
      const double rms = 1e-3;
      const Network network = sampled(even_frequencies(4000, 1.0, 3.0), [&](double frequency) {
        std::rotate(last.begin(), last.end() - 1, last.end());
        last[0] = white_noise(numbers);
        Complex sum = resonances(frequency);
        for (std::size_t i = 0; i < colour.size(); ++i) {
          sum += rms * colour[i] * last[i];
        }
        return sum;
      });
      mean += floor_of(network) / (rms * expected) / seeds;
    }
    EXPECT_NEAR(mean, 1.0, deviations / std::sqrt(seeds));
  }
}

TEST(NoiseFloor, smooth_but_coarse_data_claim_none) {
  // The difference of degree d of exp(j k theta) is (2 sin(theta / 2))^d over the root of (2 d over d): at
  // theta = 112 degrees s_7 comes to 3 / 4 of s_5.
  for (const double degrees : {10.0, 60.0, 90.0, 110.0}) {
    std::vector<Complex> values;
    for (std::size_t k = 0; k < 200; ++k) {
      values.push_back(std::polar(1.0, -static_cast<double>(k) * degrees / 360.0 * numerics::two_pi));
    }
    EXPECT_EQ(floor_of(network_of(even_frequencies(200, 1.0, 3.0), values)), 0.0) << degrees;
  }
  // Six samples in the half width of the narrowest resonance: 101 of them.
  EXPECT_EQ(floor_of(sampled(even_frequencies(101, 1.0, 3.0), resonances)), 0.0);
}

TEST(NoiseFloor, of_resonances_sampled_densely_is_their_rounding_at_most) {
  for (const std::size_t samples : {2000U, 20000U}) {
    const double found = floor_of(sampled(even_frequencies(samples, 1.0, 3.0), resonances));
    // Terms up to 2.5 and their sum are rounded, a few times eps each, and so are the differences of eight.
    EXPECT_LE(found, 100.0 * eps) << samples;
  }
}

TEST(NoiseFloor, of_fewer_than_23_samples_is_0) {
  RandomNumbers numbers(1);
  const auto noise = [&](double) { return white_noise(numbers); };
  EXPECT_EQ(floor_of(sampled(even_frequencies(22, 1.0, 3.0), noise)), 0.0);
  EXPECT_GT(floor_of(sampled(even_frequencies(23, 1.0, 3.0), noise)), 0.0);
}

TEST(NoiseFloor, windows_with_equal_frequencies_are_not_looked_at) {
  RandomNumbers numbers(2);
  const double rms = 1e-3;
  const auto noisy = [&](double frequency) { return resonances(frequency) + rms * white_noise(numbers); };
  std::vector<double> frequencies = even_frequencies(3000, 1.0, 3.0);
  for (std::size_t k = 50; k < frequencies.size(); k += 50) {
    frequencies[k] = frequencies[k - 1];
  }
  // At most 8 of 50 windows are lost; those next to a gap have factors of their own.
  const double bound = 5.0 * std::sqrt(8.0 / (0.84 * 3000.0)) / (2.0 * std::numbers::ln2);
  EXPECT_NEAR(floor_of(sampled(frequencies, noisy)) / rms, 1.0, bound);
  // When each comes twice, no window is left.
  for (std::size_t k = 1; k < frequencies.size(); k += 2) {
    frequencies[k] = frequencies[k - 1];
  }
  EXPECT_EQ(floor_of(sampled(frequencies, noisy)), 0.0);
}

TEST(NoiseFloor, does_not_hang_on_the_order_in_which_samples_stand) {
  RandomNumbers numbers(3);
  const Network network = sampled(even_frequencies(1000, 1.0, 3.0), [&](double frequency) {
    return resonances(frequency) + 1e-3 * white_noise(numbers);
  });
  const Problem problem = make_problem(network.data(), {});
  Network mixed = network;
  const std::vector<std::size_t> places = shuffled(1000, numbers);
  for (std::size_t k = 0; k < 1000; ++k) {
    mixed.frequencies[k] = network.frequencies[places[k]];
    mixed.values[k] = network.values[places[k]];
  }
  const Problem other = make_problem(mixed.data(), {});
  EXPECT_EQ(NoiseEstimate(other, by_frequency(other)).of(0),
            NoiseEstimate(problem, by_frequency(problem)).of(0));
}

TEST(NoiseFloor, goes_with_the_size_of_the_response) {
  RandomNumbers numbers(4);
  const Network network = sampled(even_frequencies(1000, 1.0, 3.0), [&](double frequency) {
    return resonances(frequency) + 1e-3 * white_noise(numbers);
  });
  const double expected = floor_of(network);
  for (const int exponent : {-900, -601, -10, 11, 600, 900}) {
    Network scaled = network;
    for (Complex& value : scaled.values) {
      value *= std::ldexp(1.0, exponent);
    }
    EXPECT_EQ(floor_of(scaled), std::ldexp(expected, exponent)) << exponent;
  }
}

}  // namespace
}  // namespace polefit
