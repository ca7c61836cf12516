/// Steps of the poles of a model that make its error smaller and leave it passive.
///
/// To first order a change dt of the poles' real and imaginary parts changes H = phi X by psi C_e dt, element
/// by element of the matrix: psi are the squares of the partial fractions, C_e holds the coefficients of the
/// element. With
///
///   [phi psi] = Q [R S; 0 T]
///
/// the squared distance from the data is |z|^2 + sum over e of |T C_e dt - q_e|^2 with z = R X + S C_e dt -
/// r: in z and dt together a convex problem as that of planes.hpp in z alone. The product of the normals of
/// two planes grows by g_k^T A^-1 g_l, A being the sum of C_e^T T^T T C_e and g the slopes of a plane in dt.
/// Steps are damped (Marquardt, "An algorithm for least-squares estimation of nonlinear parameters", J. SIAM
/// 11, 1963).
#pragma once

#include <complex>
#include <cstddef>
#include <optional>
#include <vector>

#include "polefit/passivity/matrix_samples.hpp"
#include "polefit/passivity/planes.hpp"
#include "polefit/passivity/scaled_model.hpp"

namespace polefit {

class PoleMoves {
 public:
  /// outside, keep_zero   as for Harm
  /// planes               every passive model is behind these, whatever its poles
  /// limit                of their measures
  ///
  /// Keeps a reference to the model.
  PoleMoves(const ScaledModel& model, const MatrixSamples& samples, double outside, bool keep_zero,
            const std::vector<Peak>& planes, double limit);

  /// The model with poles that are a step further and stable, and coefficients that are not the best any more
  /// but keep the value at 0 Hz where that is wanted. `damping` is relative; nothing where numbers end.
  std::optional<ScaledModel> moved(double damping) const;

 private:
  /// phi and psi at a frequency.
  std::vector<std::complex<double>> functions_at(double omega) const;
  void add_plane(const Peak& peak, double limit, const Matrix& triangle, const Matrix& right,
                 const std::vector<double>& weights);

  struct Plane {
    Normal normal;
    std::vector<double> slopes;  // g
    double distance = 0.0;       // beyond it, with dt and z 0
  };

  const ScaledModel& model_;
  bool keep_zero_;
  std::size_t functions_;                      // phi alone
  std::vector<std::complex<double>> at_zero_;  // of phi and psi; none where the value at 0 Hz is free
  std::vector<double> offset_;
  Matrix curvature_;              // A
  std::vector<double> downhill_;  // minus the slopes of the distance
  std::vector<Plane> planes_;
};

}  // namespace polefit
