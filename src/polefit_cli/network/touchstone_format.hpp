/// The forms in which Touchstone files may hold frequencies and complex numbers.
#pragma once

namespace polefit_cli {

enum class ComplexFormat {
  ri,  ///< real and imaginary part
  ma,  ///< magnitude, and angle in degrees
  db,  ///< 20 log10 of the magnitude, and angle in degrees
};

enum class FrequencyUnit { hz, khz, mhz, ghz };

/// 9 for gigahertz.
constexpr int power_of_ten(FrequencyUnit unit) { return 3 * static_cast<int>(unit); }

}  // namespace polefit_cli
