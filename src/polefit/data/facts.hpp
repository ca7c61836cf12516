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

DataFacts facts_of(const Problem& problem);

/// The samples in the order of their frequencies, equal ones in the order they are given in.
std::vector<std::size_t> samples_by_frequency(const Problem& problem);

}  // namespace polefit
