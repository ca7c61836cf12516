#include "polefit/data/facts.hpp"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "polefit/data/noise_floor.hpp"

namespace polefit {

std::vector<std::size_t> samples_by_frequency(const Problem& problem) {
  std::vector<std::size_t> order(problem.samples);
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t i, std::size_t k) { return problem.omega[i] < problem.omega[k]; });
  return order;
}

DataFacts facts_of(const Problem& problem) {
  DataFacts facts;
  facts.by_frequency = samples_by_frequency(problem);
  double squares = 0.0;
  const NoiseEstimate estimate(problem, facts.by_frequency);
  for (std::size_t r = 0; r < problem.responses; ++r) {
    // Where the phase turns far from sample to sample, differences of neighbours grow with their degree as
    // those of noise do; steps of noise, though, cancel.
    const double steps = static_cast<double>(std::max<std::size_t>(1, problem.samples - 1));
    const double step = 360.0 * turns_of_response(problem, r, facts.by_frequency) / steps;
    const double noise = std::abs(step) > coarse_step ? 0.0 : estimate.of(r);
    double size = 0.0;
    for (std::size_t k = 0; k < problem.samples; ++k) {
      size += std::norm(problem.value(r, k));
      const double part = noise * problem.factor(r, k);
      squares += part * part;
    }
    size = std::sqrt(size / static_cast<double>(problem.samples));
    facts.noise.push_back(size > 0.0 ? noise / size : 0.0);
  }
  facts.floor = std::sqrt(squares) / problem.norm;
  facts.turns = turns_of(problem, facts.by_frequency, facts.noise);
  return facts;
}

}  // namespace polefit
