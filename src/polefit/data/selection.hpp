/// Few samples that stand for all of a smooth response.
#pragma once

#include <cstddef>
#include <vector>

#include "polefit/data/compression.hpp"
#include "polefit/problem/problem.hpp"

namespace polefit {

struct Selection {
  std::vector<std::size_t> samples;  ///< by frequency
  std::vector<double> weights;       ///< of each: the root of the number of samples that it stands for
  bool all = false;                  ///< whether none was left out
};

/// So many samples, `least` at least, that the curve the data draw is followed in steps of an eighth of their
/// size; all, when that leaves only a few out. Half of them are spread evenly, half by the length of the
/// curve, and, with the squares of a residual given, two fifths by these.
///
/// order      the samples by frequency
/// residual   squares of each sample of `order`, or none
/// least      samples that are wanted in any case
Selection select_samples(const Problem& problem, const Combinations& data,
                         const std::vector<std::size_t>& order, const std::vector<double>& residual,
                         std::size_t least);

}  // namespace polefit
