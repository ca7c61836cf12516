/// How much noise samples carry, told from the samples alone.
#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "polefit/problem/problem.hpp"

namespace polefit {

/// Of every d + 1 neighbouring samples, d = 2 to 7, the divided difference, normalised so that white noise of
/// rms s gives s; s_d is the root of their median square over ln 2, which is that of complex white noise, and
/// does not feel resonances. What is smooth falls with d, noise does not: the least s_d counts when there is
/// a plateau, s_7 > 0.75 s_5.
class NoiseEstimate {
 public:
  static constexpr std::size_t most_degree = 7;

  /// order   the samples by frequency; both arguments must outlive it
  NoiseEstimate(const Problem& problem, const std::vector<std::size_t>& order);

  /// Root mean square of the noise of response r, in units of the problem's values, or 0 where none can be
  /// told from what the response itself does.
  double of(std::size_t r) const;

 private:
  /// Neighbours from `first` on in the order, and the factors of their difference.
  struct Window {
    std::size_t first;
    std::array<double, most_degree + 1> factors;
  };

  const Problem& problem_;
  const std::vector<std::size_t>& order_;
  std::array<std::vector<Window>, most_degree + 1> windows_;  // of each degree
};

}  // namespace polefit
