/// Random networks for the tests of polefit.
#pragma once

#include <cmath>
#include <complex>
#include <cstddef>
#include <vector>

#include "numerics.hpp"
#include "numerics/angular_frequency.hpp"
#include "polefit/fit.hpp"

namespace polefit::test_networks {

using testing_support::Complex;
using testing_support::eps;
using testing_support::RandomNumbers;

/// A model and its samples.
struct Network {
  Model model;
  std::vector<double> frequencies;
  std::vector<Complex> values;  ///< one response after the other

  NetworkData data() const {
    return {.frequencies = frequencies,
            .responses = Responses::by_response(values, model.responses()),
            .names = {},
            .weights = {}};
  }
};

struct NetworkKind {
  std::size_t pairs = 5;
  std::size_t real_poles = 0;
  std::size_t responses = 1;
  std::size_t samples = 0;  ///< 0: as many as suffice
  bool constant = true;
  bool proportional = false;
  double noise = 0.0;
};

/// Pairs that resonate all over 1..10 GHz about as widely as they are apart, and real poles in the lower part
/// of it.
inline Network random_network(const NetworkKind& kind, std::uint64_t seed) {
  RandomNumbers numbers(seed);
  constexpr double band = numerics::two_pi * 9e9;
  Network network;
  Model& model = network.model;
  const double distance = band / static_cast<double>(kind.pairs + 1);
  for (std::size_t i = 0; i < kind.pairs; ++i) {
    const double omega = numerics::two_pi * 1e9 + distance * (static_cast<double>(i) + 1.0 + 0.3 * numbers());
    const Complex pole(-distance * numbers.between(0.1, 0.4), omega);
    model.poles.insert(model.poles.end(), {pole, std::conj(pole)});
  }
  for (std::size_t i = 0; i < kind.real_poles; ++i) {
    model.poles.emplace_back(
        -numerics::two_pi * 2e9 * std::pow(3.0, static_cast<double>(i)) * numbers.between(0.8, 1.2), 0.0);
  }
  for (std::size_t r = 0; r < kind.responses; ++r) {
    for (std::size_t i = 0; i < 2 * kind.pairs; i += 2) {
      const Complex residue = distance * Complex{numbers.between(0.2, 1.0), numbers()};
      model.residues.insert(model.residues.end(), {residue, std::conj(residue)});
    }
    for (std::size_t i = 2 * kind.pairs; i < model.poles.size(); ++i) {
      model.residues.emplace_back(-model.poles[i].real() * numbers.between(0.5, 2.0), 0.0);
    }
    model.constants.push_back(kind.constant ? numbers() : 0.0);
    model.proportionals.push_back(kind.proportional ? 1e-11 * numbers() : 0.0);
  }
  const std::size_t samples = kind.samples != 0 ? kind.samples : 4 * model.poles.size() + 20;
  for (std::size_t k = 0; k < samples; ++k) {
    network.frequencies.push_back(0.5e9 + 10e9 * static_cast<double>(k) / static_cast<double>(samples));
  }
  network.values = evaluate(model, network.frequencies);
  for (Complex& value : network.values) {
    value += kind.noise * numbers.complex();
  }
  return network;
}

/// Options for as many poles as the network has.
inline Options options_for(const NetworkKind& kind) {
  Options options;
  options.complex_pairs = kind.pairs;
  options.real_poles = kind.real_poles;
  options.constant = kind.constant;
  options.proportional = kind.proportional;
  return options;
}

}  // namespace polefit::test_networks
