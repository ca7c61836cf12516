/// Whether a model is passive: gives back no more energy than it was given.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "polefit/export.hpp"
#include "polefit/model.hpp"

namespace polefit {

/// Frequencies between which a model is not passive.
struct Violation {
  double lowest = 0.0;   ///< in hertz, to a part in a million of itself
  double highest = 0.0;  ///< likewise; infinite where it goes on for ever
  double worst =
      0.0;  ///< the largest singular value of S, the smallest eigenvalue of (H + H^H) / 2 of Y or Z
  double frequency = 0.0;  ///< in hertz, where that is
};

/// What decided whether a model is passive.
enum class PassivityMethod {
  certificate,  ///< a bound on each piece of the frequency axis
  /// The imaginary eigenvalues of a Hamiltonian matrix, where rounding keeps the bounds from telling. They
  /// are asked only where twice poles times ports is at most 400.
  hamiltonian,
};

/// What was found of a model.
struct Passivity {
  bool passive = false;  ///< at every frequency, with the tolerance
  /// Whether it could be told. A model of which it could not counts as one that is not passive.
  bool decided = true;
  /// What decided, or was asked first where nothing could.
  PassivityMethod method = PassivityMethod::certificate;
  /// What no singular value exceeds, or (Y, Z) what no eigenvalue falls below: 1 + 1e-9, and -1e-9 times the
  /// norm of the value there or, where that is larger, the middle one of the norms over the band. So lossless
  /// networks pass, which touch the limit.
  double tolerance = 1e-9;
  std::size_t pieces = 0;  ///< of the frequency axis that were looked at
  /// The largest singular value of S, the smallest eigenvalue of (H + H^H) / 2 of Y or Z, of those looked at.
  double extreme = 0.0;
  double frequency = 0.0;             ///< in hertz, where that is; may be infinite
  std::vector<Violation> violations;  ///< by rising frequency
  /// What is wrong with the terms proportional to s, in a few words; empty where nothing is.
  std::string proportional_fault;
};

/// What a model's file records of it.
inline CertifiedPassivity certified(const Passivity& passivity) {
  return {passivity.passive, passivity.tolerance, passivity.extreme, passivity.frequency};
}

/// Decides for every frequency from 0 to infinity whether a model of a whole S, Y or Z matrix with poles in
/// the left half-plane is passive: no singular value of S above 1 and no term proportional to s; for Y and Z
/// no negative eigenvalue of the Hermitian part, and a symmetric matrix of such terms without a negative
/// eigenvalue.
///
/// The axis is cut into pieces until on each one a bound on a polynomial decides (docs/polefit.md). The bound
/// covers the remainder of the series and rounding. Where it cannot tell, a Hamiltonian matrix may. Takes
/// time in proportion to poles times ports^2 plus ports^3 for each of some hundred pieces.
///
/// Throws Error (bad_shape) as check, for a model that is no whole matrix, whose poles are not stable, or
/// with numbers that are not finite, or whose products overflow or vanish: above 1e100, or dampings below
/// 1e-100, in units of the band, or values of Y or Z below 1e-100.
POLEFIT_EXPORT Passivity passivity(const Model& model);

/// What is held against the limit, one value a frequency: the largest singular value of S, the smallest
/// eigenvalue of (H + H^H) / 2 of Y (in siemens) or Z (in ohms), without the terms proportional to s. Between
/// the frequencies it can be anything; they are in hertz, in any order, and may be infinite. Not a number
/// where the model's values overflow. Takes time in proportion to poles times ports^2 plus ports^3 a
/// frequency. Throws Error (bad_shape) as passivity.
POLEFIT_EXPORT std::vector<double> passivity_curve(const Model& model, std::span<const double> frequencies);

}  // namespace polefit
