#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

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
  double noisy = 0.0;
  for (std::size_t r = 0; r < noise.size(); ++r) {
    double squares = 0.0;
    for (std::size_t k = 0; k < data.responses.samples; ++k) {
      squares += std::norm(data.responses(r, k));
    }
    noisy += noise[r] * noise[r] * squares;
  }
  return noisy > 0.0 ? std::sqrt(noisy / static_cast<double>(data.responses.samples)) : 0.0;
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
  double squares = 0.0;
  double worst = -std::numeric_limits<double>::infinity();
  for (std::size_t k = 0; k < data.responses.samples; ++k) {
    const ComplexMatrix value = value_of(data, *whole, k);
    const double norm = norm_of(value);
    squares += norm * norm;
    const double size = form.scattering || !(norm > 0.0) ? 1.0 : norm;
    // Noise is the same where there is hardly anything else.
    const double permitted = std::max(least * size, of_noise);
    const double measure = measure_of(form, value);
    const double frequency = data.frequencies[k];
    const double excess = (measure - form.limit()) / permitted;
    if (excess > worst) {
      worst = excess;
      result.extreme = form.scattering ? measure : -measure / size;
      result.frequency = frequency;
    }
    if (excess > 1.0) {
      result.lowest = result.samples == 0 ? frequency : std::min(result.lowest, frequency);
      result.highest = result.samples == 0 ? frequency : std::max(result.highest, frequency);
      ++result.samples;
    }
  }
  const double usual = std::sqrt(squares / static_cast<double>(data.responses.samples));
  result.tolerance = std::max(least, form.scattering || !(usual > 0.0) ? of_noise : of_noise / usual);
  result.passive = result.samples == 0;
  return result;
}

}  // namespace polefit
