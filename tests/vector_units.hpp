/// The vector units that a routine with a form for each can be tested with.
#pragma once

#include <vector>

#include "numerics/vector_unit.hpp"

namespace testing_support {

/// The units of this processor, the widest last.
inline std::vector<numerics::VectorUnit> vector_units() {
  std::vector<numerics::VectorUnit> units;
  for (const numerics::VectorUnit unit :
       {numerics::VectorUnit::baseline, numerics::VectorUnit::avx2, numerics::VectorUnit::avx512}) {
    if (unit <= numerics::widest_vector_unit()) {
      units.push_back(unit);
    }
  }
  return units;
}

}  // namespace testing_support
