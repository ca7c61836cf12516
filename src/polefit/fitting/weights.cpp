#include "polefit/weights.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <string>

#include "polefit/error.hpp"

namespace polefit {
namespace {

/// Of a sample of that modulus.
double weight_of(double modulus, Weighting weighting) {
  switch (weighting) {
    case Weighting::balanced:
    case Weighting::uniform:
      break;
    case Weighting::relative:
      return 1.0 / modulus;
    case Weighting::root:
      return 1.0 / std::sqrt(modulus);
  }
  return 1.0;
}

}  // namespace

std::vector<double> weights(const NetworkData& data, Weighting weighting) {
  if (data.responses.responses > 0 &&
      (data.responses.values == nullptr || data.responses.samples != data.frequencies.size())) {
    throw Error(ErrorKind::bad_shape, "the responses have not a value at each of the " +
                                          std::to_string(data.frequencies.size()) + " frequencies");
  }
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
      weights.push_back(weight_of(modulus, weighting));
    }
  }
  return weights;
}

}  // namespace polefit
