#include "polefit/search/advance.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "numerics/angular_frequency.hpp"
#include "polefit/data/reduced_problem.hpp"
#include "polefit/fitting/refinement.hpp"
#include "polefit/search/starts.hpp"

namespace polefit {
namespace {

/// Phases at the highest frequency, in radians, that are tried: each twice the one before.
constexpr double first_phase = 0.05;
constexpr double last_phase = numerics::two_pi;
constexpr int halvings = 3;
constexpr double much_better = 0.2;

}  // namespace

double advance_of(const Problem& problem, const Combinations& data, const Selection& selection, double tail,
                  std::size_t order, double error, const Goal& goal) {
  const double highest = *std::max_element(problem.omega.begin(), problem.omega.end());
  if (!(highest > 0.0) || order == 0) {
    return 0.0;
  }
  const double wanted = std::max(goal.error, much_better * error);
  const auto enough = [&](double phase) {
    Combinations delayed = data;
    for (std::size_t c = 0; c < data.count; ++c) {
      for (std::size_t k = 0; k < problem.samples; ++k) {
        delayed.values[c * problem.samples + k] *= std::polar(1.0, -phase * problem.omega[k] / highest);
      }
    }
    const ReducedProblem reduced(problem, delayed, selection, tail);
    Refinement refinement(reduced.problem(), goal);
    return refinement.from_start(even_start(reduced.problem(), order, 1.0), wanted).error() <= wanted;
  };
  double low = 0.0;
  double high = first_phase;
  while (!enough(high)) {
    low = high;
    high *= 2.0;
    if (high > last_phase) {
      return 0.0;
    }
  }
  for (int i = 0; i < halvings; ++i) {
    const double middle = 0.5 * (low + high);
    (enough(middle) ? high : low) = middle;
  }
  return high / (highest * problem.scale);
}

}  // namespace polefit
