/// Many responses as few that have the same poles.
#pragma once

#include <vector>

#include "polefit/problem/problem.hpp"

namespace polefit {

/// Real combinations of a problem's scaled responses, principal ones first. For any poles the least squares
/// error of all responses is that of the combinations: X and X V have the same one for orthogonal V.
struct Combinations {
  std::size_t count = 0;
  std::vector<Complex> values;  ///< one combination after the other; without the weights of samples
  std::vector<double> norms;    ///< of each, weighted; the largest first, nearly
  double dropped = 0.0;         ///< norm of what is not in any of them, weighted
};

/// As many combinations as it takes for the rest to be at most `tail` times the norm of the data; responses
/// as they are where they have weights of their own, or where the tail is so small that products of responses
/// do not show it.
Combinations combine_responses(const Problem& problem, double tail);

}  // namespace polefit
