/// Operations on vectors, to be called from any unit's form: each is inlined into its caller, and gives the
/// same bits in every form.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

#include "numerics/vector_form.hpp"

namespace numerics {

/// The sum of products, in eight parts.
template <std::size_t width>
[[gnu::always_inline]] inline double dot(std::size_t count, const double* x, const double* y) {
  using Vector = typename Register<width>::Type;
  constexpr std::size_t registers = sum_parts / width;
  std::array<Vector, registers> sum{};
  std::size_t k = 0;
  for (; k + sum_parts <= count; k += sum_parts) {
    for (std::size_t m = 0; m < registers; ++m) {
      Vector left;
      Vector right;
      load(left, x + k + m * width);
      load(right, y + k + m * width);
      sum[m] += left * right;
    }
  }
  std::array<double, sum_parts> part;
  for (std::size_t m = 0; m < registers; ++m) {
    store(sum[m], part.data() + m * width);
  }
  for (std::size_t l = 0; k < count; ++k, ++l) {
    part[l] += x[k] * y[k];
  }
  return sum_of_parts(part.data());
}

/// x *= factor.
[[gnu::always_inline]] inline void scale(std::size_t count, double factor, double* x) {
  for (std::size_t k = 0; k < count; ++k) {
    x[k] *= factor;
  }
}

/// to -= factor * from; they do not overlap.
[[gnu::always_inline]] inline void subtract_multiple(std::size_t count, double factor,
                                                     const double* __restrict from, double* __restrict to) {
  for (std::size_t k = 0; k < count; ++k) {
    to[k] -= factor * from[k];
  }
}

}  // namespace numerics
