/// How often responses turn around the origin: what a delay does.
#pragma once

#include <cstddef>
#include <vector>

#include "polefit/problem/problem.hpp"

namespace polefit {

/// Degrees from sample to sample above which nothing says which way the phase turns, nor what is noise.
inline constexpr double coarse_step = 60.0;

struct Turns {
  double most = 0.0;  ///< of a response over the band, without their sign
  /// The phase, in degrees, that this response turns from sample to sample in the mean: above 0 where it
  /// falls, as that of a delay does; below 0 where it runs forward, as that of data that are advanced or
  /// sampled too coarsely.
  double degrees_a_sample = 0.0;
};

/// Turns of response r over the band, above 0 where its phase falls.
double turns_of_response(const Problem& problem, std::size_t r, const std::vector<std::size_t>& order);

/// Of the response that turns most. Steps of noise cancel; responses that are mostly noise are left out.
///
/// order   the samples by frequency
/// noise   of each response, relative to its root mean square
Turns turns_of(const Problem& problem, const std::vector<std::size_t>& order,
               const std::vector<double>& noise);

}  // namespace polefit
