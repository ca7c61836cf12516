/// The limit on the order of a search.
#pragma once

#include <algorithm>
#include <cstddef>

#include "polefit/order_search.hpp"

namespace polefit {

/// Target::most_poles, or what stands for it.
///
/// turns     Findings::turns
/// samples   of each response
inline std::size_t limit_on_order(const Target& target, double turns, std::size_t samples) {
  constexpr std::size_t usual_limit = 100;
  constexpr std::size_t largest_limit = 400;
  // Two poles follow the delay, the others the reflections behind it.
  constexpr double poles_a_turn = 4.5;
  std::size_t most = usual_limit;
  if (target.most_poles) {
    most = *target.most_poles;
  } else if (poles_a_turn * turns > static_cast<double>(usual_limit)) {
    most = std::min(largest_limit, static_cast<std::size_t>(poles_a_turn * turns));
  }
  return std::min(most, samples / 2);
}

}  // namespace polefit
