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
/// limit is that of D to a part in 1e10, so that the matrix does not exist or is made of rounding, or its
/// eigenvalues are not found. Takes some ten times the cube of its order.
std::optional<std::vector<double>> hamiltonian_crossings(const ScaledModel& model, double limit);

/// Frequencies between which the measure is above the limit.
struct CrossedInterval {
  double lowest = 0.0;
  double highest = 0.0;  ///< may be infinite
};

struct HamiltonianDecision {
  bool holds = false;                      ///< nowhere above the limit
  std::vector<CrossedInterval> violating;  ///< between crossings, where it does not hold
};

/// Whether the measure stays below the limit, told from its crossings: it holds where there are none and the
/// measure is below the limit somewhere by more than rounding can do, and does not where the measure is
/// above, likewise, between two crossings, before or behind them, or at a frequency that a scan finds
/// although there are no crossings. Nothing where neither is so: no eigenvalue tells a touch from a crossing.
std::optional<HamiltonianDecision> decide_by_hamiltonian(const ScaledModel& model, double limit);

}  // namespace polefit
