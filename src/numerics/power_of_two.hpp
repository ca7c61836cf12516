/// Units in which the largest element of a matrix is about 1, exactly.
#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "numerics/complex_matrix.hpp"

namespace numerics {

static_assert(std::numeric_limits<double>::is_iec559);

/// The bits of |x|. They rise with it, and those of infinities and of what is no number are above all others,
/// so that the largest of a matrix tells both its size and whether all is finite.
[[gnu::always_inline]] inline std::uint64_t modulus_bits(double x) {
  return std::bit_cast<std::uint64_t>(x) & (~std::uint64_t{0} >> 1U);
}

inline bool finite_bits(std::uint64_t bits) {
  return bits < std::bit_cast<std::uint64_t>(std::numeric_limits<double>::infinity());
}

/// The exponent of what has such bits; 0 for 0.
inline int exponent_of_bits(std::uint64_t bits) {
  return bits == 0 ? 0 : std::ilogb(std::bit_cast<double>(bits));
}

/// 2^exponent as a factor, for every exponent of a double and its opposite.
class PowerOfTwo {
 public:
  explicit PowerOfTwo(int exponent) : first_(power(exponent / 2)), second_(power(exponent - exponent / 2)) {}
  [[gnu::always_inline]] double times(double x) const { return x * first_ * second_; }

 private:
  static double power(int exponent) {
    constexpr int bias = 1023;
    constexpr int place = 52;
    return std::bit_cast<double>(static_cast<std::uint64_t>(exponent + bias) << place);
  }

  // Two, since one alone may be out of range.
  double first_;
  double second_;
};

/// The largest of the moduli of all parts in the lower triangle of a square matrix, as bits. The imaginary
/// parts of the diagonal have no part in it, unless one is not finite, which tells that.
inline std::uint64_t largest_of_lower_triangle(const ComplexMatrix& a) {
  const std::size_t n = a.rows();
  std::uint64_t most = 0;
  for (std::size_t j = 0; j < n; ++j) {
    const double* const re = a.re.column(j);
    const double* const im = a.im.column(j);
    most = std::max(most, modulus_bits(re[j]));
    if (const std::uint64_t bits = modulus_bits(im[j]); !finite_bits(bits)) {
      return bits;
    }
    for (std::size_t i = j + 1; i < n; ++i) {
      most = std::max({most, modulus_bits(re[i]), modulus_bits(im[i])});
    }
  }
  return most;
}

}  // namespace numerics
