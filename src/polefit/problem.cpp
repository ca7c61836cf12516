#include "problem.hpp"

#include <algorithm>
#include <cmath>
#include <string>

#include "angular_frequency.hpp"

namespace polefit {
namespace {

void check_shapes(const NetworkData& data) {
  const std::size_t samples = data.frequencies.size();
  const std::size_t responses = data.responses.responses;
  if (samples == 0 || responses == 0) {
    throw Error(ErrorKind::no_samples, "there is nothing to fit: " + std::to_string(samples) +
                                           " frequencies and " + std::to_string(responses) + " responses");
  }
  if (data.responses.values == nullptr) {
    throw Error(ErrorKind::bad_shape, "there are responses, but no values of theirs");
  }
  if (data.responses.samples != samples) {
    throw Error(ErrorKind::bad_shape, "there are " + std::to_string(samples) + " frequencies but " +
                                          std::to_string(data.responses.samples) +
                                          " samples of each response");
  }
  if (!data.names.empty() && data.names.size() != responses) {
    throw Error(ErrorKind::bad_shape, "there are " + std::to_string(responses) + " responses but " +
                                          std::to_string(data.names.size()) + " names");
  }
  if (!data.weights.empty() && data.weights.size() != samples && data.weights.size() != responses * samples) {
    throw Error(ErrorKind::bad_shape, "there are " + std::to_string(data.weights.size()) + " weights, not " +
                                          std::to_string(samples) + " or " +
                                          std::to_string(responses * samples));
  }
}

void check_values(const NetworkData& data) {
  for (std::size_t k = 0; k < data.frequencies.size(); ++k) {
    const double frequency = data.frequencies[k];
    // In rad/s and in the units of the problem, which may be twice the mean, it has to be finite too.
    if (!std::isfinite(2.0 * s_solver::two_pi * frequency) || frequency < 0.0) {
      throw Error(ErrorKind::bad_frequency, "frequency " + std::to_string(k) + " (counted from 0) is " +
                                                std::to_string(frequency) +
                                                "; frequencies are finite and not below 0");
    }
  }
  for (const double weight : data.weights) {
    if (!std::isfinite(weight) || weight < 0.0) {
      throw Error(ErrorKind::bad_weight,
                  "a weight is " + std::to_string(weight) + "; weights are finite and not below 0");
    }
  }
  for (std::size_t r = 0; r < data.responses.responses; ++r) {
    for (std::size_t k = 0; k < data.responses.samples; ++k) {
      const Complex value = data.responses(r, k);
      if (!std::isfinite(value.real()) || !std::isfinite(value.imag())) {
        throw Error(ErrorKind::bad_sample, "sample " + std::to_string(k) + " of response " +
                                               std::to_string(r) + " (counted from 0) is not finite");
      }
    }
  }
}

}  // namespace

Problem make_problem(const NetworkData& data, const Options& options) {
  check_shapes(data);
  check_values(data);

  Problem problem;
  problem.samples = data.frequencies.size();
  problem.responses = data.responses.responses;
  problem.values = data.responses;
  problem.constant = options.constant;
  problem.proportional = options.proportional;
  const auto count = static_cast<double>(problem.samples);
  // Divided before it is summed: a sum of the largest doubles would overflow.
  double mean = 0.0;
  for (const double frequency : data.frequencies) {
    mean += frequency / count;
  }
  // The sample points are those at which a model is evaluated, to the bit, but for the division by a power of
  // two.
  problem.scale = mean > 0.0 ? std::exp2(std::round(std::log2(mean * s_solver::two_pi))) : 1.0;
  for (const double frequency : data.frequencies) {
    problem.omega.push_back(frequency * s_solver::two_pi / problem.scale);
  }
  problem.zeros.assign(problem.samples, 0.0);

  const bool per_response =
      data.weights.size() == problem.responses * problem.samples && problem.responses > 1;
  problem.weight.assign(problem.samples, 1.0);
  if (per_response) {
    problem.response_weights = data.weights;
  } else if (!data.weights.empty()) {
    problem.weight.assign(data.weights.begin(), data.weights.end());
  }
  problem.response_scale.assign(problem.responses, 1.0);
  problem.power.assign(problem.samples, 0.0);
  for (std::size_t r = 0; r < problem.responses; ++r) {
    double largest = 0.0;
    for (std::size_t k = 0; k < problem.samples; ++k) {
      largest =
          std::max({largest, std::abs(problem.values(r, k).real()), std::abs(problem.values(r, k).imag())});
    }
    double squares = 0.0;
    for (std::size_t k = 0; k < problem.samples && largest > 0.0; ++k) {
      squares += std::norm(problem.values(r, k) / largest);
    }
    if (data.weights.empty()) {
      // Between equal weight for each response and equal weight for each volt.
      problem.response_scale[r] =
          largest > 0.0 ? 1.0 / (std::sqrt(largest) * std::sqrt(std::sqrt(squares))) : 0.0;
    }
    for (std::size_t k = 0; k < problem.samples; ++k) {
      problem.power[k] += std::norm(problem.factor(r, k) * problem.values(r, k));
    }
  }
  double sum = 0.0;
  for (const double power : problem.power) {
    sum += power;
  }
  problem.norm = std::sqrt(sum);
  if (!(sum > 0.0) || !std::isfinite(sum)) {
    throw Error(ErrorKind::zero_data, sum > 0.0 ? "the weighted data overflow"
                                                : "all weighted samples are 0: there is nothing to fit");
  }
  return problem;
}

}  // namespace polefit
