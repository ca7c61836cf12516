#include "polefit_cli/commands/passivity_text.hpp"

#include <algorithm>
#include <cmath>

#include "polefit/error.hpp"
#include "polefit_cli/commands/tables.hpp"
#include "text/counted.hpp"

namespace polefit_cli {
namespace {

constexpr int digits = 6;

std::string place_text(double hertz) {
  return std::isinf(hertz) ? "infinite frequency" : frequency_text(hertz);
}

/// "above 1 from 610 MHz to 623 MHz", or in how many intervals.
std::string intervals_text(const std::vector<polefit::Violation>& violations, char parameter) {
  std::string text = parameter == 'S' ? "above 1 " : "below 0 ";
  if (violations.size() > 1) {
    text += "in " + text::counted(violations.size(), "interval") + " ";
  }
  const double lowest = violations.front().lowest;
  const double highest = violations.back().highest;
  if (std::isinf(highest)) {
    return text + (lowest > 0.0 ? "from " + frequency_text(lowest) + " on" : "at all frequencies");
  }
  return text + "from " + frequency_text(lowest) + " to " + frequency_text(highest);
}

}  // namespace

std::optional<polefit::Passivity> passivity_of(const polefit::Model& model) {
  const bool stable = std::all_of(model.poles.begin(), model.poles.end(),
                                  [](std::complex<double> pole) { return pole.real() < 0.0; });
  if (!stable || polefit::incompleteness(model.network)) {
    return std::nullopt;
  }
  try {
    return polefit::passivity(model);
  } catch (const polefit::Error&) {
    return std::nullopt;
  }
}

std::string passivity_text(const polefit::Passivity& passivity, char parameter) {
  const std::string extreme =
      std::string(parameter == 'S' ? "largest singular value " : "least eigenvalue of the real part ") +
      short_number(passivity.extreme, digits) + " at " + place_text(passivity.frequency);
  if (passivity.passive) {
    return (passivity.method == polefit::PassivityMethod::certificate
                ? "certified at all frequencies ("
                : "at all frequencies, by a Hamiltonian matrix (") +
           extreme + ")";
  }
  if (!passivity.proportional_fault.empty()) {
    return "no: " + passivity.proportional_fault;
  }
  if (passivity.violations.empty()) {
    return (passivity.decided ? "no: " : "could not be told: ") + extreme;
  }
  return "no: " + extreme + ", " + intervals_text(passivity.violations, parameter);
}

}  // namespace polefit_cli
