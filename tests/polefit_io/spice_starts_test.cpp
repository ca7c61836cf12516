/// How a simulation starts: at the operating point, which is the model's value at 0 Hz, and from rest. In two
/// simulators, from one netlist. And what it does not make: noise.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <functional>
#include <string>
#include <vector>

#include "circuits.hpp"
#include "gnucap.hpp"
#include "ngspice.hpp"
#include "numerics.hpp"
#include "support.hpp"

namespace polefit {
namespace {

using namespace testing_support;

class SpiceStarts : public testing_support::InOwnDirectory {};

int resistance(std::size_t port) { return 20 + 10 * static_cast<int>(port % 5); }

/// One copy, each port behind a resistor of its own and a voltage that `drive` makes of the port's size.
std::string driven(const Model& model, const std::function<std::string(double)>& drive) {
  std::string text = spice_subcircuit(model, "dut");
  std::string instance = "X1";
  for (std::size_t i = 1; i <= model.network->ports(); ++i) {
    const std::string at = std::to_string(i);
    const double size = 0.25 * static_cast<double>(i % 4 + 1);
    text += "Vs" + at + " s" + at + " 0 " + drive(size) + "\n";
    text += "Rs" + at + " s" + at + " n" + at + " " + std::to_string(resistance(i)) + "\n";
    instance += (i % 8 == 0 ? "\n+ n" : " n") + at;
  }
  return text + instance + " 0 dut\n";
}

std::vector<std::string> ports_of(const Model& model) {
  std::vector<std::string> vectors;
  for (std::size_t i = 1; i <= model.network->ports(); ++i) {
    vectors.push_back("v(n" + std::to_string(i) + ")");
    vectors.push_back("v(s" + std::to_string(i) + ")");
  }
  return vectors;
}

/// The largest difference at a port between what the matrix makes of voltages at the ports and behind their
/// resistors, which stand side by side, and what they are, relative to the terms of its sum.
double worst_difference(const Model& model, double hertz, const std::vector<Complex>& voltages) {
  const std::vector<Complex> matrix = evaluate(model, std::vector<double>{hertz});
  const auto& references = model.network->references;
  std::vector<Quantities> q;
  for (std::size_t i = 0; i < references.size(); ++i) {
    const Complex v = voltages.at(2 * i);
    const Complex current = (voltages.at(1 + 2 * i) - v) / static_cast<double>(resistance(i + 1));
    q.push_back(quantities(model.network->parameter, v, current, references[i]));
  }
  double worst = 0.0;
  for (std::size_t i = 0; i < q.size(); ++i) {
    Complex expected = 0.0;
    double size = 0.0;
    for (std::size_t j = 0; j < q.size(); ++j) {
      expected += matrix[i * q.size() + j] * q[j].in;
      size += std::abs(matrix[i * q.size() + j] * q[j].in);
    }
    worst = std::max(worst, std::abs(q[i].out - expected) / size);
  }
  return worst;
}

double operating_point_error(const Model& model, const std::vector<double>& row) {
  return worst_difference(model, 0.0, {row.begin() + 1, row.end()});
}

/// Every kind of model whose value at 0 Hz is finite.
std::vector<Model> models() {
  std::vector<Model> models;
  for (const char parameter : {'S', 'Y', 'Z'}) {
    for (const std::size_t ports : {1U, 2U, 4U, 12U}) {
      models.push_back(wide_model(parameter, ports, ports));
      models.push_back(low_rank_model(parameter, ports, ports));
      Model growing = models.back();  // a pole in the right half-plane
      growing.poles[0] = -growing.poles[0];
      models.push_back(growing);
    }
  }
  return models;
}

/// The same without what makes random circuits run away at once: terms proportional to s of any sign. Of Y
/// there is a capacitor at each port, of Z an inductor.
Model tame(Model model) {
  const std::size_t ports = model.network->ports();
  const double size = unit_of(model.network->parameter);
  for (std::size_t r = 0; r < model.responses(); ++r) {
    const bool own = r % (ports + 1) == 0;
    model.proportionals[r] = own && model.network->parameter != 'S' ? 1e-11 * size : 0.0;
    model.constants[r] = own && model.network->parameter != 'S' ? 2.0 * size : 0.0;
  }
  return model;
}

std::string trace(const Model& model) {
  return model.network->parameter + std::to_string(model.network->ports()) + ", " +
         (model.poles.empty() ? "no poles" : std::to_string(model.poles[0].real()));
}

TEST_F(SpiceStarts, the_operating_point_is_the_value_at_zero_hertz_in_two_simulators) {
  for (const Model& model : models()) {
    SCOPED_TRACE(trace(model));
    const std::string circuit = driven(model, [](double size) { return std::to_string(size); });
    // 1e-9 is promised; a few hundred roundings, and 14 digits of what gnucap prints, are much less.
    const auto first = run_ngspice(circuit, "op", ports_of(model));
    ASSERT_EQ(first.size(), 1U);
    EXPECT_LE(operating_point_error(model, first[0]), 1e-9) << "ngspice";
    const auto second = run_gnucap(circuit, "op", ports_of(model));
    ASSERT_EQ(second.size(), 1U);
    // There a source of voltage has 10 microohms: at a port of Z, which is one of some ten ohms, two of them.
    EXPECT_LE(operating_point_error(model, second[0]), model.network->parameter == 'Z' ? 1e-5 : 1e-9)
        << "gnucap";
  }
}

TEST_F(SpiceStarts, the_second_simulator_has_the_models_matrix_over_frequency_too) {
  std::vector<Model> all = models();
  for (const Model& model : models()) {
    all.push_back(model);
    std::fill(all.back().proportionals.begin(), all.back().proportionals.end(), 0.0);
  }
  for (const char parameter : {'S', 'Y', 'Z'}) {
    // Neither poles nor a band tell what is fast: 10 nH, 1 pF or the like, with what is constant.
    Model polynomial = wide_model(parameter, 2, 2);
    polynomial.poles.clear();
    polynomial.residues.clear();
    polynomial.origin.reset();
    for (std::size_t r = 0; r < polynomial.responses(); ++r) {
      const bool own = r % 3 == 0;
      polynomial.proportionals[r] = own ? 1e-11 * unit_of(parameter) : 0.0;
      polynomial.constants[r] = (own ? 0.5 : 0.1) * unit_of(parameter);
    }
    all.push_back(polynomial);
  }
  for (const Model& model : all) {
    if (model.network->ports() > 4) {
      continue;
    }
    SCOPED_TRACE(trace(model));
    std::vector<std::string> parts;
    for (const std::string& vector : ports_of(model)) {
      parts.push_back("vr" + vector.substr(1));
      parts.push_back("vi" + vector.substr(1));
    }
    const auto rows = run_gnucap(driven(model, [](double size) { return "ac " + std::to_string(size); }),
                                 "ac 1e3 1e10 decade 2", parts);
    ASSERT_GE(rows.size(), 14U);
    for (const std::vector<double>& row : rows) {
      std::vector<Complex> voltages;
      for (std::size_t k = 1; k + 1 < row.size(); k += 2) {
        voltages.emplace_back(row[k], row[k + 1]);
      }
      // Frequencies of 14 digits lose four at a quality factor of 10,000. Two of gnucap's sources of voltage,
      // of 10 microohms each, are in series with the capacitor that takes the derivative, of 300 ohms at 10
      // GHz; at a port of Z they are beside some ten ohms.
      const bool plain = model.proportionals[0] == 0.0;
      const double allowed = model.network->parameter == 'Z' ? 1e-4 : plain ? 1e-9 : 1e-7;
      EXPECT_LE(worst_difference(model, row[0], voltages), allowed) << row[0];
    }
  }
}

/// Inductors between all pairs of ports, which have 100 ohms each, as Y, or what is the dual as Z. The rank
/// of the residue of 1 / s is one less than the ports.
Model coupled_at_zero(char parameter, std::size_t ports) {
  Model model;
  model.poles = {0.0};
  const double unit = parameter == 'Y' ? 1.0 : 1e4;
  for (std::size_t r = 0; r < ports * ports; ++r) {
    const bool own = r % (ports + 1) == 0;
    model.residues.emplace_back(1e9 * unit * (own ? static_cast<double>(ports) - 1.0 : -1.0));
    model.constants.push_back(own ? 0.01 * unit : 0.0);
    model.proportionals.push_back(0.0);
  }
  model.network = NetworkMatrix{parameter, std::vector<double>(ports, 50.0), all_elements(ports)};
  return model;
}

TEST_F(SpiceStarts, a_pole_at_zero_joins_what_its_residue_joins_and_no_more) {
  // In ngspice alone: gnucap solves without pivots, and the state of a pole at 0 has none at 0 Hz.
  for (const char parameter : {'Y', 'Z'}) {
    for (const std::size_t ports : {2U, 4U}) {  // of which the latter takes fewer elements by input
      SCOPED_TRACE(parameter + std::to_string(ports));
      const Model model = coupled_at_zero(parameter, ports);
      const std::string circuit = driven(model, [](double size) { return std::to_string(size); });
      const auto rows = run_ngspice(circuit, "op", ports_of(model));
      ASSERT_EQ(rows.size(), 1U);
      // Y: one voltage for all resistors. Z: one current through all resistors.
      double sources = 0.0;
      double currents = 0.0;
      double resistances = 0.0;
      double conductances = 0.0;
      for (std::size_t i = 0; i < ports; ++i) {
        const double r = resistance(i + 1);
        sources += rows[0].at(2 + 2 * i);
        currents += rows[0].at(2 + 2 * i) / r;
        resistances += r + 100.0;
        conductances += 1.0 / r + 0.01;
      }
      for (std::size_t i = 0; i < ports; ++i) {
        const double of_current = rows[0].at(2 + 2 * i) - resistance(i + 1) * sources / resistances;
        EXPECT_NEAR(rows[0].at(1 + 2 * i), parameter == 'Y' ? currents / conductances : of_current, 1e-9);
      }
    }
  }
}

/// Sources at 0 for a nanosecond, then a ramp of another one.
std::string late_ramp(double size) {
  return "pwl(0 0 1n 0 2n " + std::to_string(size) + " 1 " + std::to_string(size) + ")";
}

void expect_rest_and_then_motion(const std::vector<std::vector<double>>& rows) {
  ASSERT_FALSE(rows.empty());
  EXPECT_EQ(rows.front().front(), 0.0);
  EXPECT_GE(rows.back().front(), 2.9e-9);
  std::size_t at_rest = 0;
  double largest = 0.0;
  for (const std::vector<double>& row : rows) {
    for (std::size_t k = 1; k < row.size(); ++k) {
      if (row[0] < 0.999e-9) {
        EXPECT_LE(std::abs(row[k]), 1e-15) << row[0];  // of half a volt: less than the rounding of any sum
        ++at_rest;
      }
      largest = std::max(largest, std::abs(row[k]));
    }
  }
  EXPECT_GT(at_rest, rows[0].size());
  EXPECT_GT(largest, 0.1);
}

TEST_F(SpiceStarts, nothing_moves_before_the_sources_do) {
  for (const Model& model : models()) {
    SCOPED_TRACE(trace(model));
    const std::string circuit = driven(tame(model), late_ramp);
    expect_rest_and_then_motion(run_ngspice(circuit, "tran 0.1n 3n 0 0.1n", ports_of(model)));
    expect_rest_and_then_motion(run_gnucap(circuit, "tran 0.1n 3n 0", ports_of(model)));
  }
}

TEST_F(SpiceStarts, a_transient_goes_on_from_the_operating_point) {
  for (const char parameter : {'S', 'Y', 'Z'}) {
    for (const std::size_t ports : {1U, 2U, 4U}) {
      for (const Model& model :
           {tame(wide_model(parameter, ports, 3)), tame(low_rank_model(parameter, ports, 3))}) {
        SCOPED_TRACE(trace(model));
        const std::string circuit = driven(model, [](double size) { return std::to_string(size); });
        const auto rows = run_ngspice(circuit, "tran 0.1n 3n 0 0.1n", ports_of(model));
        ASSERT_GE(rows.size(), 20U);
        for (const std::vector<double>& row : rows) {
          EXPECT_LE(operating_point_error(model, row), 1e-9) << row[0];
        }
      }
    }
  }
}

/// The densities of voltage noise at port 2, in volts per root of hertz, of a circuit whose ports end in
/// conductances of 20 mS that make none.
std::vector<double> noise_of(const Model& model) {
  std::string circuit = spice_subcircuit(model, "dut");
  circuit += "I1 0 n1 dc 0 ac 1\nG1 n1 0 n1 0 0.02\nG2 n2 0 n2 0 0.02\nX1 n1 n2 0 dut\n";
  std::vector<double> densities;
  for (const auto& row :
       run_ngspice(circuit, "noise v(n2) I1 dec 10 1e6 1e10\nsetplot noise1", {"onoise_spectrum"})) {
    densities.push_back(row.at(1));
  }
  return densities;
}

TEST_F(SpiceStarts, a_circuit_makes_no_noise) {
  for (const char parameter : {'S', 'Y', 'Z'}) {
    SCOPED_TRACE(parameter);
    for (Model model : {wide_model(parameter, 2, 6), low_rank_model(parameter, 2, 6)}) {
      model.network->references = {50.0, 50.0};
      const std::vector<double> densities = noise_of(model);
      ASSERT_GE(densities.size(), 40U);
      // Each state has a resistor of 1e15 ohms, whose current has a density of 4.1e-18 A; with less than 40
      // of them, outputs of less than 100 V/A and ports that are not resonant to more than that again, less
      // than 1e-13 is left of the 9.1e-10 of a resistor of 50 ohms.
      EXPECT_LE(*std::max_element(densities.begin(), densities.end()), 1e-13);
    }
  }
}

TEST_F(SpiceStarts, noise_of_a_resistor_would_be_seen) {
  const Model model = wide_model('S', 2, 6);
  std::string circuit = spice_subcircuit(model, "dut");
  circuit += "I1 0 n1 dc 0 ac 1\nG1 n1 0 n1 0 0.02\nR2 n2 0 50\nX1 n1 n2 0 dut\n";
  const auto rows =
      run_ngspice(circuit, "noise v(n2) I1 dec 10 1e6 1e10\nsetplot noise1", {"onoise_spectrum"});
  ASSERT_FALSE(rows.empty());
  for (const auto& row : rows) {
    EXPECT_GT(row.at(1), 1e-11);
  }
}

}  // namespace
}  // namespace polefit
