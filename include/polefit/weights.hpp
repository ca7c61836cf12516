/// Weights of the residuals of a fit, by kind.
#pragma once

#include <vector>

#include "polefit/export.hpp"
#include "polefit/network_data.hpp"

namespace polefit {

/// How residuals count.
enum class Weighting {
  balanced,  ///< each response by the inverse square root of its norm
  uniform,   ///< every sample of every response alike
  relative,  ///< by the inverse of the modulus of the sample
  root,      ///< by the inverse square root of the modulus of the sample
};

/// The weights as NetworkData takes them: none for `balanced`, which a fit without weights is. A sample of 0
/// gets the largest weight that another sample of its response has. Inverses that would overflow, and all
/// others with them, are multiplied by 2^-51. Throws Error (bad_shape) for responses
/// without a value at each frequency.
POLEFIT_EXPORT std::vector<double> weights(const NetworkData& data, Weighting weighting);

}  // namespace polefit
