/// The vector units that a routine with a form for each can be tested with.
#pragma once

#include <vector>

#include "dmatrix/vector_unit.hpp"

namespace s_solver::testing_support {

/// The units of this processor, the widest last.
inline std::vector<VectorUnit> vector_units() {
  std::vector<VectorUnit> units;
  for (const VectorUnit unit : {VectorUnit::baseline, VectorUnit::avx2, VectorUnit::avx512}) {
    if (unit <= widest_vector_unit()) {
      units.push_back(unit);
    }
  }
  return units;
}

}  // namespace s_solver::testing_support
