/// Root mean squares of values of any size.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

namespace numerics {

/// Sizes below this count as 0 where something is divided by them: inverses would overflow, or products with
/// these.
inline constexpr double least_size = 0x1p-960;

/// A power of two near a size above 0, whose inverse is finite; 1 of none.
inline double unit_near(double size) {
  return size > 0.0 ? std::ldexp(1.0, std::ilogb(std::max(size, std::numeric_limits<double>::min()))) : 1.0;
}

/// Of `count` values, none below 0, in a unit of their own so that their squares neither overflow nor vanish.
template <typename Value>
double root_mean_square(std::size_t count, const Value& value) {
  double largest = 0.0;
  for (std::size_t i = 0; i < count; ++i) {
    largest = std::max(largest, value(i));
  }
  const double unit = unit_near(largest);
  double squares = 0.0;
  for (std::size_t i = 0; i < count; ++i) {
    const double relative = value(i) / unit;
    squares += relative * relative;
  }
  return unit * std::sqrt(squares / static_cast<double>(count));
}

}  // namespace numerics
