/// The error of a fit as a target measures it.
#pragma once

#include "polefit/order_search.hpp"

namespace polefit {

inline double measured(const Report& report, Measure measure) {
  switch (measure) {
    case Measure::relative_rms:
      return report.relative_error;
    case Measure::worst_response:
      return report.worst_relative_error;
    default:
      return report.largest_error;
  }
}

}  // namespace polefit
