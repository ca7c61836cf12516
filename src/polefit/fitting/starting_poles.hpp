/// Where a fit starts.
#pragma once

#include "polefit/options.hpp"
#include "polefit/problem/pole_basis.hpp"
#include "polefit/problem/problem.hpp"

namespace polefit {

/// The starting poles of the options, scaled as the problem is. Throws Error (bad_option) for given poles
/// that are not finite, or complex without their conjugate beside them.
Poles starting_poles(const Problem& problem, const Options& options);

}  // namespace polefit
