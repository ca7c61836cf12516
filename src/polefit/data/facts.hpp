/// What is known of the data before any pole is placed.
#pragma once

#include <cstddef>
#include <vector>

#include "polefit/data/turns.hpp"
#include "polefit/problem/problem.hpp"

namespace polefit {

struct DataFacts {
  std::vector<std::size_t> by_frequency;
  std::vector<double> noise;  ///< of each response, relative to its root mean square
  double floor = 0.0;         ///< of all, relative to the weighted data
  Turns turns;
};

/// Takes some ten operations a value. Noise is 0 where none can be told, also where the phase steps are
/// coarse.
DataFacts facts_of(const Problem& problem);

/// The samples in the order of their frequencies, equal ones in the order they are given in.
std::vector<std::size_t> samples_by_frequency(const Problem& problem);

}  // namespace polefit
