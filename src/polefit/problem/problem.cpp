#include "polefit/problem/problem.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <string>
#include <utility>

#include "numerics/angular_frequency.hpp"

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
    if (!std::isfinite(2.0 * numerics::two_pi * frequency) || frequency < 0.0) {
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

/// A power of two near a number above 0, whose inverse is finite.
double unit_near(double size) {
  return std::ldexp(1.0, std::ilogb(std::max(size, std::numeric_limits<double>::min())));
}

bool equal_responses(const NetworkData& data, std::size_t r, std::size_t other) {
  const std::size_t samples = data.frequencies.size();
  for (std::size_t k = 0; k < samples; ++k) {
    if (data.responses(r, k) != data.responses(other, k)) {
      return false;
    }
  }
  return data.weights.size() <= samples ||
         std::equal(data.weights.begin() + static_cast<std::ptrdiff_t>(r * samples),
                    data.weights.begin() + static_cast<std::ptrdiff_t>((r + 1) * samples),
                    data.weights.begin() + static_cast<std::ptrdiff_t>(other * samples));
}

/// Finds the responses that are equal to one before them.
void merge_equal_responses(const NetworkData& data, Problem& problem) {
  // By one sample in the middle first: responses that agree there are few.
  std::map<std::pair<double, double>, std::vector<std::size_t>> alike;
  for (std::size_t r = 0; r < data.responses.responses; ++r) {
    const Complex middle = data.responses(r, data.frequencies.size() / 2);
    std::vector<std::size_t>& candidates = alike[{middle.real(), middle.imag()}];
    const auto equal = std::find_if(candidates.begin(), candidates.end(), [&](std::size_t candidate) {
      return equal_responses(data, r, problem.source[candidate]);
    });
    if (equal != candidates.end()) {
      problem.place.push_back(*equal);
      continue;
    }
    candidates.push_back(problem.source.size());
    problem.place.push_back(problem.source.size());
    problem.source.push_back(r);
  }
  problem.responses = problem.source.size();
}

double largest_part(const Problem& problem, std::size_t r) {
  double largest = 0.0;
  for (std::size_t k = 0; k < problem.samples; ++k) {
    const Complex value = problem.value(r, k);
    largest = std::max({largest, std::abs(value.real()), std::abs(value.imag())});
  }
  return largest;
}

/// 0 for a response of zeros.
double scale_without_weights(const Problem& problem, std::size_t r, ResponseScale scale) {
  const double largest = largest_part(problem, r);
  double squares = 0.0;
  for (std::size_t k = 0; k < problem.samples && largest > 0.0; ++k) {
    squares += std::norm(problem.value(r, k) / largest);
  }
  if (!(largest > 0.0)) {
    return 0.0;
  }
  return scale == ResponseScale::inverse_norm ? 1.0 / std::sqrt(squares) / largest
                                              : 1.0 / (std::sqrt(largest) * std::sqrt(std::sqrt(squares)));
}

/// A power of two near the largest of the weights; `otherwise` when all are 0.
double unit_of_weights(std::span<const double> weights, double otherwise) {
  const double most = *std::max_element(weights.begin(), weights.end());
  return most > 0.0 ? unit_near(most) : otherwise;
}

/// Weights and data in units of their own, so that squares neither overflow nor vanish.
void scale_residuals(const NetworkData& data, ResponseScale scale, Problem& problem) {
  problem.weight.assign(problem.samples, 1.0);
  problem.response_scale.assign(problem.responses, 1.0);
  if (data.weights.empty()) {
    for (std::size_t r = 0; r < problem.responses; ++r) {
      problem.response_scale[r] = scale_without_weights(problem, r, scale);
    }
  } else {
    double largest = 0.0;
    for (std::size_t r = 0; r < problem.responses; ++r) {
      largest = std::max(largest, largest_part(problem, r));
    }
    if (largest > 0.0) {
      problem.response_scale.assign(problem.responses, 1.0 / unit_near(largest));
    }
    const double unit = unit_of_weights(data.weights, 1.0);
    if (data.weights.size() > problem.samples) {
      problem.given_weights = data.weights;
      for (std::size_t r = 0; r < problem.responses; ++r) {
        const double own =
            unit_of_weights(data.weights.subspan(problem.source[r] * problem.samples, problem.samples), unit);
        problem.weight_unit.push_back(1.0 / own);
        problem.response_scale[r] *= own / unit;
      }
    } else {
      std::transform(data.weights.begin(), data.weights.end(), problem.weight.begin(),
                     [&](double weight) { return weight / unit; });
    }
  }
  std::vector<double> times(problem.responses);
  for (const std::size_t r : problem.place) {
    times[r] += 1.0;
  }
  for (std::size_t r = 0; r < problem.responses; ++r) {
    problem.response_scale[r] *= std::sqrt(times[r]);
  }
}

void sum_powers(Problem& problem) {
  problem.power.assign(problem.samples, 0.0);
  for (std::size_t r = 0; r < problem.responses; ++r) {
    for (std::size_t k = 0; k < problem.samples; ++k) {
      problem.power[k] += std::norm(problem.factor(r, k) * problem.value(r, k));
    }
  }
  double sum = 0.0;
  for (const double power : problem.power) {
    sum += power;
  }
  problem.norm = std::sqrt(sum);
}

/// The data as residuals: responses, their scales and what they amount to, without an axis.
Problem scaled_residuals(const NetworkData& data, ResponseScale scale) {
  Problem problem;
  problem.samples = data.frequencies.size();
  problem.given = data.responses;
  merge_equal_responses(data, problem);
  scale_residuals(data, scale, problem);
  sum_powers(problem);
  return problem;
}

void check_norm(const Problem& problem) {
  if (!(problem.norm > 0.0) || !std::isfinite(problem.norm)) {
    throw Error(ErrorKind::zero_data, problem.norm > 0.0
                                          ? "the weighted data overflow"
                                          : "all weighted samples are 0: there is nothing to fit");
  }
}

/// Sample points in units near their mean.
void scale_axis(const NetworkData& data, Problem& problem) {
  const auto count = static_cast<double>(problem.samples);
  // Divided before it is summed: a sum of the largest doubles would overflow.
  double mean = 0.0;
  for (const double frequency : data.frequencies) {
    mean += frequency / count;
  }
  // The sample points are those at which a model is evaluated, to the bit, but for the division by a power of
  // two.
  problem.scale = mean > 0.0 ? std::exp2(std::round(std::log2(mean * numerics::two_pi))) : 1.0;
  for (const double frequency : data.frequencies) {
    problem.omega.push_back(frequency * numerics::two_pi / problem.scale);
  }
  problem.zeros.assign(problem.samples, 0.0);
}

}  // namespace

bool is_zero(const NetworkData& data) {
  check_shapes(data);
  check_values(data);
  for (std::size_t r = 0; r < data.responses.responses; ++r) {
    for (std::size_t k = 0; k < data.responses.samples; ++k) {
      if (data.responses(r, k) != Complex()) {
        return false;
      }
    }
  }
  return true;
}

void check(const NetworkData& data) {
  if (is_zero(data)) {
    return;
  }
  check_norm(scaled_residuals(data, ResponseScale::inverse_root_of_norm));
}

Problem scaled_by(Problem problem, const std::vector<double>& factors) {
  for (std::size_t r = 0; r < problem.responses; ++r) {
    problem.response_scale[r] *= factors[r];
  }
  sum_powers(problem);
  return problem;
}

double unit_of_response(const Problem& problem, std::size_t r) { return unit_near(largest_part(problem, r)); }

Problem make_problem(const NetworkData& data, const Options& options, ResponseScale scale) {
  check_shapes(data);
  check_values(data);
  Problem problem = scaled_residuals(data, scale);
  check_norm(problem);
  scale_axis(data, problem);
  problem.constant = options.constant;
  problem.proportional = options.proportional;
  return problem;
}

}  // namespace polefit
