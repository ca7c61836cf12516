/// Systems of as many equations as a network has ports, solved with many right-hand sides.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "numerics/matrix.hpp"

namespace polefit {

/// A = P L U, by elimination with the largest element of each column as its pivot.
class LoopSystem {
 public:
  /// Throws Error (numerical_breakdown) where a pivot is 0 or none.
  explicit LoopSystem(numerics::Matrix a);

  /// x = A^-1 x.
  void solve(std::span<double> x) const;

 private:
  numerics::Matrix factors_;
  std::vector<std::size_t> pivots_;  // the row that each was changed with
};

}  // namespace polefit
