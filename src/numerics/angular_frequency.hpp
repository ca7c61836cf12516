/// The one factor between hertz and rad/s.
#pragma once

namespace numerics {

/// 2 pi as a double; the same wherever frequencies are converted, so that a conversion back undoes it.
inline constexpr double two_pi = 6.283185307179586;

}  // namespace numerics
