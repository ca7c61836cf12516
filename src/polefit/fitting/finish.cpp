#include "polefit/fitting/finish.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "polefit/model/largest_modulus.hpp"
#include "polefit/model/model_faults.hpp"
#include "polefit/model/overall_error.hpp"

namespace polefit {

Model expanded(const Problem& problem, Model model) {
  if (problem.place.size() == problem.responses) {
    return model;
  }
  Model whole;
  whole.poles = model.poles;
  for (const std::size_t r : problem.place) {
    const auto residues = model.residues_of(r);
    whole.residues.insert(whole.residues.end(), residues.begin(), residues.end());
    whole.constants.push_back(model.constants[r]);
    whole.proportionals.push_back(model.proportionals[r]);
  }
  return whole;
}

void check_finite(const Model& model) {
  const auto finite = [](double x) { return std::isfinite(x); };
  const auto both_finite = [](Complex z) { return std::isfinite(z.real()) && std::isfinite(z.imag()); };
  if (!std::all_of(model.poles.begin(), model.poles.end(), both_finite) ||
      !std::all_of(model.residues.begin(), model.residues.end(), both_finite) ||
      !std::all_of(model.constants.begin(), model.constants.end(), finite) ||
      !std::all_of(model.proportionals.begin(), model.proportionals.end(), finite)) {
    throw Error(ErrorKind::numerical_breakdown,
                "the model overflows: residues in rad/s times the unit of such data are beyond the "
                "largest double");
  }
}

Fit fit_of_zeros(const NetworkData& data) {
  Fit fit;
  fit.model.constants.resize(data.responses.responses);
  fit.model.proportionals.resize(data.responses.responses);
  fit.model.names.assign(data.names.begin(), data.names.end());
  fit.report.reason = StopReason::poles_settled;
  add_errors(data, fit);
  return fit;
}

void add_errors(const NetworkData& data, Fit& fit) {
  Report& report = fit.report;
  report.errors = errors(fit.model, data);
  const OverallError overall = overall_error(report.errors);
  report.relative_error = overall.relative;
  report.worst_relative_error = overall.worst;
  report.largest_error = overall.largest;
  const auto [lowest, highest] = std::minmax_element(data.frequencies.begin(), data.frequencies.end());
  const double largest = largest_modulus(data.responses);
  report.gain = largest > 0.0 ? largest_gain(fit.model).largest / largest : 0.0;
  fit.model.origin = {*lowest, *highest, data.frequencies.size(), report.errors, report.finding};
  if (origin_fault(*fit.model.origin)) {  // an error overflowed; the model can be saved all the same
    fit.model.origin.reset();
  }
}

}  // namespace polefit
