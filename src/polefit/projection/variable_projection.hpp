/// Poles moved downhill: the least squares error with the residues projected out, minimised over the poles
/// where they are stable.
///
/// Variable projection (Golub, Pereyra, "The differentiation of pseudo-inverses and nonlinear least squares
/// problems whose variables separate", SIAM J. Numer. Anal. 10(2), 1973) with the approximate derivative of
/// Kaufman ("A variable projection method for solving separable nonlinear least squares problems", BIT 15,
/// 1975) and the damping of Marquardt ("An algorithm for least-squares estimation of nonlinear parameters",
/// J. SIAM 11(2), 1963).
///
/// The unknowns of a pair re +- j im are t and u with re = -exp(t), im = im0 + |re| u, that of a real pole is
/// t; no step can leave the left half-plane, and pairs stay pairs.
#pragma once

#include <functional>
#include <vector>

#include "polefit/projection/projection.hpp"

namespace polefit {

/// What the error does where poles move: one entry for each unknown, t of a real pole, t then u of a pair.
struct Slope {
  Matrix hessian;                ///< lower triangle of J^T J, the Gauss-Newton approximation of half of it
  std::vector<double> gradient;  ///< J^T of the residual: half the derivative of minus the error's square
};

/// At the poles of a projection, with the errors in units of the weighted data.
Slope slope_of(const Projection& projection);

class VariableProjection {
 public:
  /// Replaces the projection by a better one with its poles moved; false when no step makes it better.
  bool step(Projection& projection);

 private:
  double lambda_ = 1e-3;
};

}  // namespace polefit
