#include "polefit/response/step_weights.hpp"

#include <cmath>

namespace polefit {
namespace {

/// (exp(z) - 1 - z) / z^2 = 1/2 (1 + z/3 (1 + z/4 (1 + ...))) for |z| < 1.
std::complex<double> series(std::complex<double> z) {
  constexpr int last = 20;  // what follows is below 1 / 21!, 2e-20 of the first term
  std::complex<double> sum = 1.0;
  for (int k = last; k > 2; --k) {
    sum = 1.0 + z * sum / static_cast<double>(k);
  }
  return 0.5 * sum;
}

}  // namespace

StepWeights step_weights(std::complex<double> pole, double step) {
  const std::complex<double> z(pole.real() * step, pole.imag() * step);
  const std::complex<double> decay = std::exp(z);
  const double size = std::hypot(z.real(), z.imag());
  if (size < 1.0) {
    const std::complex<double> end = series(z);
    return {decay, step * (1.0 + (z - 1.0) * end), step * end};
  }
  // Of an infinite z nothing is left but the limit.
  const std::complex<double> mean = std::isfinite(size) ? (decay - 1.0) / z : 0.0;
  return {decay, (decay - mean) / pole, (mean - 1.0) / pole};
}

}  // namespace polefit
