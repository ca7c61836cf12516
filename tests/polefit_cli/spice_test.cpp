#include "polefit_cli/exports/spice.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <complex>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "listio/number_text.hpp"
#include "ngspice.hpp"
#include "numerics.hpp"
#include "polefit/error.hpp"
#include "polefit_cli/network/network.hpp"
#include "support.hpp"

namespace polefit_cli {
namespace {

using namespace testing_support;
using polefit::Model;
using s_solver::testing_support::Complex;
using s_solver::testing_support::lines_of;
using s_solver::testing_support::RandomNumbers;
using s_solver::testing_support::words_of;

constexpr double two_pi = 6.283185307179586;

const std::vector<double> unequal_references = {50.0, 75.0, 20.0, 100.0};

/// The size of an element of the matrix: what makes the circuit's voltages about those of its sources.
double unit_of(char parameter) {
  switch (parameter) {
    case 'Y':
      return 0.02;
    case 'Z':
      return 50.0;
    default:
      return 0.3;
  }
}

void add_pole(Model& model, Complex pole) {
  model.poles.push_back(pole);
  if (pole.imag() != 0.0) {
    model.poles.push_back(std::conj(pole));
  }
}

/// A network with residues, constants and proportional terms of that size, h at `highest` hertz.
void add_matrix(Model& model, char parameter, std::size_t ports, double highest, RandomNumbers& numbers) {
  const double unit = unit_of(parameter);
  model.network = polefit::NetworkMatrix{
      parameter,
      {unequal_references.begin(), unequal_references.begin() + static_cast<std::ptrdiff_t>(ports)},
      all_elements(ports)};
  for (std::size_t r = 0; r < ports * ports; ++r) {
    model.constants.push_back(unit * numbers());
    model.proportionals.push_back(highest == 0.0 ? 0.0 : unit / (two_pi * highest) * numbers());
    for (std::size_t i = 0; i < model.poles.size(); ++i) {
      const Complex pole = model.poles[i];
      if (pole.imag() == 0.0) {
        model.residues.emplace_back(unit * (pole.real() == 0.0 ? 1e9 : std::abs(pole)) * numbers());
      } else {
        const Complex residue = unit * std::abs(pole.real()) * Complex(numbers(), numbers());
        model.residues.insert(model.residues.end(), {residue, std::conj(residue)});
        ++i;
      }
    }
  }
}

/// Poles over seven decades, real ones and pairs, quality factors from 2 to 10,000.
Model wide_model(char parameter, std::size_t ports, std::uint64_t seed) {
  RandomNumbers numbers(seed);
  Model model;
  add_pole(model, {-2e3, 0.0});
  add_pole(model, {-3e4, two_pi * 2e4});
  add_pole(model, {-5e7, 0.0});
  add_pole(model, {-3e4, two_pi * 5e7});
  add_pole(model, {-6e8, two_pi * 3e9});
  add_matrix(model, parameter, ports, 1e10, numbers);
  return model;
}

/// What drives each port: a voltage source with a resistor (0 for none), or a current source (below 0).
using Resistances = std::vector<double>;

Resistances resistances(double value, std::size_t ports) { return Resistances(ports, value); }

/// As many copies of the subcircuit as there are ports, the k-th one driven at port k alone, and all of them
/// with `g` as reference, which `ground` holds above node 0. `drive` says by how much, as "ac 1".
std::string bench(const Model& model, const Resistances& r, const std::string& drive,
                  const std::string& ground) {
  const std::size_t ports = model.network->references.size();
  std::string text = spice_subcircuit(model, "dut") + "Vg g 0 " + ground + "\n";
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
std::vector<std::string> measured(std::size_t ports) {
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

Quantities quantities(char parameter, Complex v, Complex i, double r) {
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
/// to the latter. `values` holds v and i as measured() lists them; `matrix` the model row by row.
double worst_error(const Model& model, const std::vector<Complex>& values, const std::vector<Complex>& matrix) {
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
      for (std::size_t j = 0; j < ports; ++j) {
        expected += matrix.at(i * ports + j) * q[j].in;
      }
      worst = std::max(worst, std::abs(q[i].out - expected) / std::abs(expected));
    }
  }
  return worst;
}

/// The worst error over an AC analysis.
double ac_error(const Model& model, const Resistances& r, const std::string& sweep,
                const std::string& ground = "dc 0 ac 0") {
  const std::size_t ports = model.network->references.size();
  const auto rows = run_ngspice(bench(model, r, "dc 0 ac 1", ground), "ac " + sweep, measured(ports));
  double worst = 0.0;
  for (const auto& row : rows) {
    const std::vector<double> frequency = {row.at(0)};
    std::vector<Complex> values;
    for (std::size_t i = 1; i + 1 < row.size(); i += 2) {
      values.emplace_back(row[i], row[i + 1]);
    }
    worst = std::max(worst, worst_error(model, values, polefit::evaluate(model, frequency)));
  }
  return worst;
}

/// The usual way to measure the parameter: S between the references, Y with voltage, Z with current sources.
/// Then a single element makes each quantity.
Resistances usual_drive(const Model& model) {
  switch (model.network->parameter) {
    case 'S':
      return model.network->references;
    case 'Y':
      return resistances(0.0, model.network->references.size());
    default:
      return resistances(-1.0, model.network->references.size());
  }
}

class SpiceTest : public s_solver::testing_support::InOwnDirectory {};

// 1e-6 is promised, relative to each element of the matrix at each frequency. The circuit differs from the
// model by rounding only: worst seen 3e-14, and a wrong last digit of seven would still show.
constexpr double tolerance = 1e-10;

TEST_F(SpiceTest, the_circuit_has_the_models_matrix_over_eight_decades) {
  for (const char parameter : {'S', 'Y', 'Z'}) {
    for (const std::size_t ports : {1U, 2U, 4U}) {
      SCOPED_TRACE(parameter + std::to_string(ports));
      const Model model = wide_model(parameter, ports, 10 * ports + static_cast<std::size_t>(parameter));
      EXPECT_LE(ac_error(model, usual_drive(model), "dec 20 100 10g"), tolerance);
    }
  }
}

TEST_F(SpiceTest, the_circuit_has_the_models_matrix_between_any_sources) {
  for (const char parameter : {'S', 'Y', 'Z'}) {
    SCOPED_TRACE(parameter);
    const Model model = wide_model(parameter, 3, 5);
    EXPECT_LE(ac_error(model, {10.0, 300.0, -1.0}, "dec 20 100 10g"), tolerance);
  }
}

TEST_F(SpiceTest, the_elements_may_stand_in_any_order) {
  const Model model = wide_model('S', 2, 3);
  Model other = model;
  const std::size_t order = model.poles.size();
  for (std::size_t r = 0; r < 4; ++r) {
    other.network->elements[3 - r] = model.network->elements[r];
    other.constants[3 - r] = model.constants[r];
    other.proportionals[3 - r] = model.proportionals[r];
    std::copy_n(&model.residues[r * order], order, &other.residues[(3 - r) * order]);
  }
  EXPECT_EQ(spice_subcircuit(other, "dut"), spice_subcircuit(model, "dut"));
}

TEST_F(SpiceTest, poles_on_the_axis_and_in_the_right_half_plane_come_out_as_they_are) {
  RandomNumbers numbers(11);
  Model poles;
  add_pole(poles, {0.0, 0.0});
  add_pole(poles, {0.0, two_pi * 3e8});
  add_pole(poles, {1e9, 0.0});
  add_pole(poles, {2e7, two_pi * 2e8});
  add_pole(poles, {-1e-310, 0.0});  // too slow for a capacitor
  for (const char parameter : {'S', 'Y', 'Z'}) {
    SCOPED_TRACE(parameter);
    Model model = poles;
    add_matrix(model, parameter, 2, 0.0, numbers);
    const std::size_t order = model.poles.size();
    for (std::size_t r = 0; r < 4; ++r) {  // an undamped pair is given no damping to take its residue from
      model.residues[r * order + 1] = unit_of(parameter) * 1e9 * Complex(numbers(), numbers());
      model.residues[r * order + 2] = std::conj(model.residues[r * order + 1]);
    }
    // At 0 Hz the pole at 0 is a short or an open circuit, which ideal and matched sources cannot drive.
    EXPECT_LE(ac_error(model, {10.0, 300.0}, "lin 60 1.05e7 6.05e8"), tolerance);
  }
}

TEST_F(SpiceTest, the_reference_terminal_need_not_be_ground) {
  for (const char parameter : {'S', 'Y', 'Z'}) {
    SCOPED_TRACE(parameter);
    const Model model = wide_model(parameter, 2, 8);
    const Resistances r = {40.0, 60.0};
    EXPECT_LE(ac_error(model, r, "dec 5 100 10g", "dc 0 ac 3"), tolerance);
    // What flows into the ports comes back through the reference: nothing is left for node 0.
    const auto rows = run_ngspice(bench(model, r, "dc 0 ac 1", "dc 0 ac 3"), "ac dec 5 100 10g",
                                  {"i(vg)", "i(vm1_1)"});
    for (const auto& row : rows) {
      EXPECT_LE(std::abs(Complex(row.at(1), row.at(2))), tolerance * std::abs(Complex(row.at(3), row.at(4))));
    }
  }
}

TEST_F(SpiceTest, the_operating_point_is_that_of_the_matrix_at_zero) {
  for (const char parameter : {'S', 'Y', 'Z'}) {
    SCOPED_TRACE(parameter);
    const Model model = wide_model(parameter, 2, 21);
    const auto rows = run_ngspice(bench(model, {40.0, 60.0}, "dc 1 ac 0", "dc 0"), "op", measured(2));
    ASSERT_EQ(rows.size(), 1U);
    const std::vector<Complex> values(rows[0].begin() + 1, rows[0].end());
    EXPECT_LE(worst_error(model, values, polefit::evaluate(model, std::vector<double>{0.0})), tolerance);
  }
}

// ---- Transient
// --------------------------------------------------------------------------------------------------------

constexpr double resonance = 1e9;  // hertz
constexpr double period = 1.0 / resonance;
constexpr double quality = 2e4;
const Complex ringing(-two_pi* resonance / (2.0 * quality), two_pi* resonance);

/// The energy of a signal, the integral of its square, over the first and the last hundred of the 10,000
/// periods that follow an excitation of ten periods.
struct Energies {
  double first = 0.0;
  double last = 0.0;
};

/// Runs with the simulator's own tolerances, as a user does, and at least 20 steps a period.
Energies energies(const std::string& circuit, const std::string& signal) {
  constexpr double begin = 12.0 * period;
  constexpr double end = begin + 1e4 * period;
  const auto rows = run_ngspice(circuit, "tran 0.05n 10.012u 0 0.05n", {signal});
  EXPECT_GE(rows.size(), 200'000U);
  EXPECT_GE(rows.empty() ? 0.0 : rows.back().at(0), 0.999999 * end);
  Energies result;
  for (std::size_t i = 1; i < rows.size(); ++i) {
    const double time = rows[i][0];
    const double energy = rows[i][1] * rows[i][1] * (time - rows[i - 1][0]);
    result.first += time >= begin && time < begin + 100.0 * period ? energy : 0.0;
    result.last += time >= end - 100.0 * period ? energy : 0.0;
  }
  return result;
}

/// Ten periods of the resonance, and nothing after them.
constexpr const char* burst = "dc 0 PULSE(0 1 0 0.2n 0.2n 0.3n 1n 10)";

TEST_F(SpiceTest, a_matched_port_rings_down_as_its_poles_say) {
  // |S| is at most 0.5 + 0.3: passive.
  Model model;
  add_pole(model, ringing);
  const Complex residue = 0.5 * std::abs(ringing.real()) * Complex(0.8, 0.6);
  model.residues = {residue, std::conj(residue)};
  model.constants = {0.3};
  model.proportionals = {0.0};
  declare_one_port(model, 'S', 75.0);
  const auto [first, last] = energies(
      spice_subcircuit(model, "dut") + "V1 s 0 " + burst + "\nR1 s p 75\nX1 p 0 dut\n", "v(p)");
  // The trapezoidal rule maps the left half-plane to the unit circle; what it loses or wins at this step is
  // of second order in it: (pi / 20)^2 / 3 of the logarithm at most.
  const double logarithm = 2.0 * ringing.real() * 9900.0 * period;
  EXPECT_GT(first, 0.0);
  printf("%g %g\n", std::log(last / first), logarithm);
  EXPECT_NEAR(std::log(last / first), logarithm, 0.03 * std::abs(logarithm));
}

}  // namespace
}  // namespace polefit_cli
