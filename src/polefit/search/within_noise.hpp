/// Whether errors are as small as the noise of the data allows.
#pragma once

#include <cstddef>

#include "polefit/order_search.hpp"

namespace polefit {

/// The error may be so many times the noise that was told from the data.
inline constexpr double above_noise = 1.1;

/// SearchEnd::met_to_noise for errors of responses, where noise was found.
inline bool within_noise(const Report& report, const Findings& findings, const Target& target) {
  if (target.measure == Measure::largest_error || !(findings.noise_floor > 0.0)) {
    return false;
  }
  double sum = 0.0;
  for (std::size_t r = 0; r < findings.noise.size(); ++r) {
    const double noise = above_noise * findings.noise[r];
    const double square = report.errors[r].relative * report.errors[r].relative;
    const double most = target.error * target.error + noise * noise;
    if (target.measure == Measure::worst_response && square > most) {
      return false;
    }
    sum += square / most;
  }
  return sum <= static_cast<double>(findings.noise.size());
}

}  // namespace polefit
