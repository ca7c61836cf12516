#include "polefit/order_search.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <string>
#include <utility>

#include "polefit/fitting/finish.hpp"
#include "polefit/fitting/option_checks.hpp"
#include "polefit/fitting/residues.hpp"
#include "polefit/model/largest_modulus.hpp"
#include "polefit/model/overall_error.hpp"
#include "polefit/problem/problem.hpp"
#include "polefit/search/ladder.hpp"
#include "polefit/search/limit_on_order.hpp"
#include "polefit/search/sentence.hpp"
#include "polefit/search/within_noise.hpp"
#include "text/decimal.hpp"

namespace polefit {
namespace {

/// Coefficients are bounded by the error over this part of the goal, or over the rounding of a factorisation.
constexpr double delta_of_goal = 1e-6;
constexpr double least_delta = 1e-14;
/// Searches where the error that is minimised, of weighted and combined responses, met its goal and that of
/// the target's measure did not: each has a smaller goal.
constexpr int most_searches = 4;
constexpr double margin = 0.9;

/// The error of the weighted data that is asked for first: the measure itself where it is the one that is
/// minimised, else one that is likely to do.
double first_goal(const NetworkData& data, const Target& target) {
  if (target.measure != Measure::largest_error) {
    return target.error;
  }
  double squares = 0.0;
  const double largest = largest_modulus(data.responses);
  for (std::size_t r = 0; r < data.responses.responses && largest > 0.0; ++r) {
    for (std::size_t k = 0; k < data.responses.samples; ++k) {
      squares += std::norm(data.responses(r, k) / largest);
    }
  }
  const auto values = static_cast<double>(data.responses.responses * data.responses.samples);
  return squares > 0.0 ? target.error / (largest * std::sqrt(squares / values)) : target.error;
}

/// One search for an error of the weighted data.
class Searcher {
 public:
  Searcher(const NetworkData& data, const Target& target, const Options& options)
      : data_(data),
        target_(target),
        options_(options),
        problem_(make_problem(data, options, ResponseScale::inverse_norm)),
        facts_(facts_of(problem_)),
        limit_(limit_on_order(target, facts_.turns.most, problem_.samples)) {}

  Search run() {
    double wanted = first_goal(data_, target_);
    std::optional<Search> best;
    for (int i = 0; i < most_searches; ++i) {
      Search search = search_once(wanted);
      const double factor = margin * std::min(1.0, target_.error / search.error);
      const bool again = search.end == SearchEnd::missed_measure && !limited_by_noise_;
      if (!best || search.error < best->error) {
        best = std::move(search);
      } else if (search.end == SearchEnd::cancelled) {
        best->end = SearchEnd::cancelled;
        tell(*best);
      }
      if (!again) {
        break;
      }
      wanted *= factor;
    }
    return *std::move(best);
  }

 private:
  Search search_once(double wanted) {
    const double share = weigh_by_noise(wanted);
    Goal goal;
    goal.error = data_.weights.empty() ? wanted * share : std::max(wanted, above_noise * facts_.floor);
    limited_by_noise_ = goal.error > wanted * (1.0 + 1e-12);
    goal.delta = std::clamp(delta_of_goal * goal.error, least_delta, delta_of_goal);
    goal.stable = options_.stable;
    goal.orthogonal = options_.orthogonal;
    goal.threads = options_.threads;
    if (options_.progress || options_.check_in) {
      goal.watch = [&](const Trial& trial) {
        const bool on = goes_on(options_, [&] {
          return Progress{.iteration = ++told_,
                          .order = trial.order,
                          .residual = trial.residual,
                          .pole_change = 0.0,
                          .path = trial.orthogonal ? Path::orthogonal : Path::gram,
                          .polishing = trial.residual == 0.0,
                          .error = trial.error};
        });
        if (!on) {
          throw Cancelled();
        }
      };
    }
    const LadderResult found = climb(problem_, facts_, goal, wanted, limit_);
    check_exact_sample(data_, options_, found.poles.size());
    Search search;
    search.steps = found.steps;
    Fit& fit = search.fit;
    fit.model = identify_residues(problem_, found.poles, options_.exact_sample, options_.threads, goal.delta);
    check_finite(fit.model);
    fit.model = expanded(problem_, std::move(fit.model));
    fit.model.names.assign(data_.names.begin(), data_.names.end());
    fit.report.iterations = found.relocations;
    fit.report.orthogonal_relocations = found.orthogonal_relocations;
    fit.report.gram_relocations = found.relocations - found.orthogonal_relocations;
    fit.report.last_path = options_.orthogonal ? Path::orthogonal : Path::gram;
    fit.report.residual = found.residual;
    fit.report.reason = StopReason::searched;
    add_errors(data_, fit);
    search.error = measured(fit.report, target_.measure);
    search.findings = findings(found);
    search.end = end_of(found.end, fit.report, search);
    tell(search);
    return search;
  }

  void tell(Search& search) const {
    Fit& fit = search.fit;
    fit.report.finding = sentence(search, target_, limit_, problem_.samples);
    if (fit.model.origin) {
      fit.model.origin->finding = fit.report.finding;
    }
  }

  /// Makes a response count by the inverse of the error it is allowed, that which is wanted or 1.1 times its
  /// noise: one that is half noise must not make the others coarse. Returns how much larger than `wanted` the
  /// error of all, relative to the weighted data, may be then.
  double weigh_by_noise(double wanted) {
    if (!data_.weights.empty()) {
      return 1.0;
    }
    std::vector<double> factor(problem_.responses);
    for (std::size_t r = 0; r < problem_.responses; ++r) {
      factor[r] = wanted / std::max(wanted, above_noise * facts_.noise[r]);
    }
    double squares = 0.0;
    double present = 0.0;
    for (const std::size_t r : problem_.place) {
      const bool counts = problem_.response_scale[r] > 0.0;
      squares += counts ? factor[r] * factor[r] : 0.0;
      present += counts ? 1.0 : 0.0;
    }
    problem_ = scaled_by(make_problem(data_, options_, ResponseScale::inverse_norm), factor);
    return std::sqrt(present / squares);
  }

  Findings findings(const LadderResult& found) const {
    Findings findings;
    double squares = 0.0;
    for (const std::size_t r : problem_.place) {
      findings.noise.push_back(facts_.noise[r]);
      squares += facts_.noise[r] * facts_.noise[r];
    }
    findings.noise_floor = std::sqrt(squares / static_cast<double>(problem_.place.size()));
    findings.turns = facts_.turns.most;
    findings.degrees_a_sample = facts_.turns.degrees_a_sample;
    findings.either_side = found.residual;
    findings.advance = found.advance;
    return findings;
  }

  SearchEnd end_of(SearchEnd end, const Report& report, const Search& search) {
    if (search.error <= target_.error) {
      return SearchEnd::target_met;
    }
    if (end == SearchEnd::cancelled) {
      return end;
    }
    if (within_noise(report, search.findings, target_)) {
      return SearchEnd::met_to_noise;
    }
    if (end == SearchEnd::target_met) {
      return limited_by_noise_ ? SearchEnd::noise : SearchEnd::missed_measure;
    }
    return end;
  }

  const NetworkData& data_;
  const Target& target_;
  const Options& options_;
  Problem problem_;
  DataFacts facts_;
  std::size_t limit_;
  int told_ = 0;
  bool limited_by_noise_ = false;  // the goal, above what is wanted
};

/// An error at which a model that cannot be better is still a good one: -40 dB.
constexpr double common_practice = 1e-2;
/// Data of which all responses have more of it are no data.
constexpr double mostly_noise = 0.3;

}  // namespace

bool succeeded(const Search& search) {
  switch (search.end) {
    case SearchEnd::target_met:
      return true;
    case SearchEnd::met_to_noise:
      return std::any_of(search.findings.noise.begin(), search.findings.noise.end(),
                         [](double noise) { return noise < mostly_noise; });
    case SearchEnd::noise:
    case SearchEnd::not_causal:
    case SearchEnd::no_gain:
      return search.fit.report.relative_error <= common_practice;
    default:
      return false;
  }
}

Search fit_to_error(const NetworkData& data, const Target& target, const Options& options) {
  if (!(target.error > 0.0)) {
    throw Error(ErrorKind::bad_option, "the target of the error is " + text::significant(target.error, 6) +
                                           "; it has to be above 0");
  }
  check_options(options);
  check(data);
  check_sizes(data.frequencies.size(), data.responses.responses, 0, options);
  if (is_zero(data)) {
    Search search;
    search.fit = fit_of_zeros(data);
    search.findings.noise.resize(data.responses.responses);
    search.fit.report.finding = sentence(search, target, 0, data.frequencies.size());
    search.fit.model.origin->finding = search.fit.report.finding;
    return search;
  }
  check_exact_sample(data, options, 1);
  return Searcher(data, target, options).run();
}

}  // namespace polefit
