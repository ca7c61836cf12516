/// Whether a model stays below a limit at every frequency, decided without a Hamiltonian.
///
/// The axis is cut into intervals, of omega up to twice the farthest pole and of 1 / omega beyond. On each,
/// with x from -1 to 1, every partial fraction has a Chebyshev series in closed form,
///
///   1 / (x - p) = -(1 / r) (1 + 2 sum q^k T_k(x)),   r = sqrt(p - 1) sqrt(p + 1),   q = 1 / (p + r),   |q| <
///   1,
///
/// so that H is a polynomial with a remainder whose norm has a bound rho. Then
///
///   G(x) = limit^2 I - H^H H   (S)      or      (H + H^H) / 2 + (limit + forgiven) I   (Y, Z)
///
/// is a polynomial with coefficients G_k, and positive where the smaller eigenvalues of G_0 + G_1 and G_0 -
/// G_1 are at least the sum of the norms of the others and of what the remainder can do. Where that cannot be
/// said the interval is halved. Curvature is that of H^H H: a lossless network that turns fast has none.
///
/// What is claimed holds up to rounding, which is bounded and taken off, not followed operation by operation.
#pragma once

#include <cstddef>
#include <limits>
#include <optional>
#include <vector>

#include "polefit/passivity/scaled_model.hpp"

namespace polefit {

/// A part of the axis, in units of the model: of omega, or of 1 / omega.
struct Piece {
  bool reciprocal = false;
  double low = 0.0;
  double high = 0.0;

  double middle() const { return 0.5 * (low + high); }
  /// The frequency of one of its points; infinite for the reciprocal of 0.
  double frequency(double place) const;
};

struct Certificate {
  bool holds = false;  ///< nowhere above the limit
  /// Else some pieces were too small, or too many, to be told; beside a witness only too many.
  bool decided = true;
  std::vector<Piece> violating;   ///< throughout, or at a resolution of 1e-6 at their ends
  std::vector<Piece> untold;      ///< too small to be halved, and neither below nor above for certain
  std::size_t pieces = 0;         ///< that were looked at
  std::optional<double> witness;  ///< a frequency where the limit is exceeded for certain
};

enum class Thoroughness {
  yes_or_no,  ///< ends at the first witness
  intervals,  ///< finds all that violate
};

/// As many pieces as some minutes of one core allow: 100000 of few ports, and of many not below 2000, more
/// than any network needed whose limit is not within rounding.
std::size_t affordable_pieces(const ScaledModel& model);

/// limit   for S, what no singular value may exceed; for Y and Z, minus what no eigenvalue of the Hermitian
///         part may fall below, in the units of the values
/// most    pieces that are looked at before it gives up; no more than are affordable
Certificate certify(const ScaledModel& model, double limit, Thoroughness thoroughness,
                    std::size_t most = std::numeric_limits<std::size_t>::max());

}  // namespace polefit
