/// The units in which Touchstone tells frequencies.
#pragma once

#include "polefit/network.hpp"

namespace polefit_io {

/// 9 for gigahertz.
constexpr int power_of_ten(polefit::FrequencyUnit unit) { return 3 * static_cast<int>(unit); }

}  // namespace polefit_io
