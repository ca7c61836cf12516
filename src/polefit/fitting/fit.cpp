#include "polefit/fit.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <utility>

#include "polefit/data/facts.hpp"
#include "polefit/data/reduced_problem.hpp"
#include "polefit/fitting/finish.hpp"
#include "polefit/fitting/option_checks.hpp"
#include "polefit/fitting/refinement.hpp"
#include "polefit/fitting/residues.hpp"
#include "polefit/fitting/starting_poles.hpp"
#include "polefit/fitting/stop_rule.hpp"
#include "polefit/problem/problem.hpp"
#include "polefit/projection/elimination.hpp"
#include "polefit/relocation/relocation.hpp"
#include "polefit/relocation/zeros.hpp"

namespace polefit {
namespace {

/// Parts of a residual, or of a model's error, by which it changes when it changes at all.
constexpr double least_change = 1e-3;
/// Relocations in a row without that, after which there are no more.
constexpr int patience = 4;
/// Residuals and errors below this are rounding.
constexpr double rounding = 1e-13;
/// An error of the model so many times the residual of the last relocation says that the zeros of sigma were
/// not what they should have been: where orders are larger than the data need, sigma is not unique.
constexpr double lost = 10.0;
/// Relocations by normal equations are followed by orthogonal ones when the basis or the equations for sigma
/// were worse than this and the data are fitted to more digits than normal equations show.
constexpr double safe_condition_basis = 1e-3;
constexpr double safe_condition_sigma = 1e-4;
constexpr double hidden_residual = 1e-6;
/// The same when the sums lose more than this ...
constexpr double safe_loss = 1e3;
/// ... or when rounding, magnified by all of these, is more than this and more than a tenth of the residual.
constexpr double visible_error = 1e-9;
/// None of this matters where noise is above this and what is left is of its size: relocations with a ridge
/// then lead to the same errors.
constexpr double visible_noise = 1e-6;
constexpr double ridge = 1e-14;
/// What is left of noise, in its size. Where it is less, resonances that were sampled coarsely looked like
/// noise, or there are so many poles that they follow it.
constexpr double of_its_size = 0.5;
/// So many in a row: the first ones often lead to poles with which the equations are well-conditioned.
constexpr int most_hidden = 2;

/// Steps of variable projection on a finished fit, which together have to take this part off the error.
constexpr int most_polishing_steps = 10;
constexpr double least_polish = 0.01;
/// Errors below this are not polished: relocation reaches what is exact.
constexpr double visible_to_polish = 1e-10;
/// Nor where this much of them is noise at most: no poles can do better than that.
constexpr double nearly_noise = 1.02;
/// A residual of the last relocation below this part of the model's error says that zeros of sigma were
/// mirrored: another way to as many poles is then worth a trial.
constexpr double mirrored = 0.6;
constexpr double dropped_of_error = 0.1;
/// Coefficients are bounded by the error over this part of it.
constexpr double delta_of_error = 1e-6;
constexpr double least_delta = 1e-14;

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

/// Whether a relocation by normal equations does not show what is left of the residual.
bool hides_digits(const Sigma& sigma) {
  const double error =
      std::numeric_limits<double>::epsilon() * sigma.loss / (sigma.condition_basis * sigma.condition_sigma);
  return (sigma.residual < hidden_residual &&
          (sigma.condition_basis < safe_condition_basis || sigma.condition_sigma < safe_condition_sigma ||
           sigma.loss > safe_loss)) ||
         error > std::max(visible_error, 0.1 * sigma.residual);
}

bool residual_moved(double last, double residual) {
  return !(std::abs(residual - last) <= least_change * last || residual < rounding);
}

bool error_fell(double best, double error) { return error < (1.0 - least_change) * best; }

/// Takes down a relocation and tells of it; returns whether another one may follow.
bool take_down(const Sigma& sigma, Path path, const Poles& before, const Poles& after, const Options& options,
               Report& report) {
  ++report.iterations;
  ++(path == Path::gram ? report.gram_relocations : report.orthogonal_relocations);
  report.last_path = path;
  report.residual = sigma.residual;
  report.condition_sigma = sigma.condition_sigma;
  if (path == Path::gram) {
    report.condition_basis = sigma.condition_basis;
  }
  const bool on = goes_on(options, [&] {
    return Progress{.iteration = report.iterations,
                    .order = after.size(),
                    .residual = sigma.residual,
                    .pole_change = largest_move(before, after),
                    .path = path};
  });
  if (!on) {
    report.reason = StopReason::cancelled;
  }
  return on;
}

/// The noise of the data, relative to them as they are weighted; told when it is first asked for.
class NoiseOfData {
 public:
  explicit NoiseOfData(const Problem& problem) : problem_(problem) {}

  double floor() {
    if (!floor_known_) {
      floor_ = facts_of(problem_).floor;
      floor_known_ = true;
    }
    return floor_;
  }
  /// Whether an error may be that of the noise.
  bool explains(double error) { return error >= of_its_size * floor(); }
  /// Whether what normal equations hide does not matter beside it, where they leave such a residual.
  bool is_visible(double residual) { return floor() > visible_noise && explains(residual); }

 private:
  const Problem& problem_;
  bool floor_known_ = false;
  double floor_ = 0.0;
};

/// By normal equations, with a ridge where they are not to be trusted without one and noise allows it;
/// nothing where only the orthogonal way is left.
std::optional<Sigma> by_normal_equations(CauchyRelocation& by_sums, const Poles& poles, NoiseOfData& noise) {
  std::optional<Sigma> sigma = by_sums.solve(poles);
  if (!sigma && noise.floor() > visible_noise) {
    sigma = by_sums.solve(poles, ridge);
    if (sigma && !noise.is_visible(sigma->residual)) {
      sigma.reset();
    }
  }
  return sigma;
}

/// Relocates the poles until something says that it is enough; returns whether the last relocation hides
/// digits.
bool relocate(const Problem& problem, const Options& options, NoiseOfData& noise, Poles& poles,
              Report& report) {
  double last_residual = 0.0;
  StopRule rule(patience);
  CauchyRelocation by_cauchy_sums(problem, options.threads);
  bool orthogonally = options.orthogonal;
  int hidden = 0;
  while (report.iterations < options.iterations && !poles.empty()) {
    std::optional<Sigma> by_sums =
        orthogonally ? std::nullopt : by_normal_equations(by_cauchy_sums, poles, noise);
    const bool gram = by_sums.has_value();
    const Sigma sigma =
        gram ? *std::move(by_sums) : solve_sigma_orthogonally(problem, poles, options.threads);
    const bool hides = gram && hides_digits(sigma) && !noise.is_visible(sigma.residual);
    hidden = hides ? hidden + 1 : 0;
    orthogonally = orthogonally || hidden == most_hidden;
    const Poles before = poles;
    poles = zeros_of(sigma.unknowns, poles, options.stable);

    if (!take_down(sigma, gram ? Path::gram : Path::orthogonal, before, poles, options, report)) {
      return hidden > 0;
    }
    if (largest_move(before, poles) < options.pole_tolerance) {
      report.reason = StopReason::poles_settled;
      return hidden > 0;
    }
    rule.step(residual_moved(last_residual, sigma.residual));
    last_residual = sigma.residual;
    if (rule.ended()) {
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
      squares += std::norm(problem.factor(r, k) *
                           (problem.value(r, k) - problem.in_unit(r, values[r * problem.samples + k])));
    }
  }
  return std::sqrt(squares) / problem.norm;
}

/// Relocations by orthogonal factorisation with the residues of each, as long as there is reason to; keeps
/// the best model. `hidden` tells whether the last relocation hides digits.
void relocate_orthogonally(const Problem& problem, const NetworkData& data, const Options& options,
                           Poles poles, bool hidden, Fit& fit) {
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
  StopRule rule(patience);
  while (report.iterations > 0 && report.iterations < options.iterations && !rule.ended() && pays(best)) {
    const Sigma sigma = solve_sigma_orthogonally(problem, poles, options.threads);
    const Poles before = poles;
    poles = zeros_of(sigma.unknowns, poles, options.stable);
    if (!take_down(sigma, Path::orthogonal, before, poles, options, report)) {
      return;
    }
    Model model = identify_residues(problem, poles, options.exact_sample, options.threads);
    const double error = weighted_error(problem, data, model);
    rule.step(error_fell(best, error));
    if (error < best) {
      best = error;
      fit.model = std::move(model);
    }
  }
}

/// As many poles as these, from more that were relocated and polished and then thinned out; nothing when
/// there are not enough samples, or when pairs and real poles do not come to the same number.
std::optional<Candidate> from_more_poles(Refinement& refinement, const Options& options, std::size_t order) {
  Options more;
  more.constant = options.constant;
  more.proportional = options.proportional;
  const std::size_t wanted = order + std::max<std::size_t>(4, order / 2);
  more.real_poles = wanted % 2;
  more.complex_pairs = wanted / 2;
  more.placement = options.placement;
  if (wanted > refinement.problem().samples / 2) {
    return std::nullopt;
  }
  const Candidate all = refinement.from_start(starting_poles(refinement.problem(), more), 0.0);
  for (FewerPoles& fewer : eliminate_poles(all.projection)) {
    if (fewer.poles.size() == order) {
      return refinement.candidate_of(std::move(fewer.poles));
    }
  }
  return std::nullopt;
}

/// Polishes a candidate, and takes one from more poles where that is better.
void improve(Refinement& refinement, const Options& options, bool from_more, Candidate& best) {
  const std::size_t order = best.order();
  refinement.polish(best, most_polishing_steps, 0.0);
  std::optional<Candidate> other = from_more ? from_more_poles(refinement, options, order) : std::nullopt;
  if (other) {
    refinement.polish(*other, most_polishing_steps, 0.0);
    if (other->error() < best.error()) {
      best = *std::move(other);
    }
  }
}

/// The poles of a model, in units of the problem, moved by variable projection on a problem reduced to what
/// counts; nothing when that does not make the error smaller by a part that shows.
std::optional<Poles> polished(const Problem& problem, const Options& options, const Poles& poles,
                              double error, Report& report) {
  const double tail = dropped_of_error * error;
  const Combinations data = combine_responses(problem, tail);
  const ReducedProblem reduced(problem, data,
                               select_samples(problem, data, samples_by_frequency(problem), {}, 0), tail);
  Goal goal;
  goal.error = error;
  goal.delta = std::clamp(delta_of_error * error, least_delta, delta_of_error);
  goal.orthogonal = options.orthogonal;
  goal.threads = options.threads;
  if (options.progress || options.check_in) {
    goal.watch = [&](const Trial& trial) {
      const bool on = goes_on(options, [&] {
        return Progress{.iteration = report.iterations,
                        .order = trial.order,
                        .residual = report.residual,
                        .path = report.last_path,
                        .polishing = true,
                        .error = trial.error};
      });
      if (!on) {
        throw Cancelled();
      }
    };
  }
  Refinement refinement(reduced.problem(), goal);
  Candidate best = refinement.candidate_of(poles);
  const double start = best.error();
  try {
    improve(refinement, options, report.residual < mirrored * error, best);
  } catch (const Cancelled&) {
    report.reason = StopReason::cancelled;
  }
  report.polishing_steps = refinement.steps();
  return best.error() < (1.0 - least_polish) * start ? std::optional(best.projection.poles()) : std::nullopt;
}

/// Replaces the model by one whose poles have moved downhill, if it is better.
void polish(const Problem& problem, const NetworkData& data, const Options& options, NoiseOfData& noise,
            Fit& fit) {
  Poles poles = fit.model.poles;
  for (Complex& pole : poles) {
    pole /= problem.scale;
  }
  if (!options.polish || !options.stable || options.iterations == 0 || poles.empty() ||
      fit.report.reason == StopReason::cancelled) {
    return;
  }
  const double error = weighted_error(problem, data, fit.model);
  if (!(error > visible_to_polish) || (error <= nearly_noise * noise.floor() && noise.explains(error))) {
    return;
  }
  const std::optional<Poles> better = polished(problem, options, poles, error, fit.report);
  if (!better) {
    return;
  }
  Model model = identify_residues(problem, *better, options.exact_sample, options.threads);
  if (weighted_error(problem, data, model) < error) {
    fit.model = std::move(model);
  }
}

}  // namespace

Fit fit(const NetworkData& data, const Options& options) {
  check_options(options);
  if (is_zero(data)) {
    check_sizes(data.frequencies.size(), data.responses.responses, 0, options);
    return fit_of_zeros(data);
  }
  const Problem problem = make_problem(data, options);
  const std::size_t order = order_of(options);
  check_sizes(problem.samples, problem.responses, order, options);
  check_exact_sample(data, options, order);
  Poles poles = starting_poles(problem, options);
  Fit result;
  NoiseOfData noise(problem);
  const bool hidden = relocate(problem, options, noise, poles, result.report);
  result.model = identify_residues(problem, poles, options.exact_sample, options.threads);
  relocate_orthogonally(problem, data, options, poles, hidden, result);
  polish(problem, data, options, noise, result);
  check_finite(result.model);
  result.model = expanded(problem, std::move(result.model));
  result.model.names.assign(data.names.begin(), data.names.end());
  add_errors(data, result);
  return result;
}

}  // namespace polefit
