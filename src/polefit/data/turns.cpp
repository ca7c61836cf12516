#include "polefit/data/turns.hpp"

#include <cmath>

#include "numerics/angular_frequency.hpp"

namespace polefit {
namespace {

/// The phase of a response with more noise than this, relative to its size, is not looked at.
constexpr double mostly_noise = 0.3;

}  // namespace

Turns turns_of(const Problem& problem, const std::vector<std::size_t>& order,
               const std::vector<double>& noise) {
  Turns result;
  for (std::size_t r = 0; r < problem.responses; ++r) {
    if (noise[r] > mostly_noise) {
      continue;
    }
    const double unit = unit_of_response(problem, r);
    double phase = 0.0;
    for (std::size_t k = 1; k < order.size(); ++k) {
      const Complex here = problem.value(r, order[k]) / unit;
      const Complex before = problem.value(r, order[k - 1]) / unit;
      const Complex step = here * std::conj(before);
      phase += step == Complex() ? 0.0 : std::arg(step);
    }
    const double turns = std::abs(phase) / numerics::two_pi;
    if (turns > result.most) {
      result = {turns, std::copysign(360.0 * turns / static_cast<double>(order.size() - 1), -phase)};
    }
  }
  return result;
}

}  // namespace polefit
