/// The weighting function sigma = d + sum c_i phi_i of one relocation.
#pragma once

#include <vector>

namespace polefit {

struct Sigma {
  std::vector<double> unknowns;  ///< of the basis functions, then the constant d
  double residual = 0.0;         ///< norm of the weighted residual over that of the data
  /// What is left of the data when the poles stay where they are, likewise; 0 when not known. What the sums
  /// lose is lost of its square.
  double error = 0.0;
  /// Reciprocal, of the scaled normal matrix of the basis, the least one where responses have weights of
  /// their own; 0 when not known.
  double condition_basis = 0.0;
  double condition_sigma = 0.0;  ///< likewise of the equations for sigma
  /// How many times more than rounding the products of basis functions are off, relative to their size; the
  /// condition does not show it.
  double loss = 1.0;
};

}  // namespace polefit
