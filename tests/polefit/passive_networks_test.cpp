#include "passive_networks.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "independent_passivity.hpp"
#include "numerics.hpp"

namespace polefit::passive_networks {
namespace {

using testing_support::eps;

long double largest_singular_value(const std::vector<std::complex<double>>& s, std::size_t ports) {
  independent::Square a(ports * ports);
  for (std::size_t i = 0; i < ports; ++i) {
    for (std::size_t j = 0; j < ports; ++j) {
      for (std::size_t k = 0; k < ports; ++k) {
        a[i * ports + j] +=
            std::conj(independent::Complex(s[k * ports + i])) * independent::Complex(s[k * ports + j]);
      }
    }
  }
  return std::sqrt(independent::largest_eigenvalue(a, ports));
}

/// Of (Y + Y^H) / 2.
long double least_eigenvalue(const std::vector<std::complex<double>>& y, std::size_t ports) {
  independent::Square a(ports * ports);
  for (std::size_t i = 0; i < ports; ++i) {
    for (std::size_t j = 0; j < ports; ++j) {
      a[i * ports + j] = -0.5L * (independent::Complex(y[i * ports + j]) +
                                  std::conj(independent::Complex(y[j * ports + i])));
    }
  }
  return -independent::largest_eigenvalue(a, ports);
}

/// Frequencies of all sizes: even over the band and twice the band, and over eight decades.
std::vector<double> thousand_frequencies(const Circuit& circuit) {
  std::vector<double> frequencies{0.0};
  for (int i = 1; i < 500; ++i) {
    frequencies.push_back(circuit.highest() * i / 250.0);
    frequencies.push_back(circuit.highest() * std::pow(10.0, i * 8.0 / 500.0 - 6.0));
  }
  return frequencies;
}

TEST(PassiveNetworks, no_singular_value_of_s_exceeds_1) {
  for (const Kind kind : kinds) {
    for (const std::size_t ports : {1U, 2U, 3U, 4U, 5U, 8U, 12U}) {
      const Circuit circuit(kind, ports, 100 * static_cast<std::uint64_t>(kind) + ports);
      long double largest = 0.0L;
      for (const double frequency : thousand_frequencies(circuit)) {
        largest = std::max(largest, largest_singular_value(circuit.matrix(frequency, 'S'), ports));
      }
      // Elements are rounded by eps / 2 of their size, and the Frobenius norm of S is at most sqrt(ports).
      const double rounding = 0.5 * eps * std::sqrt(static_cast<double>(ports));
      EXPECT_LE(largest, 1.0L + rounding) << static_cast<int>(kind) << " " << ports;
      EXPECT_GT(largest, 0.3L);  // it is a network
    }
  }
}

TEST(PassiveNetworks, no_eigenvalue_of_the_hermitian_part_of_y_and_z_is_negative) {
  for (const Kind kind : kinds) {
    for (const std::size_t ports : {1U, 2U, 4U, 7U}) {
      for (const char parameter : {'Y', 'Z'}) {
        const Circuit circuit(kind, ports, 100 * static_cast<std::uint64_t>(kind) + 50 + ports);
        double worst = 1.0;
        for (const double frequency : thousand_frequencies(circuit)) {
          const std::vector<std::complex<double>> y = circuit.matrix(frequency, parameter);
          double size = 0.0;
          for (const std::complex<double> value : y) {
            size += std::norm(value);
          }
          worst = std::min(worst, static_cast<double>(least_eigenvalue(y, ports)) / std::sqrt(size));
        }
        EXPECT_GE(worst, -0.5 * eps) << static_cast<int>(kind) << " " << ports
                                     << parameter;  // of their rounding
      }
    }
  }
}

TEST(PassiveNetworks, are_of_all_sorts_and_always_the_same) {
  int logarithmic = 0;
  int one_way = 0;
  double most_turns = 0.0;
  for (std::uint64_t seed = 0; seed < 60; ++seed) {
    const std::size_t ports = 2 + seed % 11;
    const std::size_t samples = 100;
    const Network network = passive_network(seed, ports, samples, 'S');
    EXPECT_NO_THROW(check(network)) << seed;
    EXPECT_EQ(network.values, passive_network(seed, ports, samples, 'S').values) << seed;
    EXPECT_TRUE(std::is_sorted(network.frequencies.begin(), network.frequencies.end())) << seed;
    const double first = network.frequencies[1] - network.frequencies[0];
    logarithmic += network.frequencies.back() - network.frequencies[samples - 2] > 1.1 * first ? 1 : 0;
    one_way += std::abs(network.values[samples] - network.values[ports * samples]) > 1e-3 ? 1 : 0;
    // Phase along the far element, in steps that are small enough to be told from one sample to the next.
    const std::complex<double>* const far = &network.values[(ports / 2) * samples];
    double turns = 0.0;
    for (std::size_t k = 1; k < samples; ++k) {
      turns += std::arg(far[k - 1] / far[k]) / (2.0 * std::acos(-1.0));
    }
    most_turns = std::max(most_turns, turns);
  }
  EXPECT_GT(logarithmic, 10);
  EXPECT_LT(logarithmic, 30);
  EXPECT_GT(one_way, 0);
  EXPECT_LT(one_way, 20);
  EXPECT_GT(most_turns, 3.0);
}

TEST(PassiveNetworks, noise_is_of_the_size_that_is_asked_for) {
  const Network clean = passive_network(1, 3, 200, 'S');
  Network noisy = clean;
  add_noise(noisy, 1e-3, 7);
  double largest = 0.0;
  double difference = 0.0;
  for (std::size_t i = 0; i < clean.values.size(); ++i) {
    largest = std::max(largest, std::abs(clean.values[i]));
    difference = std::max(difference, std::abs(noisy.values[i] - clean.values[i]));
  }
  EXPECT_LE(difference, std::sqrt(2.0) * 1e-3 * largest * (1.0 + 4.0 * eps));
  EXPECT_GT(difference, 1e-3 * largest);  // of 1800 values
}

}  // namespace
}  // namespace polefit::passive_networks
