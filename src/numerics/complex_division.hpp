/// Complex division by Smith's method: the one quotient of the systems, the evaluation and the test sets.
#pragma once

#include <cmath>
#include <complex>

namespace numerics {

/// numerator / denominator, scaled by the larger part of the denominator (by the real part when the two
/// are equal in magnitude), so that the squares of its parts are never formed
/// (R. L. Smith, "Algorithm 116: Complex division", Comm. ACM 5(8), 1962).
/// Zero, infinite and undefined operands get no special treatment: what they make propagates. Near the top
/// of the range an intermediate value may still overflow.
inline std::complex<double> smith_quotient(std::complex<double> numerator, std::complex<double> denominator) {
  const double x = denominator.real();
  const double y = denominator.imag();
  const bool by_real_part = std::abs(y) <= std::abs(x);
  const double larger = by_real_part ? x : y;
  const double smaller = by_real_part ? y : x;
  const double r = smaller / larger;
  const double t = larger + smaller * r;

  // The two cases of the method differ in which part of the numerator goes where, and in the sign of im.
  const double first = by_real_part ? numerator.real() : numerator.imag();
  const double second = by_real_part ? numerator.imag() : numerator.real();
  const double re = first + second * r;
  const double im = by_real_part ? second - first * r : first * r - second;
  return {re / t, im / t};
}

}  // namespace numerics
