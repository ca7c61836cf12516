#include "polefit/problem/problem.hpp"

#include <algorithm>
#include <cmath>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "numerics/angular_frequency.hpp"
#include "numerics/root_mean_square.hpp"
#include "polefit/model/model_faults.hpp"
#include "text/decimal.hpp"

namespace polefit {
namespace {

/// Between these partial fractions are in the range of a double, also those of poles some decades outside of
/// the band.
constexpr double highest_frequency = 1e300;
constexpr double lowest_band = 1e-302;

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
  if (const auto fault = repeated_name_fault(data.names)) {
    throw Error(ErrorKind::bad_shape, *fault);
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
    if (!(frequency >= 0.0 && frequency <= highest_frequency)) {
      throw Error(ErrorKind::bad_frequency, "frequency " + std::to_string(k) + " (counted from 0) is " +
                                                text::significant(frequency, 6) +
                                                "; frequencies are not below 0 and at most 1e300 Hz");
    }
  }
  const double last = *std::max_element(data.frequencies.begin(), data.frequencies.end());
  if (last > 0.0 && last < lowest_band) {
    throw Error(ErrorKind::bad_frequency, "the highest frequency is " + text::significant(last, 6) +
                                              " Hz; that of a fit is 0 or at least 1e-302 Hz");
  }
  for (const double weight : data.weights) {
    if (!std::isfinite(weight) || weight < 0.0) {
      throw Error(ErrorKind::bad_weight,
                  "a weight is " + text::significant(weight, 6) + "; weights are finite and not below 0");
    }
  }
  for (std::size_t r = 0; r < data.responses.responses; ++r) {
    for (std::size_t k = 0; k < data.responses.samples; ++k) {
      const Complex value = data.responses(r, k);
      if (!std::isfinite(value.real()) || !std::isfinite(value.imag())) {
        throw Error(ErrorKind::bad_sample, "sample " + std::to_string(k) + " of response " +
                                               std::to_string(r) + " (counted from 0) is not finite");
      }
      // The modulus of others cannot overflow.
      if (std::max(std::abs(value.real()), std::abs(value.imag())) >= 0x1p1023 &&
          !std::isfinite(std::abs(value))) {
        throw Error(ErrorKind::bad_sample, "the modulus of sample " + std::to_string(k) + " of response " +
                                               std::to_string(r) +
                                               " (counted from 0) is beyond the largest double");
      }
    }
  }
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

/// Powers of two whose inverses are finite; values below the smallest are then still above 2^-53.
void set_units(Problem& problem) {
  constexpr int most = 1022;
  problem.inverse_unit.assign(problem.responses, 1.0);
  for (std::size_t r = 0; r < problem.responses; ++r) {
    const double largest = largest_part(problem, r);
    if (largest > 0.0) {
      problem.inverse_unit[r] = std::ldexp(1.0, std::clamp(-std::ilogb(largest), -most, most));
    }
  }
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
  if (scale == ResponseScale::inverse_norm) {
    return 1.0 / std::sqrt(squares) / largest;
  }
  const double given = largest / problem.inverse_unit[r];
  return 1.0 / (std::sqrt(given) * std::sqrt(std::sqrt(squares))) / problem.inverse_unit[r];
}

/// A power of two near the largest of the weights; 1 when all are 0.
double unit_of_weights(std::span<const double> weights) {
  const double most = *std::max_element(weights.begin(), weights.end());
  return most > 0.0 ? numerics::unit_near(most) : 1.0;
}

/// Weights in units of their own.
void set_weights(const NetworkData& data, Problem& problem) {
  if (data.weights.size() > problem.samples) {
    problem.given_weights = data.weights;
    for (std::size_t r = 0; r < problem.responses; ++r) {
      const double own =
          unit_of_weights(data.weights.subspan(problem.source[r] * problem.samples, problem.samples));
      problem.weight_unit.push_back(1.0 / own);
    }
  } else {
    const double unit = unit_of_weights(data.weights);
    std::transform(data.weights.begin(), data.weights.end(), problem.weight.begin(),
                   [&](double weight) { return weight / unit; });
  }
}

/// The exponent of the largest product of a weight and a value of response r, both as they were given;
/// nothing where all are 0. Exponents, since the products may be far out of the range of a double.
std::optional<int> exponent_of_weighted(const NetworkData& data, const Problem& problem, std::size_t r) {
  const std::size_t of_response =
      data.weights.size() > problem.samples ? problem.source[r] * problem.samples : 0;
  std::optional<int> most;
  for (std::size_t k = 0; k < problem.samples; ++k) {
    const Complex value = problem.given(problem.source[r], k);
    const double part = std::max(std::abs(value.real()), std::abs(value.imag()));
    const double weight = data.weights[of_response + k];
    if (part > 0.0 && weight > 0.0) {
      const int exponent = std::ilogb(part) + std::ilogb(weight);
      most = std::max(exponent, most.value_or(exponent));
    }
  }
  return most;
}

/// Makes the largest of the weighted values about 1, whatever the units of weights and values.
void scale_by_weights(const NetworkData& data, Problem& problem) {
  /// What the largest product lacks to the product of the largest weight and value, as an exponent: squares
  /// of what makes up for it must not overflow.
  constexpr int most_apart = 400;
  std::vector<std::optional<int>> exponents;
  std::optional<int> top;
  for (std::size_t r = 0; r < problem.responses; ++r) {
    exponents.push_back(exponent_of_weighted(data, problem, r));
    if (exponents[r]) {
      top = std::max(*exponents[r], top.value_or(*exponents[r]));
    }
  }
  for (std::size_t r = 0; r < problem.responses; ++r) {
    if (!exponents[r]) {
      problem.response_scale[r] = 0.0;
      continue;
    }
    const double unit =
        problem.has_own_weights() ? problem.weight_unit[r] : 1.0 / unit_of_weights(data.weights);
    const int of_units = -std::ilogb(problem.inverse_unit[r]) - std::ilogb(unit);
    if (of_units - *exponents[r] > most_apart) {
      throw Error(
          ErrorKind::bad_weight,
          "the weights of response " + std::to_string(problem.source[r]) +
              " (counted from 0) are too far apart: where it is largest, they are below 1e-120 of the "
              "largest one");
    }
    problem.response_scale[r] = std::ldexp(1.0, of_units - *top);
  }
}

/// Weights and data in units of their own, so that squares neither overflow nor vanish.
void scale_residuals(const NetworkData& data, ResponseScale scale, Problem& problem) {
  problem.weight.assign(problem.samples, 1.0);
  problem.response_scale.assign(problem.responses, 1.0);
  set_units(problem);
  if (data.weights.empty()) {
    for (std::size_t r = 0; r < problem.responses; ++r) {
      problem.response_scale[r] = scale_without_weights(problem, r, scale);
    }
    const double most = *std::max_element(problem.response_scale.begin(), problem.response_scale.end());
    if (most > 0.0) {
      const double unit = numerics::unit_near(most);
      for (double& factor : problem.response_scale) {
        factor /= unit;
      }
    }
  } else {
    set_weights(data, problem);
    scale_by_weights(data, problem);
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
  if (!(problem.norm > 0.0)) {
    throw Error(ErrorKind::zero_data, "all weighted samples are 0: there is nothing to fit");
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
