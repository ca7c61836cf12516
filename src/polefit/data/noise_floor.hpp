/// How much noise samples carry, told from the samples alone.
#pragma once

#include <cstddef>
#include <vector>

#include "polefit/problem/problem.hpp"

namespace polefit {

/// Root mean square of the noise of response r, in units of the problem's values, or 0 where none can be told
/// from what the response itself does.
///
/// Of every d + 1 neighbouring samples, d = 2 to 7, the divided difference, normalised so that white noise of
/// rms s gives s; s_d is the root of their median square over ln 2, which is that of complex white noise, and
/// does not feel resonances. What is smooth falls with d, noise does not: the least s_d counts when there is
/// a plateau, s_7 > 0.75 s_5.
///
/// order   the samples by frequency
double noise_floor(const Problem& problem, std::size_t r, const std::vector<std::size_t>& order);

}  // namespace polefit
