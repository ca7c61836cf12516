/// As few poles as keep an error.
#pragma once

#include <cstddef>
#include <functional>
#include <vector>

#include "polefit/fitting/refinement.hpp"
#include "polefit/order_search.hpp"

namespace polefit {

struct Reduction {
  std::size_t failed = 0;  ///< an order that is known to be too small
  double keep = 0.0;       ///< the error
  std::function<double(const Candidate&)> error_of;
};

/// Replaces the candidate by one with fewer poles, as long as its error is at most that which is to be kept:
/// of orders between the failed one and its own, first the smallest for which eliminated poles, not moved,
/// are not hopeless, then by bisection. Each trial starts from eliminated poles and polishes them. Orders
/// that succeed go to `steps`.
void spare_poles(Refinement& refinement, const Reduction& reduction, Candidate& candidate,
                 std::vector<Step>& steps);

}  // namespace polefit
