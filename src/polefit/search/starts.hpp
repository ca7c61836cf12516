/// Where the poles of a trial start.
#pragma once

#include <cstddef>
#include <vector>

#include "polefit/problem/pole_basis.hpp"
#include "polefit/problem/problem.hpp"

namespace polefit {

/// So many poles, pairs but for one real pole of an odd number, evenly from the lowest frequency to `highest`
/// of it (1: the whole band).
Poles even_start(const Problem& problem, std::size_t order, double highest);

/// Half of them real, half in pairs, evenly over the decades of the band.
Poles logarithmic_start(const Problem& problem, std::size_t order);

/// Whether the samples are over decades, so that the start above is worth a trial.
bool over_decades(const Problem& problem);

/// The poles and as many pairs more as it takes for the order, at quantiles of the residual's square.
///
/// residual   weighted, one response of the problem, whose samples are by frequency, after the other
Poles grown_start(const Problem& problem, const Poles& poles, const std::vector<Complex>& residual,
                  std::size_t order);

}  // namespace polefit
