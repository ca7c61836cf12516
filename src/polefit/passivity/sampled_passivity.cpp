#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

#include "numerics/root_mean_square.hpp"
#include "polefit/enforcement.hpp"
#include "polefit/error.hpp"
#include "polefit/passivity/extreme_value.hpp"
#include "polefit/passivity/scaled_model.hpp"

namespace polefit {
namespace {

/// Of the norm of a matrix of noise, which is what that adds to a singular value at most.
constexpr double times_noise = 3.0;

ComplexMatrix value_of(const NetworkData& data, const WholeMatrix& matrix, std::size_t k) {
  ComplexMatrix value(matrix.ports(), matrix.ports());
  for (std::size_t j = 0; j < matrix.ports(); ++j) {
    for (std::size_t i = 0; i < matrix.ports(); ++i) {
      value.set(i, j, data.responses(matrix.response(i, j), k));
    }
  }
  return value;
}

/// Root mean square of the norm of the noise of all elements.
double size_of_noise(const NetworkData& data, const std::vector<double>& noise) {
  return std::sqrt(static_cast<double>(noise.size())) *
         numerics::root_mean_square(noise.size(), [&](std::size_t r) {
           return noise[r] * numerics::root_mean_square(data.responses.samples, [&](std::size_t k) {
                    return std::abs(data.responses(r, k));
                  });
         });
}

/// In a unit, a power of two, in which its largest part is about 1.
struct ScaledValue {
  ComplexMatrix value;
  double unit;
};

ScaledValue scaled(ComplexMatrix value) {
  double largest = 0.0;
  for (const auto* part : {&value.re.elements, &value.im.elements}) {
    for (const double element : *part) {
      largest = std::max(largest, std::abs(element));
    }
  }
  const double unit = numerics::unit_near(largest);
  for (auto* part : {&value.re.elements, &value.im.elements}) {
    for (double& element : *part) {
      element /= unit;
    }
  }
  return {std::move(value), unit};
}

}  // namespace

SampledPassivity sampled_passivity(const NetworkData& data, const NetworkMatrix& matrix,
                                   const std::vector<double>& noise) {
  check(data);
  const std::optional<WholeMatrix> whole = whole_matrix(matrix);
  if (!whole) {
    throw Error(ErrorKind::bad_shape, "the network has " + *incompleteness(matrix));
  }
  if (whole->ports() * whole->ports() != data.responses.responses ||
      !(noise.empty() || noise.size() == data.responses.responses)) {
    throw Error(ErrorKind::bad_shape, "the matrix, the data and their noise have not as many responses");
  }
  ScaledModel form;
  form.scattering = matrix.parameter == 'S';
  form.ports = whole->ports();
  SampledPassivity result;
  const double least = result.tolerance;
  const double of_noise = times_noise * size_of_noise(data, noise);
  std::vector<double> norms;
  double worst = -std::numeric_limits<double>::infinity();
  for (std::size_t k = 0; k < data.responses.samples; ++k) {
    const auto [value, unit] = scaled(value_of(data, *whole, k));
    const double norm = norm_of(value);
    norms.push_back(norm * unit);
    // In that unit; of S, which is held against 1, as it is.
    const double size = form.scattering ? 1.0 / unit : norm > 0.0 ? norm : 1.0;
    // Noise is the same where there is hardly anything else.
    const double permitted = std::max(least * size, of_noise / unit);
    const double measure = measure_of(form, value);
    const double frequency = data.frequencies[k];
    const double excess = (measure - form.limit() / unit) / permitted;
    if (excess > worst) {
      worst = excess;
      result.extreme =
          form.scattering ? std::min(measure * unit, std::numeric_limits<double>::max()) : -measure / size;
      result.frequency = frequency;
    }
    if (excess > 1.0) {
      result.lowest = result.samples == 0 ? frequency : std::min(result.lowest, frequency);
      result.highest = result.samples == 0 ? frequency : std::max(result.highest, frequency);
      ++result.samples;
    }
  }
  const double usual = numerics::root_mean_square(norms.size(), [&](std::size_t k) { return norms[k]; });
  result.tolerance = std::max(least, form.scattering || !(usual > 0.0) ? of_noise : of_noise / usual);
  result.passive = result.samples == 0;
  return result;
}

}  // namespace polefit
