/// The errors of all responses as one.
#pragma once

#include <cmath>
#include <cstddef>
#include <vector>

#include "numerics/root_mean_square.hpp"
#include "polefit/model.hpp"

namespace polefit {

struct OverallError {
  double relative = 0.0;  ///< root mean square of the relative errors of the responses
  double worst = 0.0;     ///< largest relative error of a response
  double largest = 0.0;   ///< largest modulus of a difference
};

/// Of one response at least; not a number where one of the errors is none.
inline OverallError overall_error(const std::vector<ResponseError>& errors) {
  const auto larger = [](double a, double b) { return a < b || std::isnan(b) ? b : a; };
  OverallError overall;
  for (const ResponseError& error : errors) {
    overall.worst = larger(overall.worst, error.relative);
    overall.largest = larger(overall.largest, error.largest);
  }
  overall.relative =
      std::isfinite(overall.worst)
          ? numerics::root_mean_square(errors.size(), [&](std::size_t r) { return errors[r].relative; })
          : overall.worst;
  return overall;
}

}  // namespace polefit
