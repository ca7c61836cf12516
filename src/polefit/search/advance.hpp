/// Data that run ahead of their cause by a single time, as those of a moved reference plane do.
#pragma once

#include <cstddef>

#include "polefit/data/compression.hpp"
#include "polefit/data/selection.hpp"
#include "polefit/fitting/goal.hpp"
#include "polefit/problem/problem.hpp"

namespace polefit {

/// The time in seconds, to some per cent, by which the data have to be delayed for as many stable poles to
/// have their least error, or the least of the times where they nearly have; 0 where no time up to a turn
/// over the band brings them to the goal or to a fifth of `error`.
///
/// data        of the problem, whose samples by frequency are in the selection
/// tail        of combinations that may be left out, relative to the norm of the data
/// error       that the poles have without a delay
double advance_of(const Problem& problem, const Combinations& data, const Selection& selection, double tail,
                  std::size_t order, double error, const Goal& goal);

}  // namespace polefit
