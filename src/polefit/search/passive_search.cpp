#include "polefit/passive_search.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "numerics/root_mean_square.hpp"
#include "polefit/fitting/finish.hpp"
#include "polefit/search/limit_on_order.hpp"
#include "polefit/search/passive_choice.hpp"
#include "polefit/search/within_noise.hpp"

namespace polefit {
namespace {

constexpr std::size_t most_room_pairs = 6;
/// Of the order that was found, those that are tried in its place, and of the target.
constexpr std::array smaller{0.75, 0.5, 0.375};
constexpr std::array tighter{0.5, 0.25};
/// Of all enforcements of a search, five to ten seconds of them: where the data leave so many planes, orders
/// tried next have gained nothing.
constexpr double most_operations = 1e10;

bool keeps_zero(const NetworkData& data, const Options& options) {
  return options.exact_sample && *options.exact_sample < data.frequencies.size() &&
         data.frequencies[*options.exact_sample] == 0.0;
}

class Searcher {
 public:
  Searcher(const NetworkData& data, const NetworkMatrix& matrix, const Target& target, const Options& options)
      : data_(data), matrix_(matrix), target_(target), options_(options) {}

  PassiveSearch run(Search first) {
    before_ = {.end = first.end, .finding = first.fit.report.finding, .error = first.error};
    const std::size_t order = first.fit.model.poles.size();
    share_ = data_.weights.empty() ? weigh_by_noise(first) : 1.0;
    offer(std::move(first));
    before_.weighted = best_->enforcement.error_before;
    const auto enough = [&] {
      return cancelled_ || operations_ >= most_operations || is_enough(*best_, before_, target_);
    };
    for (std::size_t i = 0; i < smaller.size() && !enough(); ++i) {
      if (i < tighter.size()) {
        Target with_room = target_;
        with_room.error *= tighter[i];
        offer(fit_to_error(data_, with_room, options_));
      }
      Target limited = target_;
      limited.most_poles = static_cast<std::size_t>(smaller[i] * static_cast<double>(order));
      if (!enough() && *limited.most_poles > 0) {
        offer(fit_to_error(data_, limited, options_));
      }
    }
    best_->search.steps = std::move(steps_);
    best_->first = {.order = order, .error = before_.weighted};
    tell_end();
    return *std::move(best_);
  }

 private:
  /// The end of the model that is taken, of which searches with other targets and limits say nothing.
  void tell_end() {
    Search& search = best_->search;
    const bool ended = cancelled_ && !meets(*best_, target_);
    search.end = ended ? SearchEnd::cancelled : end_of(*best_, before_, target_);
    std::string& finding = search.fit.report.finding;
    finding = finding_of(*best_, before_, target_, data_.frequencies.size());
    if (search.fit.model.origin) {
      search.fit.model.origin->finding = finding;
    }
  }

  /// Makes a model passive, and keeps it where it is better than the best so far.
  void offer(Search search) {
    steps_.insert(steps_.end(), search.steps.begin(), search.steps.end());
    cancelled_ = cancelled_ || search.end == SearchEnd::cancelled;
    Fit& fit = search.fit;
    const std::size_t order = fit.model.poles.size();
    const std::size_t limit = limit_on_order(target_, search.findings.turns, data_.frequencies.size());
    const std::size_t free_pairs = (std::max(limit, order) - order) / 2;
    EnforcementOptions options{.move_poles = true,
                               .most_room_pairs = std::min(most_room_pairs, free_pairs),
                               .keep_value_at_zero = keeps_zero(data_, options_),
                               .most_operations = most_operations - operations_,
                               .check_in = options_.check_in};
    NetworkData data = data_;
    if (data_.weights.empty()) {
      data.weights = weights_;
      options.error_wanted = target_.measure == Measure::relative_rms ? share_ * target_.error : 0.0;
    }
    PassiveFit passive = made_passive(std::move(fit), data, matrix_, options);
    operations_ += passive.enforcement.operations;
    search.fit = std::move(passive.fit);
    if (passive.enforcement.remedy != Remedy::none) {
      search.error = measured(search.fit.report, target_.measure);
    }
    PassiveSearch found{std::move(search), std::move(passive.enforcement), {}};
    if (!best_ || better(found, *best_, target_)) {
      best_ = std::move(found);
    }
  }

  /// Makes a response count by the inverse of the error it is allowed, as the search does: beside one that is
  /// half noise any harm to the others would seem small. Noise far above the error was none. Returns how much
  /// larger than the target the error of all, relative to the weighted data, may be then.
  double weigh_by_noise(const Search& search) {
    const std::size_t samples = data_.responses.samples;
    double squares = 0.0;
    double present = 0.0;
    for (std::size_t r = 0; r < data_.responses.responses; ++r) {
      const ResponseError& error = search.fit.report.errors[r];
      const double noise = above_noise * std::min(search.findings.noise[r], error.relative);
      const double factor = noise > target_.error ? target_.error / noise : 1.0;
      const double size =
          numerics::root_mean_square(samples, [&](std::size_t k) { return std::abs(data_.responses(r, k)); });
      const bool counts = size > numerics::least_size;
      squares += counts ? factor * factor : 0.0;
      present += counts ? 1.0 : 0.0;
      weights_.insert(weights_.end(), samples, counts ? factor / size : 0.0);
    }
    if (!(squares < present)) {
      weights_.clear();
      return 1.0;
    }
    return std::sqrt(present / squares);
  }

  const NetworkData& data_;
  const NetworkMatrix& matrix_;
  const Target& target_;
  const Options& options_;
  std::optional<PassiveSearch> best_;
  std::vector<Step> steps_;
  std::vector<double> weights_;  // by the noise; none where no response has any that counts
  double share_ = 1.0;           // by which the error may be larger than the target with them
  Before before_;
  double operations_ = 0.0;
  bool cancelled_ = false;
};

void check_stable(const Options& options) {
  if (!options.stable) {
    throw Error(ErrorKind::bad_option, "a model with poles that need not be stable cannot be made passive");
  }
}

}  // namespace

PassiveSearch fit_to_error_passively(const NetworkData& data, const NetworkMatrix& matrix,
                                     const Target& target, const Options& options) {
  check_stable(options);
  return made_passive(fit_to_error(data, target, options), data, matrix, target, options);
}

PassiveSearch made_passive(Search found, const NetworkData& data, const NetworkMatrix& matrix,
                           const Target& target, const Options& options) {
  check_stable(options);
  const std::size_t responses = data.responses.responses;
  if (found.findings.noise.size() != responses || found.fit.report.errors.size() != responses) {
    throw Error(ErrorKind::bad_shape, "the search is not one of these data");
  }
  return Searcher(data, matrix, target, options).run(std::move(found));
}

PassiveFit made_passive(Fit fit, const NetworkData& data, const NetworkMatrix& matrix,
                        const EnforcementOptions& options) {
  const std::size_t order = fit.model.poles.size();
  fit.model.network = matrix;
  Enforcement enforced = enforce_passivity(fit.model, data, options);
  fit.model = std::move(enforced.model);
  if (enforced.report.remedy != Remedy::none) {
    add_errors(data, fit);
  }
  const FirstFit first{.order = order, .error = enforced.report.error_before};
  return {std::move(fit), std::move(enforced.report), first};
}

PassiveFit made_passive_by_refitting(Fit fit, const NetworkData& data, const NetworkMatrix& matrix,
                                     const Options& options) {
  check_stable(options);
  const std::size_t order = fit.model.poles.size();
  EnforcementOptions keeping{.move_poles = options.polish,
                             .keep_value_at_zero = keeps_zero(data, options),
                             .most_operations = most_operations,
                             .check_in = options.check_in};
  bool cancelled = fit.report.reason == StopReason::cancelled;
  PassiveFit best = made_passive(std::move(fit), data, matrix, keeping);
  const FirstFit first = best.first;
  keeping.most_operations = most_operations - best.enforcement.operations;
  keeping.error_wanted = enough_after(first.error);
  std::vector<std::size_t> orders;
  if (options.starting_poles.empty()) {
    // Just enough fewer for two pairs beyond the band, first.
    orders.push_back(order > 8 ? order - 4 : 0);
    for (const double part : smaller) {
      orders.push_back(static_cast<std::size_t>(part * static_cast<double>(order)));
    }
  }
  for (const std::size_t fewer : orders) {
    if (cancelled || !(keeping.most_operations > 0.0) || is_enough(best.enforcement, first.error)) {
      break;
    }
    if (fewer == 0) {
      continue;
    }
    Options smaller_fit = options;
    smaller_fit.real_poles = std::min(options.real_poles, fewer);
    smaller_fit.real_poles += (fewer - smaller_fit.real_poles) % 2;
    smaller_fit.complex_pairs = (fewer - smaller_fit.real_poles) / 2;
    keeping.most_room_pairs = (order - fewer) / 2;
    PassiveFit found = made_passive(polefit::fit(data, smaller_fit), data, matrix, keeping);
    cancelled = found.fit.report.reason == StopReason::cancelled;
    keeping.most_operations -= found.enforcement.operations;
    if (better(found, best)) {
      best = std::move(found);
    }
  }
  if (cancelled) {
    best.fit.report.reason = StopReason::cancelled;
  }
  best.first = first;
  return best;
}

}  // namespace polefit
