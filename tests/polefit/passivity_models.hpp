/// Models of whole matrices for the tests of passivity.
#pragma once

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <random>
#include <utility>
#include <vector>

#include "matrix_model.hpp"
#include "numerics.hpp"
#include "polefit/model.hpp"
#include "polefit/passivity/extreme_value.hpp"

namespace polefit::passivity_models {

using testing_support::Complex;
using testing_support::RandomNumbers;

/// Resonances of any damping and real poles over four decades, whose largest measure is `top`: the largest
/// singular value of S, minus the least eigenvalue of the Hermitian part of Y in units of its scale.
inline Model random_model(std::uint64_t seed, bool scattering, double top) {
  RandomNumbers numbers(seed);
  const std::size_t ports = 1 + static_cast<std::size_t>(numbers.below(4));
  const int pairs = 1 + numbers.below(6);
  const int reals = numbers.below(3);
  std::vector<Complex> poles;
  for (int i = 0; i < pairs; ++i) {
    const double omega = numbers.between(0.1, 3.0);
    const Complex pole{-omega * std::pow(10.0, numbers.between(-4.0, 0.0)), omega};
    poles.insert(poles.end(), {pole, std::conj(pole)});
  }
  for (int i = 0; i < reals; ++i) {
    poles.emplace_back(-std::pow(10.0, numbers.between(-2.0, 2.0)), 0.0);
  }
  std::vector<Complex> residues;
  std::vector<double> constants;
  for (std::size_t r = 0; r < ports * ports; ++r) {
    for (const Complex pole : poles) {
      if (pole.imag() < 0.0) {
        residues.push_back(std::conj(residues.back()));
        continue;
      }
      const Complex residue = 0.5 * std::abs(pole.real()) * numbers.complex();
      residues.push_back(pole.imag() == 0.0 ? residue.real() : residue);
    }
    const bool diagonal = r % (ports + 1) == 0;
    constants.push_back(scattering ? 0.4 * numbers() : numbers() + (diagonal ? 1.5 : 0.0));
  }
  Model model = matrix_model(scattering ? 'S' : 'Y', ports, poles, residues, constants);
  const ScaledModel scaled = scaled_model(model);
  const double found = Scan(scaled).certified_largest(100000).measure;
  if (scattering) {
    for (Complex& residue : model.residues) {
      residue *= top / found;
    }
    for (double& constant : model.constants) {
      constant *= top / found;
    }
  } else {
    for (std::size_t port = 0; port < ports; ++port) {
      model.constants[port * (ports + 1)] += (found - top) * scaled.scale;
    }
  }
  return model;
}

/// Residues V V^H |Re a| of rank 3, qualities from 3 to 30, all over the band; scaled so that the largest
/// singular value at a resonance is `top`.
inline Model large_model(std::size_t ports, std::size_t poles, double top) {
  std::mt19937_64 generator(ports);
  std::normal_distribution<double> normal;
  std::uniform_real_distribution<double> uniform(0.0, 1.0);
  Model model;
  for (std::size_t i = 0; i < poles; i += 2) {
    const double omega = 0.05 + 0.95 * static_cast<double>(i) / static_cast<double>(poles);
    const double quality = 3.0 * std::pow(10.0, uniform(generator));
    model.poles.emplace_back(-0.5 * omega / quality, omega);
    model.poles.push_back(std::conj(model.poles.back()));
  }
  model.residues.resize(ports * ports * poles);
  constexpr std::size_t rank = 3;
  for (std::size_t i = 0; i < poles; i += 2) {
    std::vector<std::complex<double>> v(ports * rank);
    for (std::complex<double>& element : v) {
      const double real = normal(generator);
      element = {real, 0.3 * normal(generator)};
    }
    const double size = -model.poles[i].real() / static_cast<double>(ports);
    for (std::size_t row = 0; row < ports; ++row) {
      for (std::size_t column = 0; column < ports; ++column) {
        std::complex<double> sum;
        for (std::size_t k = 0; k < rank; ++k) {
          sum += v[row * rank + k] * std::conj(v[column * rank + k]);
        }
        const std::size_t place = (row * ports + column) * poles + i;
        model.residues[place] = size * sum;
        model.residues[place + 1] = std::conj(model.residues[place]);
      }
    }
  }
  model.constants.resize(ports * ports);
  model.proportionals.resize(ports * ports);
  model.network = NetworkMatrix{'S', std::vector<double>(ports, 50.0), all_elements(ports)};
  const ScaledModel scaled = scaled_model(model);
  double largest = 0.0;
  for (std::size_t i = 0; i < poles; i += 2) {
    largest = std::max(largest, measure_at(scaled, scaled.poles[i].imag()));
  }
  for (std::complex<double>& residue : model.residues) {
    residue *= top / largest;
  }
  return model;
}

/// prod (s + a*) / (s - a) over the pairs of these poles, and of none but these: 1 and its residues. One
/// residue a pole, as in Model.
inline std::vector<Complex> all_pass_residues(const std::vector<Complex>& poles) {
  std::vector<Complex> residues;
  for (const Complex pole : poles) {
    Complex residue = 1.0;
    for (const Complex other : poles) {
      residue *= pole + std::conj(other);
      residue /= pole == other ? 1.0 : pole - other;
    }
    residues.push_back(pole.imag() < 0.0 ? std::conj(residues.back()) : residue);
  }
  return residues;
}

}  // namespace polefit::passivity_models
