/// Models that a text can hold.
#pragma once

#include "polefit/error.hpp"
#include "polefit/model.hpp"
#include "polefit/model/model_faults.hpp"

namespace polefit {

/// Throws Error (bad_shape) for a model with a number that is infinite or none. Its arrays fit together.
inline void refuse_numbers_not_finite(const Model& model) {
  if (const auto fault = number_fault(model)) {
    throw Error(ErrorKind::bad_shape, "the model cannot be written: " + *fault);
  }
}

}  // namespace polefit
