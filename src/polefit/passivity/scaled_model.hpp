/// A model of a whole matrix, as its passivity is looked at: real matrices for real functions of s.
///
///   H(s) = sum_k phi_k(s) X_k + s E
///
/// with phi the real basis of the poles (pole_basis.hpp) and the constant 1. For S, H is passive where its
/// largest singular value is at most 1 at every frequency and E is 0; for Y and Z, where the Hermitian part
/// of H has no negative eigenvalue and E is symmetric without a negative eigenvalue.
#pragma once

#include <complex>
#include <cstddef>
#include <vector>

#include "numerics/complex_matrix.hpp"
#include "numerics/matrix.hpp"
#include "polefit/model.hpp"
#include "polefit/problem/pole_basis.hpp"

namespace polefit {

using numerics::ComplexMatrix;
using numerics::Matrix;

/// Poles and frequencies are in units of `unit`; poles whose residues are all 0 are left out.
struct ScaledModel {
  bool scattering = true;  ///< S, else Y or Z
  std::size_t ports = 0;
  double unit = 1.0;  ///< rad/s, a power of two
  Poles poles;
  std::vector<std::size_t>
      source;  ///< of each pole: which of the model's it is; poles added to these have none
  Matrix x;    ///< (poles + 1) x ports^2: X_k by columns in row k, the constant's last
  Matrix e;    ///< ports x ports: E times the unit
  /// A size of the values: 1 for S, else the middle one of their norms over the band. Resonances, which have
  /// no largest value without losses, are no measure for what is lost beside them.
  double scale = 1.0;
  double lowest = 0.0;   ///< of the band that is meant
  double highest = 0.0;  ///< likewise
  /// Whether a value of Y or Z is judged in units of its own norm where that is larger: rounding leaves no
  /// less of a resonance than a part of its height.
  bool by_norm = false;
  /// Of Y and Z: what eigenvalues are to be at least.
  double least = 0.0;

  std::size_t functions() const { return poles.size() + 1; }
  /// What no measure of a passive model exceeds: 1 for singular values of S, 0 for minus the eigenvalues of
  /// the Hermitian part of Y and Z.
  double limit() const { return scattering ? 1.0 : 0.0; }
};

/// Throws Error (bad_shape) for a model that is no whole matrix or not that of a real system, whose poles are
/// not all in the left half-plane, or with numbers that are not finite or, in these units, above 1e100, or
/// dampings below 1e-100.
ScaledModel scaled_model(const Model& model);

/// The model with the values of a scaled one that was made of it and changed since. Poles that were left out
/// stay, without residues, and those that were added stand behind all others.
Model unscaled(const Model& model, const ScaledModel& scaled);

/// phi at s = j omega, one value a function.
std::vector<std::complex<double>> basis_at(const ScaledModel& model, double omega);

/// H(j omega) without s E; omega may be infinite.
ComplexMatrix value_at(const ScaledModel& model, double omega);

/// Frobenius norm.
double norm_of(const ComplexMatrix& value);

/// The scale of Y or Z as the values are now; 1 where they are nothing.
double size_of(const ScaledModel& model);

/// The unit in which eigenvalues of a value of Y or Z are judged; 1 for S.
double unit_of_value(const ScaledModel& model, const ComplexMatrix& value);

}  // namespace polefit
