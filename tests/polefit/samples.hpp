/// What the tests of the stages of an order search share: noise, orders of samples, problems.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <vector>

#include "networks.hpp"
#include "numerics/angular_frequency.hpp"
#include "polefit/problem/problem.hpp"

namespace polefit::test_networks {

/// Complex white noise of root mean square 1.
inline Complex white_noise(RandomNumbers& numbers) {
  const double radius = std::sqrt(-std::log(numbers.between(0x1p-60, 1.0)));
  return std::polar(radius, numbers.between(0.0, numerics::two_pi));
}

inline std::vector<std::size_t> counted(std::size_t count) {
  std::vector<std::size_t> numbers(count);
  std::iota(numbers.begin(), numbers.end(), std::size_t{0});
  return numbers;
}

inline std::vector<std::size_t> by_frequency(const Problem& problem) {
  std::vector<std::size_t> order = counted(problem.samples);
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t a, std::size_t b) { return problem.omega[a] < problem.omega[b]; });
  return order;
}

/// Fisher and Yates.
inline std::vector<std::size_t> shuffled(std::size_t count, RandomNumbers& numbers) {
  std::vector<std::size_t> order = counted(count);
  for (std::size_t i = count; i > 1; --i) {
    std::swap(order[i - 1], order[static_cast<std::size_t>(numbers.below(static_cast<int>(i)))]);
  }
  return order;
}

inline std::vector<double> even_frequencies(std::size_t count, double first, double last) {
  std::vector<double> frequencies;
  for (std::size_t k = 0; k < count; ++k) {
    frequencies.push_back(first + (last - first) * static_cast<double>(k) / static_cast<double>(count - 1));
  }
  return frequencies;
}

/// Weights of 0.5 to 2.
inline std::vector<double> random_weights(std::size_t count, RandomNumbers& numbers) {
  std::vector<double> weights;
  for (std::size_t k = 0; k < count; ++k) {
    weights.push_back(std::exp2(numbers()));
  }
  return weights;
}

/// The poles of a network in units of a problem of it, each moved by so much of its distance to the axis.
inline std::vector<Complex> disturbed_poles(const Network& network, const Problem& problem, double part,
                                            RandomNumbers& numbers) {
  std::vector<Complex> poles = network.model.poles;
  for (std::size_t i = 0; i < poles.size(); ++i) {
    poles[i] /= problem.scale;
    const double by = part * std::abs(poles[i].real());
    if (poles[i].imag() == 0.0) {
      poles[i] += by * numbers();
    } else {
      poles[i] += by * numbers.complex();
      poles[i + 1] = std::conj(poles[i]);
      ++i;
    }
  }
  return poles;
}

/// Samples that are kept here; the values of one response after the other.
inline Network network_of(std::vector<double> frequencies, std::vector<Complex> values) {
  Network network;
  network.model.constants.resize(values.size() / frequencies.size());
  network.model.proportionals = network.model.constants;
  network.frequencies = std::move(frequencies);
  network.values = std::move(values);
  return network;
}

}  // namespace polefit::test_networks
