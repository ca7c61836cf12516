/// Models of whole matrices for the tests of passivity.
#pragma once

#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "numerics.hpp"
#include "polefit/model.hpp"
#include "polefit/passivity/extreme_value.hpp"

namespace polefit::passivity_models {

using testing_support::Complex;
using testing_support::RandomNumbers;

inline Model matrix_model(char parameter, std::size_t ports, std::vector<Complex> poles,
                          std::vector<Complex> residues, std::vector<double> constants,
                          std::vector<double> proportionals = {}) {
  Model model;
  model.poles = std::move(poles);
  model.residues = std::move(residues);
  model.constants = std::move(constants);
  model.proportionals = std::move(proportionals);
  model.proportionals.resize(ports * ports);
  model.network = NetworkMatrix{parameter, std::vector<double>(ports, 50.0), all_elements(ports)};
  return model;
}

/// Resonances of any damping and real poles over four decades, whose largest measure is `top`: the largest
/// singular value of S, minus the least eigenvalue of the Hermitian part of Y in units of its scale.
inline Model random_model(std::uint64_t seed, bool scattering, double top) {
  RandomNumbers numbers(seed);
  const auto ports = static_cast<std::size_t>(1 + numbers.below(4));
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
