#include "polefit_cli/commands/passivity_report.hpp"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

#include "polefit_cli/commands/info_text.hpp"
#include "polefit_cli/commands/passivity_text.hpp"
#include "polefit_cli/commands/tables.hpp"
#include "text/counted.hpp"

namespace polefit_cli {
namespace {

using Rows = std::vector<std::vector<std::string>>;

std::string place_text(double hertz) { return std::isinf(hertz) ? "infinity" : frequency_text(hertz); }

std::string value_text(double value, char parameter) {
  return judged_number(value, parameter) + (parameter == 'S' ? "" : parameter == 'Y' ? " S" : " ohms");
}

std::string limit_text(char parameter, double tolerance) {
  return (parameter == 'S'
              ? "no singular value of S above 1, with a tolerance of "
              : "no eigenvalue of the Hermitian part below 0, with a tolerance of the value's norm times ") +
         short_number(tolerance);
}

std::string decision_text(const polefit::Passivity& passivity) {
  const std::string pieces = text::counted(passivity.pieces, "piece") + " of the frequency axis";
  if (!passivity.decided) {
    return "no, after bounds on " + pieces;
  }
  return passivity.method == polefit::PassivityMethod::certificate
             ? "by bounds on " + pieces
             : "by a Hamiltonian matrix, after bounds on " + pieces;
}

std::string answer_text(const polefit::Passivity& passivity) {
  if (!passivity.passive) {
    return passivity.decided || !passivity.proportional_fault.empty() ? "no" : "could not be told";
  }
  return passivity.method == polefit::PassivityMethod::certificate ? "yes, certified at all frequencies"
                                                                   : "yes, at all frequencies";
}

/// The worst ones, by rising frequency.
std::vector<polefit::Violation> chosen(const std::vector<polefit::Violation>& violations, char parameter,
                                       std::size_t most) {
  std::vector<std::size_t> order(violations.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
    return parameter == 'S' ? violations[a].worst > violations[b].worst
                            : violations[a].worst < violations[b].worst;
  });
  order.resize(std::min(most, order.size()));
  std::sort(order.begin(), order.end());
  std::vector<polefit::Violation> found;
  found.reserve(order.size());
  for (const std::size_t i : order) {
    found.push_back(violations[i]);
  }
  return found;
}

std::string violations_text(const std::vector<polefit::Violation>& violations, char parameter,
                            std::size_t most) {
  Rows rows{{"  from", "to", parameter == 'S' ? "largest singular value" : "smallest eigenvalue", "at"}};
  for (const polefit::Violation& violation : chosen(violations, parameter, most)) {
    rows.push_back({"  " + place_text(violation.lowest), place_text(violation.highest),
                    value_text(violation.worst, parameter), place_text(violation.frequency)});
  }
  std::string text = "  not passive in " + text::counted(violations.size(), "interval");
  text += violations.size() > most ? ", of which these are the " + std::to_string(most) + " worst" : "";
  text += ":\n" + table_text(rows);
  if (violations.size() > most) {
    text += "  and " + std::to_string(violations.size() - most) + " more, which --all lists\n";
  }
  return text;
}

}  // namespace

std::string passivity_verdict(const polefit::Passivity& passivity) {
  if (passivity.passive) {
    return "passive at all frequencies";
  }
  if (!passivity.decided && passivity.proportional_fault.empty()) {
    return "could not be told to be passive";
  }
  return "not passive" + (!passivity.proportional_fault.empty() ? ": " + passivity.proportional_fault
                          : passivity.violations.empty()
                              ? ""
                              : " in " + text::counted(passivity.violations.size(), "interval"));
}

std::string passivity_report(const polefit::Model& model, const polefit::Passivity& passivity,
                             const std::string& file, std::size_t most) {
  const char parameter = model.network->parameter;
  std::string text = model_heading(model, file) + "\n";
  const auto add = [&](const std::string& what, const std::string& value) {
    text.append("  ").append(what).append(12 - what.size(), ' ').append(value).append("\n");
  };
  add("passive", answer_text(passivity));
  if (!passivity.proportional_fault.empty()) {
    add("fault", passivity.proportional_fault);
  }
  add("limit", limit_text(parameter, passivity.tolerance));
  add(parameter == 'S' ? "largest" : "smallest",
      value_text(passivity.extreme, parameter) + " at " + place_text(passivity.frequency));
  add("decided", decision_text(passivity));
  if (!passivity.violations.empty()) {
    text += "\n" + violations_text(passivity.violations, parameter, most);
  }
  return text;
}

}  // namespace polefit_cli
