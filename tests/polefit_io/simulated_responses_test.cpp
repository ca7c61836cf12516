/// Responses over time beside those of a circuit simulator with the exported circuit.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "ngspice.hpp"
#include "polefit/enforcement.hpp"
#include "polefit/exports.hpp"
#include "polefit/fit.hpp"
#include "polefit/passive_networks.hpp"
#include "polefit/time_response.hpp"
#include "support.hpp"

namespace polefit {
namespace {

using testing_support::run_ngspice;

class SimulatedResponses : public testing_support::InOwnDirectory {};

std::string number(double value) {
  std::array<char, 40> digits{};
  std::snprintf(digits.data(), digits.size(), "%.15e", value);
  return digits.data();
}

/// A ramp of 1 V through one resistance into port 1 and a pulse of half a volt through another into port 2.
void expect_same(char parameter, std::uint64_t seed, const std::array<double, 2>& resistances) {
  const Network network = passive_networks::passive_network(seed, 2, 150, parameter);
  Options options;
  options.complex_pairs = 6;
  const Model model = enforce_passivity(fit(network, options).model, network.data()).model;
  const double period = 1.0 / network.frequencies.back();
  const Waveform ramp{{0.0, 2.0 * period}, {0.0, 1.0}};
  const Waveform pulse{{5.0 * period, 6.0 * period, 9.0 * period, 10.0 * period}, {0.0, 0.5, 0.5, 0.0}};

  std::string circuit = spice_subcircuit(model, "dut") + ".options reltol=1e-5 vntol=1e-9 abstol=1e-14\n";
  circuit += "Va a 0 pwl(0 0 " + number(2.0 * period) + " 1)\nVb b 0 pwl(0 0";
  for (std::size_t i = 0; i < 4; ++i) {
    circuit += " " + number(pulse.times[i]) + " " + number(pulse.values[i]);
  }
  circuit +=
      ")\nRa a p " + number(resistances[0]) + "\nRb b q " + number(resistances[1]) + "\nX1 p q 0 dut\n";
  const double step = period / 50.0;
  const auto rows =
      run_ngspice(circuit, "tran " + number(step) + " " + number(30.0 * period) + " 0 " + number(step),
                  {"v(p)", "v(q)", "i(Va)"});

  std::vector<double> times;
  std::vector<std::array<double, 3>> expected;
  for (const std::vector<double>& row : rows) {
    if (times.empty() || row[0] > times.back()) {
      times.push_back(row[0]);
      expected.push_back({row[1], row[2], -row[3]});
    }
  }
  ASSERT_GT(times.size(), 1000U);
  const PortSignals found =
      terminated_response(model, std::vector<Termination>{{resistances[0], ramp}, {resistances[1], pulse}},
                          times, {.largest_step = step / 4.0});
  double worst_voltage = 0.0;
  double worst_current = 0.0;
  double largest_current = 0.0;
  for (std::size_t k = 0; k < times.size(); ++k) {
    for (std::size_t port = 0; port < 2; ++port) {
      worst_voltage =
          std::max(worst_voltage, std::abs(found.voltages[port * times.size() + k] - expected[k][port]));
    }
    worst_current = std::max(worst_current, std::abs(found.currents[k] - expected[k][2]));
    largest_current = std::max(largest_current, std::abs(expected[k][2]));
  }
  // The simulator's trapezoidal rule in steps of a fiftieth of the shortest period misses (2 pi / 50)^2 / 12,
  // or 0.13 per cent, of what rings at the end of the band.
  EXPECT_LE(worst_voltage, 2e-3) << parameter << seed;
  EXPECT_LE(worst_current, 2e-3 * std::max(largest_current, 1.0 / resistances[0])) << parameter << seed;
}

TEST_F(SimulatedResponses, passive_networks_of_any_parameter_between_resistances_answer_as_in_a_simulator) {
  for (const char parameter : {'S', 'Y', 'Z'}) {
    for (std::uint64_t seed = 3; seed < 6; ++seed) {
      expect_same(parameter, seed, {50.0, 50.0});
      expect_same(parameter, seed, {10.0, 200.0});
    }
  }
}

}  // namespace
}  // namespace polefit
