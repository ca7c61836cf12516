#include "polefit/search/ladder.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <numeric>
#include <optional>
#include <utility>

#include "polefit/data/noise_floor.hpp"
#include "polefit/data/reduced_problem.hpp"
#include "polefit/fitting/refinement.hpp"
#include "polefit/projection/elimination.hpp"
#include "polefit/search/advance.hpp"
#include "polefit/search/starts.hpp"

namespace polefit {
namespace {

constexpr std::size_t first_order = 4;
/// A rung that takes less than this part off the error gained nothing.
constexpr double gain = 0.1;
/// The poles of the rung before are worth a trial with more beside them when a start of its own left so much
/// of its error ...
constexpr double poor_start = 0.75;
/// ... or when relocation could do so much better than the mirrored poles.
constexpr double mirrored = 0.3;
/// The same, of the error that a search ended with: the data are not causal.
constexpr double not_causal = 0.2;
/// Sum of squared differences over twice the sum of squares: 1 for white noise, 0 for what is smooth.
constexpr double white = 0.75;
/// Orders from which on the error on the selection is compared with that on all samples.
constexpr std::size_t order_to_check = 32;
constexpr double much_worse = 1.15;
constexpr double more_samples = 1.5;
/// Of two rungs the smaller is taken when its error is at most so many times that of the other.
constexpr double as_good = 1.05;
/// Combinations of responses that are left out, relative to the goal and to the error of the rung before.
constexpr double tail_of_goal = 0.2;
constexpr double tail_of_error = 0.03;
/// Poles that turn slowly enough for a limit on the order to reach them, in turns for each pole.
constexpr double reachable_turns = 0.42;
/// Mean phase between samples, in degrees, above which nothing says which way it turns ...
constexpr double coarse = 60.0;
/// ... and turns from which on a phase that runs forward is no matter of a few resonances.
constexpr double forward = 1.0;
constexpr int reduction_trials = 5;
/// A reduction goes on while it can spare this part of the poles.
constexpr double worth_sparing = 0.03;
constexpr int reduction_steps = 4;
constexpr double worth_polishing = 3.0;
constexpr double first_trial = 10.0;
constexpr int most_settling = 4;
constexpr double settling_gain = 0.5;
constexpr int last_steps = 4;
constexpr double cheap_step = 3e8;

/// The Neumann ratio (von Neumann, "Distribution of the ratio of the mean square successive difference to the
/// variance", Ann. Math. Statist. 12, 1941) of residuals, one response after the other.
double neumann_ratio(const std::vector<Complex>& residual, std::size_t samples) {
  double differences = 0.0;
  double squares = 0.0;
  for (std::size_t i = 0; i < residual.size(); ++i) {
    squares += std::norm(residual[i]);
    if (i % samples != 0) {
      differences += std::norm(residual[i] - residual[i - 1]);
    }
  }
  return squares > 0.0 ? differences / (2.0 * squares) : 0.0;
}

double norm_of(const std::vector<Complex>& residual) {
  double squares = 0.0;
  for (const Complex value : residual) {
    squares += std::norm(value);
  }
  return std::sqrt(squares);
}

/// A candidate with what is to be known of it.
struct Rung {
  Candidate candidate;
  double adjusted = 0.0;  ///< error, free of what over-fitting gains
  bool logarithmic = false;
  bool grown = false;
};

class Ladder {
 public:
  Ladder(const Problem& whole, const DataFacts& facts, const Goal& goal, double wanted,
         std::size_t most_poles)
      : whole_(whole),
        facts_(facts),
        goal_(goal),
        wanted_(wanted),
        limit_(most_poles),
        data_(combine_responses(whole, tail_of_goal * goal.error)) {
    all_.samples = facts.by_frequency;
    all_.weights.assign(all_.samples.size(), 1.0);
    all_.all = true;
    tail_ = std::max(tail_of_goal * goal.error, tail_of_error);
    select({}, 0);
  }

  LadderResult run() {
    try {
      climb();
      reduce();
    } catch (const Cancelled&) {
      take_best_so_far();
    }
    LadderResult result;
    finish(result);
    return result;
  }

 private:
  double enough() const {
    const double dropped = reduced_->dropped();
    const double square = goal_.error * goal_.error - dropped * dropped;
    return square > 0.0 ? std::sqrt(square) : 0.0;
  }

  void select(const std::vector<double>& residual, std::size_t least) {
    selection_ = select_samples(whole_, data_, facts_.by_frequency, residual, least);
    reduce_problem();
  }
  void reduce_problem() {
    if (refinement_) {
      relocations_ += refinement_->relocations();
      orthogonal_ += refinement_->orthogonal_relocations();
    }
    refinement_.reset();
    reduced_ = std::make_unique<ReducedProblem>(whole_, data_, selection_, tail_);
    refinement_ = std::make_unique<Refinement>(reduced_->problem(), goal_);
    everything_.reset();
  }
  const ReducedProblem& everything() {
    if (selection_.all) {
      return *reduced_;
    }
    if (!everything_) {
      everything_ = std::make_unique<ReducedProblem>(whole_, data_, all_, tail_);
    }
    return *everything_;
  }

  double adjusted(const Candidate& candidate) const {
    const Problem& problem = reduced_->problem();
    const auto responses = static_cast<double>(problem.responses);
    const auto equations = 2.0 * static_cast<double>(problem.samples) * responses;
    const double unknowns = static_cast<double>(candidate.order()) * (1.0 + responses) +
                            static_cast<double>(problem.terms()) * responses;
    return unknowns < equations ? candidate.error() / std::sqrt(1.0 - unknowns / equations)
                                : std::numeric_limits<double>::infinity();
  }
  /// The error that the goal is compared with.
  double judged(const Candidate& candidate) const {
    return goal_.error > wanted_ ? adjusted(candidate) : candidate.error();
  }

  Poles own_start(std::size_t order) const {
    const double reached = reachable_turns * static_cast<double>(order);
    const double part = order == limit_ && facts_.turns.most > reached ? reached / facts_.turns.most : 1.0;
    return even_start(reduced_->problem(), order, part);
  }

  Rung rung(std::size_t order) {
    const Rung* const before = rungs_.empty() ? nullptr : &rungs_.back();
    const bool decades = over_decades(reduced_->problem());
    const bool at_limit = order == limit_;
    std::optional<Rung> best;
    const auto take = [&](Poles start, bool logarithmic, bool grown) {
      Candidate candidate = refinement_->from_start(std::move(start), enough());
      if (!best || candidate.error() < best->candidate.error()) {
        const double residual = best ? best->candidate.residual : candidate.residual;
        candidate.residual = std::min(candidate.residual, residual);
        best = Rung{std::move(candidate), 0.0, logarithmic, grown};
      }
    };
    const bool only_grown = before && before->grown && !at_limit;
    if (!only_grown) {
      const bool both = decades && (rungs_.size() < 2);
      if (both || !(decades && before && before->logarithmic)) {
        take(own_start(order), false, false);
      }
      if (both || (decades && before && before->logarithmic)) {
        take(logarithmic_start(reduced_->problem(), order), true, false);
      }
    }
    if (before && before->candidate.order() > 0 &&
        (only_grown || best->candidate.error() > poor_start * before->candidate.error() ||
         best->candidate.residual < mirrored * best->candidate.error())) {
      if (!(best && best->candidate.error() <= enough())) {
        take(grown_start(reduced_->problem(), before->candidate.projection.poles(),
                         before->candidate.projection.residual(), order),
             before->logarithmic, true);
      }
    }
    check(*best);
    best->adjusted = adjusted(best->candidate);
    return *std::move(best);
  }

  /// Compares with the error on all samples, and takes more samples when that is much larger.
  void check(Rung& rung) {
    const std::size_t order = rung.candidate.order();
    const bool meets = rung.candidate.error() <= enough();
    for (int i = 0; i < 3 && !selection_.all && (meets || order >= order_to_check); ++i) {
      const std::vector<Complex> residual = residual_on(everything().problem(), rung.candidate.projection);
      const double error = norm_of(residual) / everything().problem().norm;
      if (!(error > much_worse * rung.candidate.error()) || error <= goal_.error) {
        return;
      }
      std::vector<double> squares(all_.samples.size());
      for (std::size_t k = 0; k < residual.size(); ++k) {
        squares[k % squares.size()] += std::norm(residual[k]);
      }
      const auto more =
          static_cast<std::size_t>(more_samples * static_cast<double>(selection_.samples.size()));
      const Poles poles = rung.candidate.projection.poles();
      const double linear = rung.candidate.residual;
      move_rungs([&] { select(squares, more); });
      rung.candidate = refinement_->candidate_of(poles);
      rung.candidate.residual = linear;
      refinement_->polish(rung.candidate, last_steps, enough());
    }
  }

  /// Changes the reduced problem and makes the rungs anew on it.
  template <class Change>
  void move_rungs(const Change& change) {
    std::vector<Poles> poles;
    for (const Rung& rung : rungs_) {
      poles.push_back(rung.candidate.projection.poles());
    }
    change();
    for (std::size_t i = 0; i < rungs_.size(); ++i) {
      const double residual = rungs_[i].candidate.residual;
      rungs_[i].candidate = refinement_->candidate_of(poles[i]);
      rungs_[i].candidate.residual = residual;
      rungs_[i].adjusted = adjusted(rungs_[i].candidate);
    }
  }

  /// Takes more combinations of the responses when the error has come near those left out.
  void take_more_combinations() {
    const double tail = std::max(tail_of_goal * goal_.error,
                                 std::min(tail_, tail_of_error * rungs_.back().candidate.error()));
    const double now = reduced_->dropped();
    tail_ = tail;
    if (now > tail) {
      move_rungs([&] { reduce_problem(); });
    }
  }

  bool gained_nothing(std::size_t i) const {
    return i > 0 && !(rungs_[i].adjusted < (1.0 - gain) * rungs_[i - 1].adjusted);
  }

  bool is_white() {
    const Candidate& candidate = rungs_.back().candidate;
    if (!(neumann_ratio(candidate.projection.residual(), reduced_->problem().samples) > white)) {
      return false;
    }
    return selection_.all || neumann_ratio(residual_on(everything().problem(), candidate.projection),
                                           all_.samples.size()) > white;
  }

  void add_rung(std::size_t order) {
    rungs_.push_back(order == 0 ? Rung{refinement_->candidate_of({})} : rung(order));
    Rung& last = rungs_.back();
    last.adjusted = adjusted(last.candidate);
    steps_.push_back({.order = last.candidate.order(), .error = last.candidate.error()});
  }

  bool met() const { return judged(rungs_.back().candidate) <= enough(); }

  void climb() {
    add_rung(0);
    std::size_t order = std::min(first_order, limit_);
    while (!met()) {
      if (order == 0) {
        end_ = SearchEnd::most_poles;
        return;
      }
      take_more_combinations();
      add_rung(order);
      if (met()) {
        break;
      }
      const std::size_t i = rungs_.size() - 1;
      if (gained_nothing(i) && is_white()) {
        end_ = SearchEnd::noise;
        return;
      }
      if (i >= 3 && gained_nothing(i) && gained_nothing(i - 1) &&
          static_cast<double>(order) >= 2.0 * facts_.turns.most) {
        end_ = SearchEnd::no_gain;
        return;
      }
      if (order == limit_) {
        end_ = SearchEnd::most_poles;
        return;
      }
      order = std::min(2 * order, limit_);
    }
    end_ = SearchEnd::target_met;
  }

  /// Of what the search had when it was ended.
  void take_best_so_far() {
    end_ = SearchEnd::cancelled;
    if (!best_) {
      best_.emplace(std::move(rungs_[chosen()].candidate));
    }
    if (refinement_->best_seen() && refinement_->best_seen()->error() < best_->error()) {
      best_.emplace(*refinement_->best_seen());
    }
  }

  /// The rung that is taken, and what its reduction has to keep.
  std::size_t chosen() const {
    if (end_ == SearchEnd::target_met) {
      return rungs_.size() - 1;
    }
    double least = std::numeric_limits<double>::infinity();
    for (const Rung& rung : rungs_) {
      least = std::min(least, rung.adjusted);
    }
    for (std::size_t i = 0; i < rungs_.size(); ++i) {
      if (rungs_[i].adjusted <= as_good * least) {
        return i;
      }
    }
    return rungs_.size() - 1;
  }

  void reduce() {
    if (end_ == SearchEnd::noise && selection_.samples.size() < 1500 && !selection_.all) {
      move_rungs([&] { select({}, 1500); });
    }
    const std::size_t taken = chosen();
    best_.emplace(std::move(rungs_[taken].candidate));
    const bool met = end_ == SearchEnd::target_met;
    double least = std::numeric_limits<double>::infinity();
    for (const Rung& rung : rungs_) {
      least = std::min(least, rung.adjusted);
    }
    const double keep = met ? enough() : as_good * least;
    const auto error_of = [&](const Candidate& candidate) {
      return met ? judged(candidate) : adjusted(candidate);
    };
    std::size_t low = taken > 0 ? rungs_[taken - 1].candidate.order() : 0;
    if (taken == 0) {
      return;
    }
    std::vector<FewerPoles> path = eliminate_poles(best_->projection);
    bool first = true;
    for (int trial = 0; trial < reduction_trials; ++trial) {
      const std::size_t high = best_->order();
      // Of the path, orders fall.
      std::vector<const FewerPoles*> between;
      for (const FewerPoles& fewer : path) {
        if (fewer.poles.size() > low && fewer.poles.size() < high) {
          between.push_back(&fewer);
        }
      }
      if (between.empty() || static_cast<double>(high - low) <= worth_sparing * static_cast<double>(high)) {
        return;
      }
      const FewerPoles* tried = between[between.size() / 2];
      if (first) {
        const double lowest = static_cast<double>(low) + 0.25 * static_cast<double>(high - low);
        tried = nullptr;
        for (const FewerPoles* const fewer : between) {
          if (!tried ||
              (fewer->error <= first_trial * keep && static_cast<double>(fewer->poles.size()) >= lowest)) {
            tried = fewer;
          }
        }
        first = false;
      }
      const std::size_t order = tried->poles.size();
      Candidate candidate = refinement_->candidate_of(tried->poles);
      candidate.residual = best_->residual;
      refinement_->polish(candidate, reduction_steps, keep);
      if (error_of(candidate) > keep && error_of(candidate) < worth_polishing * keep) {
        refinement_->relocate_once(candidate);
        refinement_->polish(candidate, reduction_steps / 2, keep);
      }
      if (error_of(candidate) <= keep) {
        steps_.push_back({.order = order, .error = candidate.error()});
        best_.emplace(std::move(candidate));
        path = eliminate_poles(best_->projection);
      } else {
        low = order;
      }
    }
  }

  void finish(LadderResult& result) {
    // On all samples, with all that is not noise of the responses.
    // A model without poles was not relocated.
    result.residual = std::min(best_->residual, best_->error());
    const Poles poles = best_->projection.poles();
    tail_ = std::min(tail_, tail_of_goal * goal_.error);
    selection_ = all_;
    reduce_problem();
    Candidate candidate = refinement_->candidate_of(poles);
    const auto order = static_cast<double>(poles.size());
    const bool cheap = 20.0 * static_cast<double>(reduced_->problem().samples) * order * order < cheap_step;
    try {
      if (end_ != SearchEnd::cancelled && candidate.error() > enough() &&
          (cheap || end_ == SearchEnd::target_met)) {
        refinement_->polish(candidate, last_steps, enough());
      }
      if (end_ == SearchEnd::target_met) {
        settle(candidate);
      }
    } catch (const Cancelled&) {
      end_ = SearchEnd::cancelled;
    }
    relocations_ += refinement_->relocations();
    orthogonal_ += refinement_->orthogonal_relocations();
    const double dropped = reduced_->dropped();
    result.error = std::sqrt(candidate.error() * candidate.error() + dropped * dropped);
    result.poles = candidate.projection.poles();
    result.relocations = relocations_;
    result.orthogonal_relocations = orthogonal_;
    result.steps = std::move(steps_);
    result.end = end_;
    if (end_ == SearchEnd::no_gain || end_ == SearchEnd::most_poles) {
      result.end = reason(result.residual, candidate.error());
    }
    if (result.end == SearchEnd::not_causal) {
      try {
        result.advance = advance_of(whole_, data_, select_samples(whole_, data_, facts_.by_frequency, {}, 0),
                                    tail_, poles.size(), candidate.error(), goal_);
      } catch (const Cancelled&) {
        result.advance = 0.0;
      }
    }
  }

  /// Why the goal was not met, other than for noise.
  SearchEnd reason(double residual, double error) const {
    if (std::abs(facts_.turns.degrees_a_sample) > coarse) {
      return SearchEnd::too_coarse;
    }
    const bool runs_forward = facts_.turns.degrees_a_sample < 0.0 && facts_.turns.most > forward;
    return runs_forward || residual < not_causal * error ? SearchEnd::not_causal : end_;
  }

  /// Relocations on all samples, as long as they find much more: data that are exact.
  void settle(Candidate& candidate) {
    for (int i = 0; i < most_settling; ++i) {
      const double before = candidate.error();
      refinement_->relocate_once(candidate);
      if (!(candidate.error() < settling_gain * before)) {
        return;
      }
    }
  }

  const Problem& whole_;
  const DataFacts& facts_;
  const Goal& goal_;
  double wanted_;
  std::size_t limit_;
  Combinations data_;
  Selection all_;
  Selection selection_;
  double tail_ = 0.0;
  std::unique_ptr<ReducedProblem> reduced_;
  std::unique_ptr<ReducedProblem> everything_;
  std::unique_ptr<Refinement> refinement_;
  std::vector<Rung> rungs_;
  std::optional<Candidate> best_;
  std::vector<Step> steps_;
  SearchEnd end_ = SearchEnd::target_met;
  int relocations_ = 0;
  int orthogonal_ = 0;
};

}  // namespace

DataFacts facts_of(const Problem& problem) {
  DataFacts facts;
  facts.by_frequency.resize(problem.samples);
  std::iota(facts.by_frequency.begin(), facts.by_frequency.end(), std::size_t{0});
  std::stable_sort(facts.by_frequency.begin(), facts.by_frequency.end(),
                   [&](std::size_t i, std::size_t k) { return problem.omega[i] < problem.omega[k]; });
  double squares = 0.0;
  const NoiseEstimate estimate(problem, facts.by_frequency);
  for (std::size_t r = 0; r < problem.responses; ++r) {
    const double noise = estimate.of(r);
    const double unit = unit_of_response(problem, r);
    double size = 0.0;
    for (std::size_t k = 0; k < problem.samples; ++k) {
      size += std::norm(problem.value(r, k) / unit);
      const double part = noise * problem.factor(r, k);
      squares += part * part;
    }
    size = std::sqrt(size / static_cast<double>(problem.samples));
    facts.noise.push_back(size > 0.0 ? noise / unit / size : 0.0);
  }
  facts.floor = std::sqrt(squares) / problem.norm;
  facts.turns = turns_of(problem, facts.by_frequency, facts.noise);
  return facts;
}

LadderResult climb(const Problem& problem, const DataFacts& facts, const Goal& goal, double wanted,
                   std::size_t most_poles) {
  return Ladder(problem, facts, goal, wanted, most_poles).run();
}

}  // namespace polefit
