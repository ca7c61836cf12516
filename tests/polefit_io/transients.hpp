/// Whether a model runs away in a circuit: the exported subcircuit behind a step, in ngspice.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <limits>
#include <string>
#include <vector>

#include "ngspice.hpp"
#include "polefit/exports.hpp"

namespace testing_support {

/// What one copy of the model did, whose ports beside the first all end in the same way.
struct Transient {
  std::string ending;    ///< open, shorted or matched
  bool grows = false;    ///< it ran away
  double early = 0.0;    ///< the largest swing of a port's voltage in the second quarter, in volts
  double late = 0.0;     ///< likewise in the last quarter
  double largest = 0.0;  ///< the largest voltage of all
};

/// A step of 1 V through 1 ohm into port 1, the other ports open, shorted or matched, over 200 periods of
/// `highest` (in hertz), in steps of a twentieth of one and by the trapezoidal rule, which neither damps nor
/// excites. Nothing where the run did not come to its end.
///
/// A passive model between resistors only gives back what it got: what a step has set going rings down. Since
/// a slow charge goes on for longer, the swing and not the voltage is compared; since resonances hand on in
/// beats what they hold, it grows only where it has more than doubled; and swings of less than a millivolt
/// are within the simulator's own tolerance of 1e-3. 1000 V is far beyond what the transformers and
/// resonances of a network make of 1 V at a step.
inline std::vector<Transient> transients(const polefit::Model& model, double highest) {
  constexpr double periods = 200.0;
  constexpr double steps_a_period = 20.0;
  constexpr double too_much = 1e3;
  constexpr double beats = 2.0;
  constexpr double tolerance = 1e-3;
  const double end = periods / highest;
  const double step = 1.0 / (steps_a_period * highest);
  const std::size_t ports = model.network->ports();
  const auto number = [](double value) {
    std::array<char, 40> digits{};
    std::snprintf(digits.data(), digits.size(), "%.15e", value);
    return std::string(digits.data());
  };

  std::vector<Transient> results{{"open"}, {"shorted"}, {"matched"}};
  std::string circuit = polefit::spice_subcircuit(model, "dut");
  circuit += "Vstep in 0 pwl(0 0 " + number(step) + " 1)\n";
  std::vector<std::string> vectors;
  for (const Transient& result : results) {
    const std::string& name = result.ending;
    circuit += "Rs" + name + " in " + name + "1 1\n";
    std::string copy = "X" + name;
    for (std::size_t port = 1; port <= ports; ++port) {
      const std::string node = name + std::to_string(port);
      copy += " " + node;
      vectors.push_back("v(" + node + ")");
      if (port > 1) {
        const double resistance = name == "open"      ? 1e9
                                  : name == "shorted" ? 1e-3
                                                      : model.network->references[port - 1];
        circuit += "Re" + node + " " + node + " 0 " + number(resistance) + "\n";
      }
    }
    circuit += copy + " 0 dut\n";
  }

  const NgspiceRun run =
      ngspice(circuit, "tran " + number(step) + " " + number(end) + " 0 " + number(step), vectors);
  EXPECT_NE(run.status, 127) << "ngspice is missing";
  if (run.status != 0 || run.rows.empty() || run.rows.back().front() < (1.0 - 1e-6) * end) {
    return {};
  }
  for (std::size_t i = 0; i < results.size(); ++i) {
    Transient& result = results[i];
    for (std::size_t port = 0; port < ports; ++port) {
      const std::size_t column = 1 + i * ports + port;
      const auto swing = [&](double from, double to) {
        double low = std::numeric_limits<double>::infinity();
        double high = -low;
        for (const std::vector<double>& row : run.rows) {
          if (row[0] >= from && row[0] <= to) {
            low = std::min(low, row[column]);
            high = std::max(high, row[column]);
          }
          result.largest = std::max(result.largest, std::abs(row[column]));
        }
        return high - low;
      };
      result.early = std::max(result.early, swing(0.25 * end, 0.5 * end));
      result.late = std::max(result.late, swing(0.75 * end, end));
    }
    result.grows =
        !(result.late <= beats * std::max(result.early, tolerance)) || !(result.largest <= too_much);
  }
  return results;
}

/// Whether any copy runs away, or the run itself.
inline bool runs_away(const std::vector<Transient>& results) {
  return results.empty() ||
         std::any_of(results.begin(), results.end(), [](const Transient& result) { return result.grows; });
}

}  // namespace testing_support
