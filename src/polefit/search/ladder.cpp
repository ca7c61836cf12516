#include "polefit/search/ladder.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <optional>
#include <utility>

#include "polefit/search/advance.hpp"
#include "polefit/search/reduction.hpp"
#include "polefit/search/starts.hpp"
#include "polefit/search/working_data.hpp"

namespace polefit {
namespace {

constexpr std::size_t least_first_order = 4;
/// Fewer poles cannot follow a turn of the data.
constexpr double poles_a_turn = 2.0;
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
constexpr int most_selections = 3;
/// Samples with which poles are estimated that are half hidden in noise.
constexpr std::size_t fewest_for_noise = 1500;
/// Of two rungs the smaller is taken when its error is at most so many times that of the other.
constexpr double as_good = 1.05;
/// Poles that turn slowly enough for a limit on the order to reach them, in turns for each pole.
constexpr double reachable_turns = 0.42;
/// Data that are fitted to this are causal, whatever the rounding of residuals says.
constexpr double exact = 1e-9;
/// With fewer samples anything may look white.
constexpr std::size_t fewest_samples_for_noise = 16;
/// Turns from which on a phase that runs forward is no matter of a few resonances.
constexpr double forward = 1.0;
constexpr int most_settling = 4;
constexpr double settling_gain = 0.5;
/// Of the ridge's delta: what a projection leaves of exact data.
constexpr double settled = 2.0;
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
        data_(whole, facts.by_frequency, goal) {}

  LadderResult run() {
    try {
      climb();
      reduce();
    } catch (const Cancelled&) {
      take_best_so_far();
    }
    return finished();
  }

 private:
  /// The error that the goal is compared with.
  double judged(const Candidate& candidate) const {
    return goal_.error > wanted_ ? data_.adjusted(candidate) : candidate.error();
  }
  bool met() const { return judged(rungs_.back().candidate) <= data_.enough(); }

  Poles own_start(std::size_t order) const {
    const double reached = reachable_turns * static_cast<double>(order);
    const double part = order == limit_ && facts_.turns.most > reached ? reached / facts_.turns.most : 1.0;
    return even_start(data_.problem(), order, part);
  }

  /// Poles of so many from the starts that are worth a trial after the rung before.
  Rung rung(std::size_t order, const Rung& before) {
    std::optional<Rung> best;
    const auto take = [&](Poles start, bool logarithmic, bool grown) {
      Candidate candidate = data_.refinement().from_start(std::move(start), data_.enough());
      if (!best || candidate.error() < best->candidate.error()) {
        const double residual = best ? best->candidate.residual : candidate.residual;
        candidate.residual = std::min(candidate.residual, residual);
        best = Rung{std::move(candidate), 0.0, logarithmic, grown};
      }
    };
    const bool only_grown = before.grown && order != limit_;
    const bool logarithmic = over_decades(data_.problem()) && (rungs_.size() == 1 || before.logarithmic);
    const bool linear = !logarithmic || rungs_.size() == 1;
    if (linear && !only_grown) {
      take(own_start(order), false, false);
    }
    if (logarithmic && !only_grown) {
      take(logarithmic_start(data_.problem(), order), true, false);
    }
    if (only_grown || (before.candidate.order() > 0 && is_poor(*best, before))) {
      const Projection& projection = before.candidate.projection;
      take(grown_start(data_.problem(), projection.poles(), projection.residual(), order), before.logarithmic,
           true);
    }
    check(*best);
    return *std::move(best);
  }
  /// Whether the poles of the rung before with others beside them are worth a trial.
  bool is_poor(const Rung& rung, const Rung& before) const {
    const Candidate& candidate = rung.candidate;
    return candidate.error() > data_.enough() && (candidate.error() > poor_start * before.candidate.error() ||
                                                  candidate.residual < mirrored * candidate.error());
  }

  /// Compares with the error on all samples, and takes more samples when that is much larger.
  void check(Rung& rung) {
    Candidate& candidate = rung.candidate;
    const bool worth_it = candidate.error() <= data_.enough() || candidate.order() >= order_to_check;
    for (int i = 0; i < most_selections && !data_.has_all_samples() && worth_it; ++i) {
      const std::vector<double> squares = squared_residuals_on(data_.at_all_samples(), candidate.projection);
      const double error =
          std::sqrt(std::accumulate(squares.begin(), squares.end(), 0.0)) / data_.at_all_samples().norm;
      if (!(error > much_worse * candidate.error()) || error <= goal_.error) {
        return;
      }
      data_.select(squares, static_cast<std::size_t>(more_samples * static_cast<double>(data_.samples())));
      move_rungs();
      candidate = data_.moved(candidate);
      data_.refinement().polish(candidate, last_steps, data_.enough());
    }
  }

  /// Makes the rungs anew on other data.
  void move_rungs() {
    for (Rung& rung : rungs_) {
      rung.candidate = data_.moved(rung.candidate);
      rung.adjusted = data_.adjusted(rung.candidate);
    }
  }

  void add_rung(std::size_t order) {
    if (order == 0) {
      rungs_.push_back({data_.refinement().candidate_of({})});
    } else {
      const Rung& before = rungs_.back();
      rungs_.push_back(rung(order, before));
    }
    rungs_.back().adjusted = data_.adjusted(rungs_.back().candidate);
    // A rung that is much better than the one before has to be judged by what was too small to matter then.
    if (data_.take_combinations_for(rungs_.back().candidate.error())) {
      move_rungs();
    }
    const Candidate& candidate = rungs_.back().candidate;
    steps_.push_back({.order = candidate.order(), .error = candidate.error()});
  }

  bool gained_nothing(std::size_t i) const {
    return i > 0 && !(rungs_[i].adjusted < (1.0 - gain) * rungs_[i - 1].adjusted);
  }

  bool is_white() {
    const Candidate& candidate = rungs_.back().candidate;
    if (!(neumann_ratio(candidate.projection.residual(), data_.problem().samples) > white)) {
      return false;
    }
    return data_.has_all_samples() ||
           neumann_ratio(residual_on(data_.at_all_samples(), candidate.projection), whole_.samples) > white;
  }

  std::size_t first_order() const {
    const auto pairs = static_cast<std::size_t>(0.5 * poles_a_turn * facts_.turns.most);
    return std::min(std::max(least_first_order, 2 * pairs), limit_);
  }

  void climb() {
    add_rung(0);
    for (std::size_t order = first_order(); !met(); order = std::min(2 * order, limit_)) {
      if (order == 0) {
        end_ = SearchEnd::most_poles;
        return;
      }
      add_rung(order);
      if (met()) {
        break;
      }
      const std::size_t last = rungs_.size() - 1;
      const bool turns_followed = static_cast<double>(order) >= poles_a_turn * facts_.turns.most;
      if (gained_nothing(last) && turns_followed && whole_.samples >= fewest_samples_for_noise &&
          is_white()) {
        end_ = SearchEnd::noise;
        return;
      }
      if (last >= 3 && gained_nothing(last) && gained_nothing(last - 1) && turns_followed) {
        end_ = SearchEnd::no_gain;
        return;
      }
      if (order == limit_) {
        end_ = SearchEnd::most_poles;
        return;
      }
    }
    end_ = SearchEnd::target_met;
  }

  double least_error() const {
    double least = std::numeric_limits<double>::infinity();
    for (const Rung& rung : rungs_) {
      least = std::min(least, rung.adjusted);
    }
    return least;
  }

  /// The rung that is taken: the one that met, or the smallest that is about as good as any.
  std::size_t chosen() const {
    if (end_ == SearchEnd::target_met) {
      return rungs_.size() - 1;
    }
    const double most = as_good * least_error();
    const auto found =
        std::find_if(rungs_.begin(), rungs_.end(), [&](const Rung& rung) { return rung.adjusted <= most; });
    return std::min(static_cast<std::size_t>(found - rungs_.begin()), rungs_.size() - 1);
  }

  void reduce() {
    if (end_ == SearchEnd::noise && data_.samples() < fewest_for_noise && !data_.has_all_samples()) {
      data_.select({}, fewest_for_noise);
      move_rungs();
    }
    const std::size_t taken = chosen();
    best_.emplace(rungs_[taken].candidate);
    if (taken == 0) {
      return;
    }
    Reduction reduction{.failed = rungs_[taken - 1].candidate.order(),
                        .keep = as_good * least_error(),
                        .error_of = [&](const Candidate& candidate) { return data_.adjusted(candidate); }};
    if (end_ == SearchEnd::target_met) {
      reduction.keep = data_.enough();
      reduction.error_of = [&](const Candidate& candidate) { return judged(candidate); };
    }
    spare_poles(data_.refinement(), reduction, *best_, steps_);
  }

  /// Of what the search had when it was ended.
  void take_best_so_far() {
    end_ = SearchEnd::cancelled;
    if (!best_) {
      best_.emplace(rungs_[chosen()].candidate);
    }
    const Refinement::Seen& seen = data_.refinement().best_seen();
    if (seen.error < best_->error()) {
      best_.emplace(data_.refinement().candidate_of(seen.poles));
    }
  }

  LadderResult finished() {
    LadderResult result;
    // A model without poles was not relocated.
    result.residual = std::min(best_->residual, best_->error());
    data_.take_combinations_for_goal();
    data_.take_all_samples();
    Candidate candidate = data_.moved(*best_);
    try {
      improve_on_all_samples(candidate);
      const double dropped = data_.dropped();
      result.error = std::sqrt(candidate.error() * candidate.error() + dropped * dropped);
      if (end_ == SearchEnd::no_gain || end_ == SearchEnd::most_poles || end_ == SearchEnd::noise) {
        end_ = reason(result.residual, candidate.error());
      }
      if (end_ == SearchEnd::not_causal) {
        const Selection selection = select_samples(whole_, data_.combinations(), facts_.by_frequency, {}, 0);
        result.advance = advance_of(whole_, data_.combinations(), selection, data_.tail(), candidate.order(),
                                    candidate.error(), goal_);
      }
    } catch (const Cancelled&) {
      end_ = SearchEnd::cancelled;
    }
    result.end = end_;
    result.poles = candidate.projection.poles();
    result.relocations = data_.relocations();
    result.orthogonal_relocations = data_.orthogonal_relocations();
    result.steps = std::move(steps_);
    return result;
  }

  void improve_on_all_samples(Candidate& candidate) {
    if (end_ == SearchEnd::cancelled) {
      return;
    }
    const bool met = end_ == SearchEnd::target_met;
    const auto order = static_cast<double>(candidate.order());
    const bool cheap = 20.0 * static_cast<double>(whole_.samples) * order * order < cheap_step;
    if (candidate.error() > data_.enough() && (cheap || met)) {
      data_.refinement().polish(candidate, last_steps, data_.enough());
    }
    if (met) {
      settle(candidate);
    }
  }

  /// Relocations on all samples, as long as they find much more: data that are exact.
  void settle(Candidate& candidate) {
    for (int i = 0; i < most_settling; ++i) {
      const double before = candidate.error();
      data_.refinement().relocate_once(candidate);
      if (!(candidate.error() < settling_gain * before) || candidate.error() < settled * goal_.delta) {
        return;
      }
    }
  }

  /// Why the goal was not met.
  SearchEnd reason(double residual, double error) const {
    if (std::abs(facts_.turns.degrees_a_sample) > coarse_step) {
      return SearchEnd::too_coarse;
    }
    if (end_ == SearchEnd::noise) {
      return end_;
    }
    const bool runs_forward = facts_.turns.degrees_a_sample < 0.0 && facts_.turns.most > forward;
    return runs_forward || (error > exact && residual < not_causal * error) ? SearchEnd::not_causal : end_;
  }

  const Problem& whole_;
  const DataFacts& facts_;
  const Goal& goal_;
  double wanted_;
  std::size_t limit_;
  WorkingData data_;
  std::vector<Rung> rungs_;
  std::optional<Candidate> best_;
  std::vector<Step> steps_;
  SearchEnd end_ = SearchEnd::target_met;
};

}  // namespace

LadderResult climb(const Problem& problem, const DataFacts& facts, const Goal& goal, double wanted,
                   std::size_t most_poles) {
  return Ladder(problem, facts, goal, wanted, most_poles).run();
}

}  // namespace polefit
