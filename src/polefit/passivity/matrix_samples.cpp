#include "polefit/passivity/matrix_samples.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "numerics/angular_frequency.hpp"
#include "numerics/root_mean_square.hpp"

namespace polefit {
namespace {

/// Of responses that count by the inverse of their size; those of zeros, or as good as that, count as the
/// largest does, and by 1 where all are.
std::vector<double> inverse_sizes(const NetworkData& data) {
  std::vector<double> sizes;
  for (std::size_t r = 0; r < data.responses.responses; ++r) {
    sizes.push_back(numerics::root_mean_square(
        data.responses.samples, [&](std::size_t k) { return std::abs(data.responses(r, k)); }));
  }
  const double largest = *std::max_element(sizes.begin(), sizes.end());
  const double otherwise = largest > numerics::least_size ? largest : 1.0;
  std::vector<double> weights;
  weights.reserve(sizes.size());
  for (const double size : sizes) {
    weights.push_back(1.0 / (size > numerics::least_size ? size : otherwise));
  }
  return weights;
}

/// The factors whose product is nearest to the weights: of the responses first, then of the samples.
struct Factors {
  std::vector<double> responses;
  std::vector<double> samples;
};

Factors factors_of(const NetworkData& data) {
  const std::size_t m = data.responses.samples;
  const std::size_t n = data.responses.responses;
  if (data.weights.empty()) {
    return {inverse_sizes(data), std::vector<double>(m, 1.0)};
  }
  if (data.weights.size() == m) {
    return {std::vector<double>(n, 1.0), {data.weights.begin(), data.weights.end()}};
  }
  Factors factors;
  for (std::size_t r = 0; r < n; ++r) {
    const auto own = data.weights.subspan(r * m, m);
    factors.responses.push_back(numerics::root_mean_square(m, [&](std::size_t k) { return own[k]; }));
  }
  for (std::size_t k = 0; k < m; ++k) {
    double squares = 0.0;
    double counted = 0.0;
    for (std::size_t r = 0; r < n; ++r) {
      if (factors.responses[r] > 0.0) {
        const double relative = data.weights[r * m + k] / factors.responses[r];
        squares += relative * relative;
        counted += 1.0;
      }
    }
    factors.samples.push_back(std::sqrt(squares / std::max(counted, 1.0)));
  }
  // A response that does not count at all still must not run away.
  const double largest = *std::max_element(factors.responses.begin(), factors.responses.end());
  const double unit = numerics::unit_near(largest);
  for (double& factor : factors.responses) {
    factor = std::max(factor, 1e-6 * largest) / unit;
  }
  return factors;
}

}  // namespace

double MatrixSamples::lowest() const { return *std::min_element(omega.begin(), omega.end()); }
double MatrixSamples::highest() const {
  const double last = *std::max_element(omega.begin(), omega.end());
  return last > 0.0 ? last : 1.0;
}

MatrixSamples matrix_samples(const ScaledModel& model, const WholeMatrix& matrix, const NetworkData& data) {
  const Factors factors = factors_of(data);
  MatrixSamples samples;
  const double unit =
      numerics::root_mean_square(data.responses.samples, [&](std::size_t k) { return factors.samples[k]; });
  for (std::size_t k = 0; k < data.responses.samples; ++k) {
    samples.omega.push_back(numerics::two_pi * data.frequencies[k] / model.unit);
    samples.omega_weights.push_back(factors.samples[k] / (unit > 0.0 ? unit : 1.0));
  }
  std::vector<double> moduli;
  for (std::size_t column = 0; column < model.ports; ++column) {
    for (std::size_t row = 0; row < model.ports; ++row) {
      samples.element_weights.push_back(factors.responses[matrix.response(row, column)]);
    }
  }
  for (std::size_t k = 0; k < data.responses.samples; ++k) {
    for (std::size_t column = 0; column < model.ports; ++column) {
      for (std::size_t row = 0; row < model.ports; ++row) {
        const std::complex<double> value = data.responses(matrix.response(row, column), k);
        const std::size_t place = row + column * model.ports;
        const double weight = samples.omega_weights[k] * samples.element_weights[place];
        moduli.push_back(weight * std::abs(value));
        samples.values.push_back(value - std::complex<double>(0.0, samples.omega[k] * model.e(row, column)));
      }
    }
  }
  const double size = numerics::root_mean_square(moduli.size(), [&](std::size_t i) { return moduli[i]; });
  if (size > numerics::least_size && std::isfinite(size)) {
    for (double& weight : samples.element_weights) {
      weight /= size;
    }
  }
  return samples;
}

void symmetrise(std::size_t ports, MatrixSamples& samples) {
  for (std::size_t j = 0; j < ports; ++j) {
    for (std::size_t i = 0; i < j; ++i) {
      const std::size_t a = i + j * ports;
      const std::size_t b = j + i * ports;
      const double weight = 0.5 * (samples.element_weights[a] + samples.element_weights[b]);
      samples.element_weights[a] = samples.element_weights[b] = weight;
      for (std::size_t k = 0; k < samples.omega.size(); ++k) {
        std::complex<double>* const values = samples.values.data() + k * ports * ports;
        values[a] = values[b] = 0.5 * (values[a] + values[b]);
      }
    }
  }
}

}  // namespace polefit
