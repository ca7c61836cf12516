#include "polefit/search/advance.hpp"

#include <algorithm>
#include <cmath>
#include <vector>

#include "numerics/angular_frequency.hpp"
#include "polefit/data/reduced_problem.hpp"
#include "polefit/fitting/refinement.hpp"
#include "polefit/search/starts.hpp"

namespace polefit {
namespace {

/// Phases at the highest frequency, in radians, that are tried, each so many times the one before.
constexpr double first_phase = 0.05;
constexpr double last_phase = numerics::two_pi;
constexpr double phase_ratio = 1.6;
constexpr int halvings = 4;
/// Data that one delay explains need no more poles with it.
constexpr std::size_t most_poles = 60;
/// A delay explains the data where it takes the error to this part of it, or to the goal.
constexpr double much_better = 0.2;
/// Errors up to so many times the least one are as good: what is delayed more only needs more poles.
constexpr double as_good = 2.0;
/// No delay behind one whose error is so many times the least one is better.
constexpr double rising = 10.0;
/// Of the goal: an error that is good enough not to be looked at more closely.
constexpr double exact = 1e-2;

}  // namespace

double advance_of(const Problem& problem, const Combinations& data, const Selection& selection, double tail,
                  std::size_t order, double error, const Goal& goal) {
  const double highest = *std::max_element(problem.omega.begin(), problem.omega.end());
  if (!(highest > 0.0) || order == 0) {
    return 0.0;
  }
  const auto error_with = [&](double phase) {
    Combinations delayed = data;
    for (std::size_t c = 0; c < data.count; ++c) {
      for (std::size_t k = 0; k < problem.samples; ++k) {
        delayed.values[c * problem.samples + k] *= std::polar(1.0, -phase * problem.omega[k] / highest);
      }
    }
    const ReducedProblem reduced(problem, delayed, selection, tail);
    Refinement refinement(reduced.problem(), goal);
    return refinement
        .from_start(even_start(reduced.problem(), std::min(order, most_poles), 1.0), exact * goal.error)
        .error();
  };
  const double wanted = std::max(goal.error, much_better * error);
  std::vector<double> phases{0.0};
  std::vector<double> errors{error};
  double least = error;
  const auto past_the_best = [&] { return least <= wanted && errors.back() > rising * least; };
  double phase = first_phase;
  while (phase <= last_phase && !past_the_best()) {
    phases.push_back(phase);
    errors.push_back(std::max(error_with(phase), exact * goal.error));
    least = std::min(least, errors.back());
    phase *= phase_ratio;
  }
  if (least > wanted) {
    return 0.0;
  }
  const auto found =
      std::find_if(errors.begin(), errors.end(), [&](double value) { return value <= as_good * least; });
  const auto place = static_cast<std::size_t>(found - errors.begin());
  if (place == 0) {
    return 0.0;
  }
  double low = phases[place - 1];
  double high = phases[place];
  for (int i = 0; i < halvings; ++i) {
    const double middle = 0.5 * (low + high);
    (error_with(middle) <= as_good * least ? high : low) = middle;
  }
  return high / (highest * problem.scale);
}

}  // namespace polefit
