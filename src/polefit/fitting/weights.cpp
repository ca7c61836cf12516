#include "polefit/weights.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

namespace polefit {

std::vector<double> weights(const NetworkData& data, Weighting weighting) {
  std::vector<double> weights;
  if (weighting == Weighting::balanced) {
    return weights;
  }
  const std::size_t samples = data.frequencies.size();
  if (weighting == Weighting::uniform) {
    weights.assign(samples, 1.0);
    return weights;
  }
  for (std::size_t r = 0; r < data.responses.responses; ++r) {
    double smallest = std::numeric_limits<double>::infinity();
    for (std::size_t k = 0; k < samples; ++k) {
      const double modulus = std::abs(data.responses(r, k));
      smallest = modulus > 0.0 ? std::min(smallest, modulus) : smallest;
    }
    for (std::size_t k = 0; k < samples; ++k) {
      const double modulus = std::max(smallest, std::abs(data.responses(r, k)));
      weights.push_back(weighting == Weighting::relative ? 1.0 / modulus : 1.0 / std::sqrt(modulus));
    }
  }
  return weights;
}

}  // namespace polefit
