/// What linear segments make of exponentials, in long double.
#pragma once

#include <cmath>
#include <complex>

namespace polefit::linear_segments {

using LongComplex = std::complex<long double>;

/// phi1 = (e^z - 1) / z and phi2 = (phi1 - 1) / z.
struct Sums {
  LongComplex phi1;
  LongComplex phi2;
};

/// By their series where the formulas cancel: 60 terms at |z| < 4, of which the last is below 1e-46.
inline Sums sums(LongComplex z) {
  Sums result;
  if (std::abs(z) < 4.0L) {
    LongComplex term = 1.0L;
    for (int k = 0; k < 60; ++k) {
      result.phi1 += term / static_cast<long double>(k + 1);
      result.phi2 += term / (static_cast<long double>(k + 1) * static_cast<long double>(k + 2));
      term *= z / static_cast<long double>(k + 1);
    }
  } else {
    result.phi1 = (std::exp(z) - 1.0L) / z;
    result.phi2 = (result.phi1 - 1.0L) / z;
  }
  return result;
}

}  // namespace polefit::linear_segments
