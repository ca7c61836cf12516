/// A smaller problem that has the same poles.
#pragma once

#include <vector>

#include "polefit/data/compression.hpp"
#include "polefit/data/selection.hpp"
#include "polefit/problem/problem.hpp"

namespace polefit {

/// Combinations of responses at some of the samples, in the units of the problem it comes from.
class ReducedProblem {
 public:
  /// The first combinations, as many as it takes for the rest to be at most `tail` of the norm of the data.
  ReducedProblem(const Problem& whole, const Combinations& data, const Selection& selection, double tail);
  ReducedProblem(const ReducedProblem&) = delete;
  ReducedProblem& operator=(const ReducedProblem&) = delete;

  const Problem& problem() const { return problem_; }
  /// Norm of what is in no combination, relative to that of the data.
  double dropped() const { return dropped_; }

 private:
  std::vector<Complex> values_;
  std::vector<double> weights_;
  Problem problem_;
  double dropped_ = 0.0;
};

}  // namespace polefit
