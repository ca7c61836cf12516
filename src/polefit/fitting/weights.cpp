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
double weight_of(double modulus, Weighting weighting, double unit) {
  switch (weighting) {
    case Weighting::balanced:
    case Weighting::uniform:
      break;
    case Weighting::relative:
      return unit / modulus;
    case Weighting::root:
      return 1.0 / std::sqrt(modulus);
  }
  return 1.0;
}

/// What the inverses of moduli are multiplied by: 1, or a power of two that keeps that of the smallest double
/// in the range. All by the same, so that it makes no difference to a fit.
double unit_of_inverses(const std::vector<double>& smallest) {
  const bool in_range = std::all_of(smallest.begin(), smallest.end(), [](double modulus) {
    return modulus >= std::numeric_limits<double>::min();
  });
  return in_range ? 1.0 : 0x1p-51;
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
  std::vector<double> smallest_of_each;
  for (std::size_t r = 0; r < data.responses.responses; ++r) {
    double smallest = std::numeric_limits<double>::infinity();
    for (std::size_t k = 0; k < samples; ++k) {
      const double modulus = std::abs(data.responses(r, k));
      smallest = modulus > 0.0 ? std::min(smallest, modulus) : smallest;
    }
    smallest_of_each.push_back(smallest);
  }
  const double unit = unit_of_inverses(smallest_of_each);
  for (std::size_t r = 0; r < data.responses.responses; ++r) {
    const double smallest = smallest_of_each[r];
    for (std::size_t k = 0; k < samples; ++k) {
      const double modulus = std::max(smallest, std::abs(data.responses(r, k)));
      weights.push_back(weight_of(modulus, weighting, unit));
    }
  }
  return weights;
}

}  // namespace polefit
