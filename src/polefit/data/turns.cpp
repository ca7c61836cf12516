#include "polefit/data/turns.hpp"

#include <cmath>

#include "numerics/angular_frequency.hpp"

namespace polefit {
namespace {

/// The phase of a response with more noise than this, relative to its size, is not looked at.
constexpr double mostly_noise = 0.3;

}  // namespace

double turns_of_response(const Problem& problem, std::size_t r, const std::vector<std::size_t>& order) {
  double phase = 0.0;
  for (std::size_t k = 1; k < order.size(); ++k) {
    const Complex here = problem.value(r, order[k]);
    const Complex before = problem.value(r, order[k - 1]);
    const Complex step = here * std::conj(before);
    phase += step == Complex() ? 0.0 : std::arg(step);
  }
  return -phase / numerics::two_pi;
}

Turns turns_of(const Problem& problem, const std::vector<std::size_t>& order,
               const std::vector<double>& noise) {
  Turns result;
  for (std::size_t r = 0; r < problem.responses; ++r) {
    if (noise[r] > mostly_noise) {
      continue;
    }
    const double turns = turns_of_response(problem, r, order);
    if (std::abs(turns) > result.most) {
      result = {std::abs(turns), 360.0 * turns / static_cast<double>(order.size() - 1)};
    }
  }
  return result;
}

}  // namespace polefit
