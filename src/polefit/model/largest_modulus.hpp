/// The largest modulus of many values.
#pragma once

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>

#include "polefit/network_data.hpp"

namespace polefit {

/// Of value(i), i from 0 to count - 1; undefined ones do not count. From squares, which are faster, unless
/// those overflow or vanish.
template <class Value>
double largest_modulus(std::size_t count, const Value& value) {
  constexpr double least_square = 1e-290;
  constexpr double largest_square = 1e290;
  double square = 0.0;
  for (std::size_t i = 0; i < count; ++i) {
    square = std::max(square, std::norm(std::complex<double>(value(i))));
  }
  if (square > least_square && square < largest_square) {
    return std::sqrt(square);
  }
  double largest = 0.0;
  for (std::size_t i = 0; i < count; ++i) {
    largest = std::max(largest, std::abs(std::complex<double>(value(i))));
  }
  return largest;
}

inline double largest_modulus(const Responses& responses) {
  double largest = 0.0;
  for (std::size_t r = 0; r < responses.responses; ++r) {
    largest =
        std::max(largest, largest_modulus(responses.samples, [&](std::size_t k) { return responses(r, k); }));
  }
  return largest;
}

}  // namespace polefit
