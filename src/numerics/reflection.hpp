/// A single reflection I - tau v v^T with v(0) = 1 (Householder, "Unitary triangularization of a nonsymmetric
/// matrix", J. ACM 5(4), 1958).
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "numerics/vector_operations.hpp"

namespace numerics {

struct Reflection {
  double tau = 0.0;   ///< 0 or between 1 and 2
  double beta = 0.0;  ///< what the first element becomes; the others become 0
};

/// The exponent of the unit in which a vector's squares, whose sum is given, neither vanish nor overflow: 0
/// but for extreme ones.
inline int unit_exponent(double squares, std::size_t count, const double* x) {
  constexpr double smallest = 1e-280;
  constexpr double largest = 1e280;
  if (squares > smallest && squares < largest) {
    return 0;
  }
  double most = 0.0;
  for (std::size_t k = 0; k < count; ++k) {
    most = std::max(most, std::abs(x[k]));
  }
  return most > 0.0 && std::isfinite(most) ? std::ilogb(most) : 0;
}

/// The reflection that makes all but the first of `count` > 0 elements 0; these become those of v.
template <std::size_t width>
[[gnu::always_inline]] inline Reflection reflection_of(std::size_t count, double* x) {
  double squares = dot<width>(count, x, x);
  const int exponent = unit_exponent(squares, count, x);
  if (exponent != 0) {
    std::transform(x, x + count, x, [&](double element) { return std::ldexp(element, -exponent); });
    squares = dot<width>(count, x, x);
  }
  if (squares == 0.0) {
    return {};
  }
  const double norm = std::sqrt(squares);
  const double beta = x[0] < 0.0 ? norm : -norm;
  const double tau = (beta - x[0]) / beta;
  scale(count - 1, 1.0 / (x[0] - beta), x + 1);
  return {tau, std::ldexp(beta, exponent)};
}

/// x -= tau v (v^T x); `rest` are the elements of v from v(1) on.
template <std::size_t width>
[[gnu::always_inline]] inline void reflect(std::size_t count, const double* rest, double tau, double* x) {
  const double factor = tau * (x[0] + dot<width>(count - 1, rest, x + 1));
  x[0] -= factor;
  subtract_multiple(count - 1, factor, rest, x + 1);
}

}  // namespace numerics
