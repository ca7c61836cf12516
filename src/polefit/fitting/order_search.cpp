#include "polefit/order_search.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <optional>
#include <string>
#include <utility>

#include "numerics/angular_frequency.hpp"
#include "polefit/fitting/option_checks.hpp"
#include "polefit/fitting/stop_rule.hpp"
#include "polefit/model/overall_error.hpp"
#include "polefit/problem/pole_basis.hpp"

namespace polefit {
namespace {

using Complex = std::complex<double>;

/// Pairs that a search starts with.
constexpr std::size_t first_pairs = 2;
/// Every fifth sample in the order of frequency is held out, when there are enough.
constexpr std::size_t held_out_every = 5;
constexpr std::size_t fewest_to_hold_out = 40;
/// A larger order pays when it makes the error this much smaller ...
constexpr double worthwhile = 0.9;
/// ... and models noise when it makes that of the samples held out this much larger than the best was.
constexpr double harmful = 1.2;
/// Steps in a row without success after which the search ends, once it has tried an order that is twice the
/// best and at least so many poles: a delay, or resonances one beside the other, show no gain until there are
/// nearly enough pairs for all.
constexpr int patience = 3;
constexpr std::size_t least_tried = 48;

/// Some of the samples, copied.
struct Selection {
  Selection(const NetworkData& data, const std::vector<std::size_t>& samples) {
    const std::size_t all = data.frequencies.size();
    for (const std::size_t k : samples) {
      frequencies.push_back(data.frequencies[k]);
    }
    for (std::size_t r = 0; r < data.responses.responses; ++r) {
      for (const std::size_t k : samples) {
        values.push_back(data.responses(r, k));
      }
    }
    for (std::size_t first = 0; first < data.weights.size(); first += all) {
      for (const std::size_t k : samples) {
        weights.push_back(data.weights[first + k]);
      }
    }
    view = {frequencies, Responses::by_response(values, data.responses.responses), data.names, weights};
  }
  Selection(const Selection&) = delete;
  Selection& operator=(const Selection&) = delete;

  std::vector<double> frequencies;
  std::vector<Complex> values;
  std::vector<double> weights;
  NetworkData view;
};

double measured(const std::vector<ResponseError>& errors, Measure measure) {
  const OverallError overall = overall_error(errors);
  switch (measure) {
    case Measure::relative_rms:
      return overall.relative;
    case Measure::worst_response:
      return overall.worst;
    default:
      return overall.largest;
  }
}

std::vector<std::size_t> by_frequency(const NetworkData& data) {
  std::vector<std::size_t> order(data.frequencies.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t i, std::size_t k) { return data.frequencies[i] < data.frequencies[k]; });
  return order;
}

/// Whether a value other than 0 with a weight other than 0 is among the samples.
bool has_weight(const NetworkData& data, const std::vector<std::size_t>& samples) {
  const std::size_t all = data.frequencies.size();
  const auto weight = [&](std::size_t r, std::size_t k) {
    return data.weights.empty() ? 1.0 : data.weights[data.weights.size() == all ? k : r * all + k];
  };
  for (std::size_t r = 0; r < data.responses.responses; ++r) {
    if (std::any_of(samples.begin(), samples.end(),
                    [&](std::size_t k) { return weight(r, k) > 0.0 && data.responses(r, k) != Complex(); })) {
      return true;
    }
  }
  return false;
}

/// The frequencies, in rad/s, of the `count` largest local maxima of the error over all responses, each
/// relative to its own size; fewer when there are not as many.
std::vector<double> worst_places(const NetworkData& data, const Model& model, std::size_t count) {
  const std::vector<Complex> values = evaluate(model, data.frequencies);
  const std::size_t samples = data.frequencies.size();
  std::vector<double> error(samples);
  for (std::size_t r = 0; r < data.responses.responses; ++r) {
    double size = 0.0;
    for (std::size_t k = 0; k < samples; ++k) {
      size += std::norm(data.responses(r, k));
    }
    for (std::size_t k = 0; k < samples && size > 0.0; ++k) {
      error[k] += std::norm(data.responses(r, k) - values[r * samples + k]) / size;
    }
  }
  const std::vector<std::size_t> order = by_frequency(data);
  std::vector<std::size_t> maxima;
  for (std::size_t i = 0; i < samples; ++i) {
    const double here = error[order[i]];
    if (data.frequencies[order[i]] > 0.0 && (i == 0 || here > error[order[i - 1]]) &&
        (i + 1 == samples || here >= error[order[i + 1]])) {
      maxima.push_back(order[i]);
    }
  }
  std::stable_sort(maxima.begin(), maxima.end(),
                   [&](std::size_t i, std::size_t k) { return error[i] > error[k]; });
  std::vector<double> places;
  for (std::size_t i = 0; i < std::min(count, maxima.size()); ++i) {
    places.push_back(data.frequencies[maxima[i]] * numerics::two_pi);
  }
  return places;
}

/// The poles with one weakly damped pair more at each place.
Poles with_pairs(Poles poles, const std::vector<double>& places) {
  constexpr double damping = 0.01;
  for (double omega : places) {
    while (std::any_of(poles.begin(), poles.end(), [&](Complex pole) {
      return std::abs(pole - Complex(-damping * omega, omega)) < 1e-3 * damping * omega;
    })) {
      omega *= 1.0 + damping;
    }
    const Complex upper(-damping * omega, omega);
    poles.insert(poles.end(), {upper, std::conj(upper)});
  }
  return poles;
}

/// Without the pair or real pole whose part in all responses is smallest; empty when only one is left.
Poles without_weakest(const Model& model) {
  std::size_t weakest = model.poles.size();
  double least = std::numeric_limits<double>::infinity();
  std::size_t groups = 0;
  const auto weigh = [&](std::size_t i) {
    ++groups;
    double part = 0.0;
    for (std::size_t r = 0; r < model.responses(); ++r) {
      part += std::norm(model.residues_of(r)[i]);
    }
    part = std::sqrt(part) / std::abs(model.poles[i].real());
    // The first one also when it is infinite, so that one is found.
    if (weakest == model.poles.size() || part < least) {
      least = part;
      weakest = i;
    }
  };
  for_each_group(model.poles, weigh, weigh);
  Poles poles;
  for (std::size_t i = 0; i < model.poles.size() && groups > 1; ++i) {
    const bool partner = i == weakest + 1 && !is_real(model.poles[weakest]);
    if (i != weakest && !partner) {
      poles.push_back(model.poles[i]);
    }
  }
  return poles;
}

/// The search on the samples that are not held out.
class Searcher {
 public:
  Searcher(const NetworkData& used, const NetworkData* held_out, const Target& target, const Options& options)
      : used_(used), held_out_(held_out), target_(target), options_(options) {
    options_.exact_sample.reset();  // counts in all samples; the last fit takes it
    const auto progress = options.progress;
    options_.progress = [this, progress](const Progress& step) {
      cancelled_ = progress && !progress(step);
      return !cancelled_;
    };
  }

  Search run() {
    options_.starting_poles.clear();
    options_.real_poles = 0;
    options_.complex_pairs = std::min(first_pairs, room(0));
    Fit current = step();
    while (!ended()) {
      const std::size_t order = current.model.poles.size();
      const std::size_t pairs = std::min(std::max<std::size_t>(1, order / 8) * growth(), room(order));
      const std::vector<double> places =
          pairs == 0 ? std::vector<double>{} : worst_places(used_, current.model, pairs);
      if (places.empty()) {
        search_.end = SearchEnd::most_poles;
        break;
      }
      options_.starting_poles = with_pairs(current.model.poles, places);
      current = step();
    }
    if (search_.end == SearchEnd::target_met && !cancelled_) {
      drop_what_does_not_pay();
    }
    if (cancelled_) {
      search_.end = SearchEnd::cancelled;
    }
    search_.fit = std::move(*best_);
    return std::move(search_);
  }

 private:
  /// Steps grow while they are without success.
  std::size_t growth() const { return 1 + static_cast<std::size_t>(rule_.idle_steps()); }

  /// Pairs that may be added to so many poles.
  std::size_t room(std::size_t order) const {
    const std::size_t terms = (options_.constant ? 1U : 0U) + (options_.proportional ? 1U : 0U);
    // Half of what the equations would allow: with more, any data are fitted.
    const std::size_t equations = used_.frequencies.size();
    const std::size_t allowed = std::min(target_.most_poles, equations > terms ? equations - terms : 0);
    return allowed > order ? (allowed - order) / 2 : 0;
  }

  /// The errors of a fit, on the samples used and, when there are some, on those held out.
  Step judge(const Fit& fit) const {
    Step step{.order = fit.model.poles.size(), .error = measured(fit.report.errors, target_.measure)};
    if (held_out_ != nullptr) {
      step.held_out_error = measured(errors(fit.model, *held_out_), target_.measure);
    }
    return step;
  }
  double decisive(const Step& step) const {
    // A model that overflows between its samples is worse than any other.
    const double error = std::max(step.error, step.held_out_error);
    return std::isnan(step.error) || std::isnan(step.held_out_error) ? std::numeric_limits<double>::infinity()
                                                                     : error;
  }

  Fit step() {
    Fit fit = polefit::fit(used_, options_);
    const Step judged = judge(fit);
    search_.steps.push_back(judged);
    const double error = decisive(judged);
    noisy_ = best_ && judged.error < best_training_ && judged.held_out_error > harmful * best_error_;
    rule_.step(!best_ || error < worthwhile * best_error_);
    if (!best_ || error < best_error_) {
      best_ = fit;
      best_error_ = error;
    }
    best_training_ = std::min(best_training_, judged.error);
    return fit;
  }

  bool ended() {
    if (best_error_ <= target_.error) {
      search_.end = SearchEnd::target_met;
    } else if (cancelled_) {
      search_.end = SearchEnd::cancelled;
    } else if (rule_.ended() && (noisy_ || search_.steps.back().order >=
                                               std::max(least_tried, 2 * best_->model.poles.size()))) {
      search_.end = noisy_ ? SearchEnd::noise : SearchEnd::no_gain;
    } else {
      return false;
    }
    return true;
  }

  void drop_what_does_not_pay() {
    for (;;) {
      const Poles fewer = without_weakest(best_->model);
      if (fewer.empty()) {
        return;
      }
      options_.starting_poles = fewer;
      Fit fit = polefit::fit(used_, options_);
      const Step judged = judge(fit);
      if (cancelled_ || !(decisive(judged) <= target_.error)) {
        return;
      }
      search_.steps.push_back(judged);
      best_ = std::move(fit);
      best_error_ = decisive(judged);
    }
  }

  const NetworkData& used_;
  const NetworkData* held_out_;
  const Target& target_;
  Options options_;
  Search search_;
  std::optional<Fit> best_;
  double best_error_ = std::numeric_limits<double>::infinity();
  double best_training_ = std::numeric_limits<double>::infinity();
  StopRule rule_{patience};
  bool noisy_ = false;
  bool cancelled_ = false;
};

}  // namespace

Search fit_to_error(const NetworkData& data, const Target& target, const Options& options) {
  if (!(target.error > 0.0)) {
    throw Error(ErrorKind::bad_option,
                "the target of the error is " + std::to_string(target.error) + "; it has to be above 0");
  }
  // Before a part of the data is taken, and whatever the starting poles are.
  check_options(options);
  check(data);
  check_sizes(data.frequencies.size(), data.responses.responses, 0, options);

  std::vector<std::size_t> used;
  std::vector<std::size_t> held_out;
  const std::vector<std::size_t> order = by_frequency(data);
  const bool hold_out = target.hold_out && order.size() >= fewest_to_hold_out;
  for (std::size_t i = 0; i < order.size(); ++i) {
    // Neither end of the band: a model is not asked to extrapolate.
    const bool held = hold_out && i % held_out_every == held_out_every / 2 && i + 1 < order.size();
    (held ? held_out : used).push_back(order[i]);
  }
  if (!has_weight(data, used)) {
    used = order;
    held_out.clear();
  }
  const Selection used_samples(data, used);
  const Selection held_out_samples(data, held_out);
  Search search =
      Searcher(used_samples.view, held_out.empty() ? nullptr : &held_out_samples.view, target, options).run();

  // The model of all samples, from the poles that were found.
  Options last = options;
  last.starting_poles = search.fit.model.poles;
  last.real_poles = 0;
  last.complex_pairs = 0;
  if (search.end == SearchEnd::cancelled) {
    last.iterations = 0;
    last.progress = nullptr;
  }
  search.fit = fit(data, last);
  if (search.fit.report.reason == StopReason::cancelled) {
    search.end = SearchEnd::cancelled;
  }
  search.error = measured(search.fit.report.errors, target.measure);
  if (search.end == SearchEnd::target_met && search.error > target.error) {
    last.iterations = 0;  // the relocation on all samples did not help
    last.progress = nullptr;
    Fit unmoved = fit(data, last);
    const double error = measured(unmoved.report.errors, target.measure);
    if (error < search.error) {
      search.fit = std::move(unmoved);
      search.error = error;
    }
    if (search.error > target.error) {
      search.end = SearchEnd::no_gain;
    }
  }
  return search;
}

}  // namespace polefit
