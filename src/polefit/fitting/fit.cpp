#include "polefit/fit.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "polefit/fitting/option_checks.hpp"
#include "polefit/fitting/residues.hpp"
#include "polefit/fitting/starting_poles.hpp"
#include "polefit/model/model_faults.hpp"
#include "polefit/model/overall_error.hpp"
#include "polefit/problem/problem.hpp"
#include "polefit/relocation/relocation.hpp"

namespace polefit {
namespace {

/// A residual that changes by no more than this part of it, or is rounding, ...
constexpr double settled_change = 1e-3;
/// ... in so many relocations has settled.
constexpr int patience = 4;
/// An error of the model so many times the residual of the last relocation says that the zeros of sigma were
/// not what they should have been: where orders are larger than the data need, sigma is not unique.
constexpr double lost = 10.0;
/// ... unless both are rounding.
constexpr double rounding = 1e-13;
/// Relocations by normal equations are followed by orthogonal ones when the basis or the equations for sigma
/// were worse than this and the data are fitted to more digits than normal equations show.
constexpr double safe_condition_basis = 1e-3;
constexpr double safe_condition_sigma = 1e-4;
constexpr double hidden_residual = 1e-6;
/// The same when the sums lose more than this ...
constexpr double safe_loss = 1e3;
/// ... or when rounding, magnified by all of these, is more than this and more than a tenth of the residual.
constexpr double visible_error = 1e-9;
/// So many in a row: the first ones often lead to poles with which the equations are well-conditioned.
constexpr int most_hidden = 2;

/// The largest distance of a new pole from its nearest old one, relative to its size.
double largest_move(const Poles& before, const Poles& after) {
  double largest = 0.0;
  for (const Complex pole : after) {
    double nearest = std::numeric_limits<double>::infinity();
    for (const Complex other : before) {
      nearest = std::min(nearest, std::abs(pole - other));
    }
    largest = std::max(largest, nearest / std::abs(pole));
  }
  return largest;
}

void add_errors(const NetworkData& data, Fit& fit) {
  Report& report = fit.report;
  report.errors = errors(fit.model, data);
  const OverallError overall = overall_error(report.errors);
  report.relative_error = overall.relative;
  report.worst_relative_error = overall.worst;
  report.largest_error = overall.largest;
  const auto [lowest, highest] = std::minmax_element(data.frequencies.begin(), data.frequencies.end());
  fit.model.origin = {*lowest, *highest, data.frequencies.size(), report.errors};
  if (origin_fault(*fit.model.origin)) {  // an error overflowed; the model can be saved all the same
    fit.model.origin.reset();
  }
}

/// Whether a relocation by normal equations does not show what is left of the residual.
bool hides_digits(const Sigma& sigma) {
  const double error =
      std::numeric_limits<double>::epsilon() * sigma.loss / (sigma.condition_basis * sigma.condition_sigma);
  return (sigma.residual < hidden_residual &&
          (sigma.condition_basis < safe_condition_basis || sigma.condition_sigma < safe_condition_sigma ||
           sigma.loss > safe_loss)) ||
         error > std::max(visible_error, 0.1 * sigma.residual);
}

/// Relocates the poles until something says that it is enough; returns whether the last relocation hides
/// digits.
bool relocate(const Problem& problem, const Options& options, Poles& poles, Report& report) {
  double last_residual = 0.0;
  int without_gain = 0;
  CauchyRelocation by_cauchy_sums(problem, options.threads);
  bool orthogonally = options.orthogonal;
  int hidden = 0;
  for (int iteration = 1; iteration <= options.iterations && !poles.empty(); ++iteration) {
    Sigma sigma;
    const bool gram = !orthogonally && by_cauchy_sums.solve(poles, sigma);
    if (gram) {
      ++report.gram_relocations;
      report.condition_basis = sigma.condition_basis;
    } else {
      sigma = solve_sigma_orthogonally(problem, poles, options.threads);
      ++report.orthogonal_relocations;
    }
    report.condition_sigma = sigma.condition_sigma;
    report.last_path = gram ? Path::gram : Path::orthogonal;
    report.iterations = iteration;
    report.residual = sigma.residual;
    hidden = gram && hides_digits(sigma) ? hidden + 1 : 0;
    orthogonally = orthogonally || hidden == most_hidden;
    const Poles before = poles;
    poles = zeros_of(sigma, poles, options.stable);
    const double move = largest_move(before, poles);

    if (options.progress && !options.progress({.iteration = iteration,
                                               .order = poles.size(),
                                               .residual = sigma.residual,
                                               .pole_change = move,
                                               .path = report.last_path})) {
      report.reason = StopReason::cancelled;
      return hidden > 0;
    }
    if (move < options.pole_tolerance) {
      report.reason = StopReason::poles_settled;
      return hidden > 0;
    }
    const bool same = std::abs(sigma.residual - last_residual) <= settled_change * last_residual;
    without_gain = same || sigma.residual < rounding ? without_gain + 1 : 0;
    last_residual = sigma.residual;
    if (without_gain == patience) {
      report.reason = StopReason::residual_settled;
      return hidden > 0;
    }
  }
  report.reason = poles.empty() ? StopReason::poles_settled : StopReason::iteration_limit;
  return hidden > 0;
}

/// Norm of the weighted differences over that of the data.
double weighted_error(const Problem& problem, const NetworkData& data, const Model& model) {
  const std::vector<Complex> values = evaluate(model, data.frequencies);
  double squares = 0.0;
  for (std::size_t r = 0; r < problem.responses; ++r) {
    for (std::size_t k = 0; k < problem.samples; ++k) {
      squares += std::norm(problem.factor(r, k) * (problem.value(r, k) - values[r * problem.samples + k]));
    }
  }
  return std::sqrt(squares) / problem.norm;
}

/// Relocations by orthogonal factorisation with the residues of each, as long as there is reason to; keeps
/// the best model. `hidden` tells whether the last relocation hides digits.
void polish(const Problem& problem, const NetworkData& data, const Options& options, Poles poles, bool hidden,
            Fit& fit) {
  Report& report = fit.report;
  if (report.reason == StopReason::cancelled || poles.empty()) {
    return;
  }
  const auto pays = [&](double error) {
    return report.last_path == Path::gram ? hidden : error > std::max(lost * report.residual, rounding);
  };
  if (report.last_path == Path::gram && !pays(0.0)) {
    return;  // a safe end, without a look at the model
  }
  double best = weighted_error(problem, data, fit.model);
  int without_gain = 0;
  while (report.iterations > 0 && report.iterations < options.iterations && without_gain < patience &&
         pays(best)) {
    const Sigma sigma = solve_sigma_orthogonally(problem, poles, options.threads);
    const Poles before = poles;
    poles = zeros_of(sigma, poles, options.stable);
    ++report.iterations;
    ++report.orthogonal_relocations;
    report.last_path = Path::orthogonal;
    report.residual = sigma.residual;
    report.condition_sigma = sigma.condition_sigma;
    if (options.progress && !options.progress({.iteration = report.iterations,
                                               .order = poles.size(),
                                               .residual = sigma.residual,
                                               .pole_change = largest_move(before, poles),
                                               .path = report.last_path})) {
      report.reason = StopReason::cancelled;
      return;
    }
    Model model = identify_residues(problem, poles, options.exact_sample, options.threads);
    const double error = weighted_error(problem, data, model);
    without_gain = error < (1.0 - settled_change) * best ? 0 : without_gain + 1;
    if (error < best) {
      best = error;
      fit.model = std::move(model);
    }
  }
}

/// The model of all of the caller's responses, from that of the different ones.
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
    throw Error(ErrorKind::numerical_breakdown, "the model overflowed");
  }
}

}  // namespace

Fit fit(const NetworkData& data, const Options& options) {
  check_options(options);
  const Problem problem = make_problem(data, options);
  // Before there are any poles, clamped so that nothing overflows.
  const std::size_t most = 2 * problem.samples + 1;
  const std::size_t order = options.starting_poles.empty() ? std::min(options.real_poles, most) +
                                                                 2 * std::min(options.complex_pairs, most)
                                                           : options.starting_poles.size();
  check_sizes(problem.samples, problem.responses, order, options);
  Poles poles = starting_poles(problem, options);
  Fit result;
  const bool hidden = relocate(problem, options, poles, result.report);
  result.model = identify_residues(problem, poles, options.exact_sample, options.threads);
  polish(problem, data, options, poles, hidden, result);
  check_finite(result.model);
  result.model = expanded(problem, std::move(result.model));
  result.model.names.assign(data.names.begin(), data.names.end());
  add_errors(data, result);
  return result;
}

}  // namespace polefit
