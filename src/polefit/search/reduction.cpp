#include "polefit/search/reduction.hpp"

#include <utility>

#include "polefit/projection/elimination.hpp"

namespace polefit {
namespace {

constexpr int most_trials = 5;
/// A reduction goes on while it can spare this part of the poles.
constexpr double worth_sparing = 0.03;
constexpr int polishing_steps = 4;
/// A trial that ends within so many times the error to be kept is relocated once.
constexpr double worth_relocating = 3.0;
/// Moving poles took at most a factor of 20 off their error before: beyond this no trial is made.
constexpr double hopeless = 40.0;
/// The first trial is of the fewest poles within so many times the error to be kept.
constexpr double within_reach = 10.0;
/// The first trial is not nearer to the failed order than this part of the interval.
constexpr double nearest_to_failed = 0.25;

/// Orders of a path that are between two others and promise something; they fall.
std::vector<const FewerPoles*> between(const std::vector<FewerPoles>& path, std::size_t low, std::size_t high,
                                       double keep) {
  std::vector<const FewerPoles*> result;
  for (const FewerPoles& fewer : path) {
    if (fewer.poles.size() > low && fewer.poles.size() < high && fewer.error <= hopeless * keep) {
      result.push_back(&fewer);
    }
  }
  return result;
}

const FewerPoles* first_trial(const std::vector<const FewerPoles*>& orders, double low, double high,
                              double keep) {
  const FewerPoles* first = orders.front();
  for (const FewerPoles* const fewer : orders) {
    if (fewer->error <= within_reach * keep &&
        static_cast<double>(fewer->poles.size()) >= low + nearest_to_failed * (high - low)) {
      first = fewer;
    }
  }
  return first;
}

}  // namespace

void spare_poles(Refinement& refinement, const Reduction& reduction, Candidate& candidate,
                 std::vector<Step>& steps) {
  std::size_t low = reduction.failed;
  std::vector<FewerPoles> path = eliminate_poles(candidate.projection);
  for (int i = 0; i < most_trials; ++i) {
    const std::size_t high = candidate.order();
    const std::vector<const FewerPoles*> orders = between(path, low, high, reduction.keep);
    if (orders.empty() || static_cast<double>(high - low) <= worth_sparing * static_cast<double>(high)) {
      return;
    }
    const FewerPoles* const fewer =
        i == 0 ? first_trial(orders, static_cast<double>(low), static_cast<double>(high), reduction.keep)
               : orders[orders.size() / 2];
    Candidate trial = refinement.candidate_of(fewer->poles);
    trial.residual = candidate.residual;
    refinement.polish(trial, polishing_steps, reduction.keep, Refinement::Polish::to_reach);
    const double error = reduction.error_of(trial);
    if (error > reduction.keep && error < worth_relocating * reduction.keep) {
      refinement.relocate_once(trial);
      refinement.polish(trial, polishing_steps / 2, reduction.keep, Refinement::Polish::to_reach);
    }
    steps.push_back({.order = trial.order(), .error = trial.error()});
    if (reduction.error_of(trial) <= reduction.keep) {
      candidate = std::move(trial);
      path = eliminate_poles(candidate.projection);
    } else {
      low = trial.order();
    }
  }
}

}  // namespace polefit
