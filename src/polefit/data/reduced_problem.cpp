#include "polefit/data/reduced_problem.hpp"

#include <cmath>
#include <numeric>

namespace polefit {

ReducedProblem::ReducedProblem(const Problem& whole, const Combinations& data, const Selection& selection,
                               double tail) {
  const std::size_t samples = selection.samples.size();
  std::size_t count = data.count;
  double left = data.dropped * data.dropped;
  while (count > 1 && !whole.has_own_weights()) {
    const double more = left + data.norms[count - 1] * data.norms[count - 1];
    if (more > tail * tail * whole.norm * whole.norm) {
      break;
    }
    left = more;
    --count;
  }
  dropped_ = std::sqrt(left) / whole.norm;

  values_.reserve(count * samples);
  for (std::size_t c = 0; c < count; ++c) {
    for (const std::size_t k : selection.samples) {
      values_.push_back(data.values[c * whole.samples + k]);
    }
  }
  problem_.samples = samples;
  problem_.responses = count;
  problem_.source.resize(count);
  std::iota(problem_.source.begin(), problem_.source.end(), std::size_t{0});
  problem_.place = problem_.source;
  problem_.scale = whole.scale;
  for (const std::size_t k : selection.samples) {
    problem_.omega.push_back(whole.omega[k]);
  }
  problem_.zeros.assign(samples, 0.0);
  problem_.response_scale.assign(count, 1.0);
  problem_.inverse_unit.assign(count, 1.0);
  problem_.constant = whole.constant;
  problem_.proportional = whole.proportional;
  problem_.given = Responses::by_response(values_, count);
  if (whole.has_own_weights()) {
    for (std::size_t r = 0; r < count; ++r) {
      for (std::size_t i = 0; i < samples; ++i) {
        weights_.push_back(selection.weights[i] * whole.sample_weight(r, selection.samples[i]));
      }
    }
    problem_.given_weights = weights_;
    problem_.weight_unit.assign(count, 1.0);
    problem_.weight.assign(samples, 1.0);
  } else {
    for (std::size_t i = 0; i < samples; ++i) {
      problem_.weight.push_back(selection.weights[i] * whole.weight[selection.samples[i]]);
    }
  }
  double sum = 0.0;
  for (std::size_t i = 0; i < samples; ++i) {
    double power = 0.0;
    for (std::size_t r = 0; r < count; ++r) {
      power += std::norm(problem_.factor(r, i) * problem_.value(r, i));
    }
    problem_.power.push_back(power);
    sum += power;
  }
  problem_.norm = std::sqrt(sum);
}

}  // namespace polefit
