/// Models that are not passive, with the data that they are models of.
#pragma once

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "numerics.hpp"
#include "numerics/angular_frequency.hpp"
#include "passivity_models.hpp"
#include "polefit/enforcement.hpp"
#include "polefit/model.hpp"

namespace polefit::enforcement_cases {

using passivity_models::matrix_model;
using testing_support::Complex;
using testing_support::RandomNumbers;

struct Case {
  Model model;
  std::vector<double> frequencies;
  std::vector<Complex> values;  // one response after the other
  std::vector<double> weights;

  NetworkData data() const {
    return {.frequencies = frequencies,
            .responses = Responses::by_response(values, model.responses()),
            .names = {},
            .weights = weights};
  }
};

/// In hertz, of frequencies in rad/s from `first` to `last`.
inline std::vector<double> band(std::size_t samples, double first, double last) {
  std::vector<double> frequencies;
  for (std::size_t k = 0; k < samples; ++k) {
    const double part = samples == 1 ? 1.0 : static_cast<double>(k) / static_cast<double>(samples - 1);
    frequencies.push_back((first + (last - first) * part) / numerics::two_pi);
  }
  return frequencies;
}

/// Data that a model fits exactly.
inline Case exact(Model model, std::vector<double> frequencies) {
  Case made;
  made.values = evaluate(model, frequencies);
  made.model = std::move(model);
  made.frequencies = std::move(frequencies);
  return made;
}

/// Both parts of each value moved by up to this part of the largest value of all.
inline void disturb(Case& made, double part, std::uint64_t seed) {
  RandomNumbers numbers(seed);
  double largest = 0.0;
  for (const Complex value : made.values) {
    largest = std::max(largest, std::abs(value));
  }
  for (Complex& value : made.values) {
    value += part * largest * numbers.complex();
  }
}

/// A random model whose largest measure is `top`, with disturbed samples of it.
inline Case random_case(std::uint64_t seed, bool scattering, double top, double noise) {
  Case made = exact(passivity_models::random_model(seed, scattering, top), band(60, 0.0, 3.0));
  disturb(made, noise, seed + 1);
  return made;
}

/// The same of a reciprocal network: residues, constants and samples are symmetric.
inline Case symmetric_case(std::uint64_t seed, bool scattering, double top, double noise) {
  Case made = random_case(seed, scattering, top, noise);
  const std::size_t n = made.model.network->ports();
  const std::size_t order = made.model.poles.size();
  const std::size_t samples = made.frequencies.size();
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j < i; ++j) {
      const std::size_t to = i * n + j;
      const std::size_t from = j * n + i;
      std::copy_n(made.model.residues.begin() + static_cast<std::ptrdiff_t>(from * order), order,
                  made.model.residues.begin() + static_cast<std::ptrdiff_t>(to * order));
      made.model.constants[to] = made.model.constants[from];
      std::copy_n(made.values.begin() + static_cast<std::ptrdiff_t>(from * samples), samples,
                  made.values.begin() + static_cast<std::ptrdiff_t>(to * samples));
    }
  }
  return made;
}

}  // namespace polefit::enforcement_cases
