/// Models with circuits, the circuits that drive them, and how far what those give is from the models.
#pragma once

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "numerics.hpp"
#include "numerics/angular_frequency.hpp"
#include "polefit/exports.hpp"
#include "support.hpp"

namespace testing_support {

/// The size of an element of the matrix: what makes the circuit's voltages about those of its sources.
inline double unit_of(char parameter) {
  switch (parameter) {
    case 'Y':
      return 0.02;
    case 'Z':
      return 50.0;
    default:
      return 0.3;
  }
}

inline void add_pole(polefit::Model& model, Complex pole) {
  model.poles.push_back(pole);
  if (pole.imag() != 0.0) {
    model.poles.push_back(std::conj(pole));
  }
}

/// A network with residues, constants and proportional terms of that size, h at `highest` hertz.
inline void add_matrix(polefit::Model& model, char parameter, std::size_t ports, double highest,
                       RandomNumbers& numbers) {
  const double unit = unit_of(parameter);
  model.network = polefit::NetworkMatrix{parameter, {}, polefit::all_elements(ports)};
  for (std::size_t port = 0; port < ports; ++port) {
    model.network->references.push_back(std::vector{50.0, 75.0, 20.0, 100.0}[port % 4]);
  }
  for (std::size_t r = 0; r < ports * ports; ++r) {
    model.constants.push_back(unit * numbers());
    model.proportionals.push_back(highest == 0.0 ? 0.0 : unit / (numerics::two_pi * highest) * numbers());
    for (std::size_t i = 0; i < model.poles.size(); ++i) {
      const Complex pole = model.poles[i];
      if (pole.imag() == 0.0) {
        model.residues.emplace_back(unit * (pole.real() == 0.0 ? 1e9 : std::abs(pole)) * numbers());
      } else {
        const Complex residue = unit * std::abs(pole.real()) * numbers.complex();
        model.residues.insert(model.residues.end(), {residue, std::conj(residue)});
        ++i;
      }
    }
  }
}

/// Poles over seven decades, real ones and pairs, quality factors from 2 to 10,000.
inline polefit::Model wide_model(char parameter, std::size_t ports, std::uint64_t seed) {
  RandomNumbers numbers(seed);
  polefit::Model model;
  add_pole(model, {-2e3, 0.0});
  add_pole(model, {-3e4, numerics::two_pi * 2e4});
  add_pole(model, {-5e7, 0.0});
  add_pole(model, {-3e4, numerics::two_pi * 5e7});
  add_pole(model, {-6e8, numerics::two_pi * 3e9});
  add_matrix(model, parameter, ports, 1e10, numbers);
  return model;
}

/// A reciprocal network whose residues have rank one, as those of a circuit of a few elements have.
inline polefit::Model low_rank_model(char parameter, std::size_t ports, std::uint64_t seed) {
  polefit::Model model = wide_model(parameter, ports, seed);
  const std::size_t order = model.poles.size();
  RandomNumbers numbers(seed + 1);
  for (std::size_t i = 0; i < order; ++i) {
    const bool pair = model.poles[i].imag() != 0.0;
    const double size = unit_of(parameter) * std::abs(model.poles[i].real());
    std::vector<Complex> column;
    for (std::size_t port = 0; port < ports; ++port) {
      column.push_back(pair ? numbers.complex() : Complex(numbers()));
    }
    for (std::size_t row = 0; row < ports; ++row) {
      for (std::size_t other = 0; other < ports; ++other) {
        Complex* const first = &model.residues[(row * ports + other) * order + i];
        first[0] = size * (row < other ? column[row] * column[other] : column[other] * column[row]);
        if (pair) {
          first[1] = std::conj(first[0]);
        }
      }
    }
    i += pair ? 1 : 0;
  }
  return model;
}

/// What drives each port: a voltage source with a resistor (0 for none), or a current source (below 0).
using Resistances = std::vector<double>;

inline Resistances resistances(double value, std::size_t ports) { return Resistances(ports, value); }

/// As many copies of the subcircuit as there are ports, the k-th one driven at port k alone, and all of them
/// with `g` as reference, which `ground` holds above node 0. `drive` says by how much, as "ac 1".
inline std::string bench(const polefit::Model& model, const Resistances& r, const std::string& drive,
                         const std::string& ground) {
  const std::size_t ports = model.network->references.size();
  std::string text = polefit::spice_subcircuit(model, "dut") + "Vg g 0 " + ground + "\n";
  for (std::size_t k = 1; k <= ports; ++k) {
    std::string instance = "X" + std::to_string(k);
    for (std::size_t i = 1; i <= ports; ++i) {
      const std::string at = std::to_string(k) + "_" + std::to_string(i);
      const std::string source = i == k ? drive : "dc 0 ac 0";
      instance += " n" + at;
      text += "Vm" + at + " m" + at + " n" + at + " dc 0\n";  // measures the current into the port
      if (r[i - 1] < 0.0) {
        text += "Is" + at + " g m" + at + " " + source + "\n";
      } else if (r[i - 1] == 0.0) {  // ngspice takes a resistor of 0 for one of a milliohm
        text += "Vs" + at + " m" + at + " g " + source + "\n";
      } else {
        text += "Vs" + at + " s" + at + " g " + source + "\n";
        text += "Rs" + at + " s" + at + " m" + at + " " + std::to_string(r[i - 1]) + "\n";
      }
    }
    text += instance + " g dut\n";
  }
  return text;
}

/// Voltage and current of every port of every copy, in the order in which the differences are taken.
inline std::vector<std::string> at_ports(std::size_t ports) {
  std::vector<std::string> vectors;
  for (std::size_t k = 1; k <= ports; ++k) {
    for (std::size_t i = 1; i <= ports; ++i) {
      const std::string at = std::to_string(k) + "_" + std::to_string(i);
      vectors.push_back("v(n" + at + ",g)");
      vectors.push_back("i(vm" + at + ")");
    }
  }
  return vectors;
}

/// What the matrix takes and gives at a port: waves, voltage and current, current and voltage.
struct Quantities {
  Complex in;
  Complex out;
};

inline Quantities quantities(char parameter, Complex v, Complex i, double r) {
  switch (parameter) {
    case 'S':
      return {(v + r * i) / (2.0 * std::sqrt(r)), (v - r * i) / (2.0 * std::sqrt(r))};
    case 'Y':
      return {v, i};
    default:
      return {i, v};
  }
}

/// The largest difference between what the circuit gives and what the model makes of what it takes, relative
/// to the terms of the latter's sum. `values` holds v and i as at_ports() lists them; `matrix` the model row
/// by row.
inline double worst_error(const polefit::Model& model, const std::vector<Complex>& values,
                          const std::vector<Complex>& matrix) {
  const auto& references = model.network->references;
  const std::size_t ports = references.size();
  double worst = 0.0;
  for (std::size_t k = 0; k < ports; ++k) {
    std::vector<Quantities> q;
    for (std::size_t i = 0; i < ports; ++i) {
      const std::size_t at = 2 * (k * ports + i);
      q.push_back(quantities(model.network->parameter, values.at(at), values.at(at + 1), references[i]));
    }
    for (std::size_t i = 0; i < ports; ++i) {
      Complex expected = 0.0;
      double size = 0.0;
      for (std::size_t j = 0; j < ports; ++j) {
        const Complex term = matrix.at(i * ports + j) * q[j].in;
        expected += term;
        size += std::abs(term);
      }
      worst = std::max(worst, std::abs(q[i].out - expected) / size);
    }
  }
  return worst;
}

/// The elements of a subcircuit, each as its words.
inline std::vector<std::vector<std::string>> elements_of(const std::string& text) {
  std::vector<std::vector<std::string>> elements;
  for (const std::string& line : lines_of(text)) {
    if (std::string_view("*.+").find(line.at(0)) == std::string_view::npos) {
      elements.push_back(words_of(line));
    }
  }
  return elements;
}

}  // namespace testing_support
