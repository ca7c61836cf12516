/// Models of whole matrices for tests.
#pragma once

#include <complex>
#include <cstddef>
#include <utility>
#include <vector>

#include "polefit/model.hpp"

namespace polefit::passivity_models {

/// Of S, Y or Z with references of 50 ohms; residues, constants and proportional terms row by row, the last
/// zero where none are given.
inline Model matrix_model(char parameter, std::size_t ports, std::vector<std::complex<double>> poles,
                          std::vector<std::complex<double>> residues, std::vector<double> constants,
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

}  // namespace polefit::passivity_models
