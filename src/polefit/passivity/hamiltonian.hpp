/// Where a model reaches a limit, from the imaginary eigenvalues of a Hamiltonian matrix.
///
/// Of H = C (s I - A)^-1 B + D, with R = D^T D - limit^2 I and T = D D^T - limit^2 I, limit is a singular
/// value at omega exactly where j omega is an eigenvalue of
///
///   [ A - B R^-1 D^T C      -limit B R^-1 B^T         ]
///   [ limit C^T T^-1 C      -(A - B R^-1 D^T C)^T     ]
///
/// (Boyd, Balakrishnan, Kabamba, "A bisection method for computing the H-infinity norm of a transfer matrix
/// and related problems", Math. Control Signals Systems 2, 1989), and for the Hermitian part, with R = D +
/// D^T + 2 limit I, of
///
///   [ A - B R^-1 C          -B R^-1 B^T               ]
///   [ C^T R^-1 C            -(A - B R^-1 C)^T         ]
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "polefit/passivity/scaled_model.hpp"

namespace polefit {

/// The order of the matrix: two for each pole and port.
inline std::size_t hamiltonian_order(const ScaledModel& model) {
  return 2 * model.poles.size() * model.ports;
}

/// The frequencies, rising, at which a singular value is the limit, or an eigenvalue of the Hermitian part is
/// minus the limit in units of the scale, and possibly some at which it comes near to it. Nothing where the
/// limit is that of D, so that the matrix does not exist, or its eigenvalues are not found. Takes some ten
/// times the cube of its order.
std::optional<std::vector<double>> hamiltonian_crossings(const ScaledModel& model, double limit);

}  // namespace polefit
