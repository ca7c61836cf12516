/// The search on a problem whose data are scaled as the error is judged.
#pragma once

#include <cstddef>
#include <vector>

#include "polefit/data/facts.hpp"
#include "polefit/fitting/goal.hpp"
#include "polefit/order_search.hpp"
#include "polefit/problem/pole_basis.hpp"
#include "polefit/problem/problem.hpp"

namespace polefit {

struct LadderResult {
  Poles poles;
  SearchEnd end = SearchEnd::target_met;
  double error = 0.0;     ///< of all samples, relative to the weighted data
  double residual = 0.0;  ///< what as many poles on either side of the axis could do
  double advance = 0.0;   ///< seconds, where the data are not causal and a single delay mends that
  std::vector<Step> steps;
  int relocations = 0;
  int orthogonal_relocations = 0;
};

/// Orders 4, 8, 16, ... up to `most_poles`, each from a start of its own and from the poles of the one
/// before, until the goal is met or an end is recognised; then as few of these poles as keep the error.
///
/// wanted   error that is asked for; the goal's is at least what noise allows
LadderResult climb(const Problem& problem, const DataFacts& facts, const Goal& goal, double wanted,
                   std::size_t most_poles);

}  // namespace polefit
