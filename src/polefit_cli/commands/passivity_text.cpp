#include "polefit_cli/commands/passivity_text.hpp"

#include <algorithm>
#include <cmath>

#include "polefit/error.hpp"
#include "polefit_cli/commands/tables.hpp"
#include "text/counted.hpp"
#include "text/io_error.hpp"

namespace polefit_cli {
namespace {

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
    const bool gaps = lowest > 0.0 || violations.size() > 1;
    return text + (gaps ? "from " + frequency_text(lowest) + " on" : "at all frequencies");
  }
  return text + "from " + frequency_text(lowest) + " to " + frequency_text(highest);
}

}  // namespace

bool is_stable(const polefit::Model& model) {
  return std::all_of(model.poles.begin(), model.poles.end(),
                     [](std::complex<double> pole) { return pole.real() < 0.0; });
}

Judgement judgement_of(const polefit::Model& model) {
  if (!is_stable(model)) {
    return {std::nullopt, "its poles are not all in the left half-plane"};
  }
  if (polefit::incompleteness(model.network)) {
    return {std::nullopt, model.network ? part_text(*model.network) : "it is of no network"};
  }
  try {
    return {polefit::passivity(model), ""};
  } catch (const polefit::Error& error) {
    return {std::nullopt, error.what()};
  }
}

Judgement judgement_in_passing(const polefit::Model& model) {
  constexpr double most = 1e9;  // a minute or two
  const auto poles = static_cast<double>(model.poles.size());
  if (poles * poles * static_cast<double>(model.responses()) > most) {
    return {std::nullopt, "the model is too large to be judged in passing, polefit passivity does it"};
  }
  return judgement_of(model);
}

std::string judged_number(double value, char parameter) {
  constexpr int digits = 6;
  constexpr int most_digits = 15;
  constexpr int of_excess = 3;
  const double excess = std::abs(value - 1.0);
  if (parameter != 'S' || !(excess > 0.0 && excess < 1.0)) {
    return short_number(value, digits);
  }
  // The nines below 1 begin one digit earlier.
  const int lost = static_cast<int>(std::ceil(-std::log10(excess))) - (value < 1.0 ? 1 : 0);
  return short_number(value, std::clamp(lost + of_excess, digits, most_digits));
}

std::string extreme_text(const polefit::Passivity& passivity, char parameter) {
  return (parameter == 'S' ? "largest singular value " : "least eigenvalue of the real part ") +
         judged_number(passivity.extreme, parameter) + " at " + place_text(passivity.frequency);
}

std::string passivity_text(const polefit::Passivity& passivity, char parameter) {
  const std::string extreme = extreme_text(passivity, parameter);
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

std::string part_text(const polefit::NetworkMatrix& matrix) {
  const std::size_t count = matrix.elements.size();
  const std::string part =
      count == 1 ? polefit::element_name(matrix, matrix.elements.front()) : text::counted(count, "element");
  return "only " + part + " of a matrix of " + text::counted(matrix.ports(), "port");
}

void check_whole(const std::optional<polefit::NetworkMatrix>& matrix, std::size_t responses,
                 const std::string& shown) {
  if (!matrix) {
    const bool single = responses == 1;
    throw text::IoError(
        {.file = shown,
         .found = (single ? "one response that is" : text::counted(responses, "response") + " that are") +
                  " of no matrix",
         .expected = single ? "that of a one-port, which --parameter S, Y or Z makes it"
                            : "the whole matrix of a network, of which alone passivity can be told"});
  }
  if (polefit::incompleteness(matrix)) {
    throw text::IoError({.file = shown,
                         .found = part_text(*matrix),
                         .expected = "all of its elements, since passivity is that of the whole matrix"});
  }
}

std::string sampled_text(const polefit::SampledPassivity& sampled, std::size_t samples, char parameter) {
  const std::string what = parameter == 'S' ? "largest singular value "
                                            : "least eigenvalue of the real part, over the matrix' norm, ";
  const std::string where = sampled.samples == 1 ? " is"
                                                 : " from " + frequency_text(sampled.lowest) + " to " +
                                                       frequency_text(sampled.highest) + " are";
  return "the data are not passive: " + what + judged_number(sampled.extreme, parameter) + " at " +
         frequency_text(sampled.frequency) + "; " + std::to_string(sampled.samples) + " of " +
         text::counted(samples, "sample") + where + (parameter == 'S' ? " above 1" : " below 0") +
         " by more than " + short_number(sampled.tolerance, 2);
}

std::optional<std::string> passivity_line(const polefit::Model& model) {
  if (!model.network) {
    return std::nullopt;
  }
  if (polefit::incompleteness(model.network)) {
    return "not told: " + part_text(*model.network);
  }
  const auto unstable =
      static_cast<std::size_t>(std::count_if(model.poles.begin(), model.poles.end(),
                                             [](std::complex<double> pole) { return !(pole.real() < 0.0); }));
  if (unstable > 0) {
    return "no: " + text::counted(unstable, "pole") + " not in the left half-plane";
  }
  const Judgement judgement = judgement_in_passing(model);
  return judgement.passivity ? passivity_text(*judgement.passivity, model.network->parameter)
                             : "not told: " + judgement.reason;
}

}  // namespace polefit_cli
