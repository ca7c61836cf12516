/// One step of one pole's state, x' = a x + u, with a u that is linear over the step.
#pragma once

#include <complex>

namespace polefit {

/// x(t + h) = decay x(t) + begin u(t) + end u(t + h).
struct StepWeights {
  std::complex<double> decay;  ///< exp(a h)
  std::complex<double> begin;  ///< ((z - 1) exp(z) + 1) / z^2 times h, with z = a h
  std::complex<double> end;    ///< (exp(z) - 1 - z) / z^2 times h
};

/// To a few units of rounding for any pole, in rad/s, and any step of 0 or more, in seconds. Where exp(a h)
/// overflows, so do the weights; a phase beyond the largest double is not a number.
StepWeights step_weights(std::complex<double> pole, double step);

}  // namespace polefit
