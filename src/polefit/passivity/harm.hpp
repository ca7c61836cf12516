/// What a change of residues and constants does to the fit: a weighted distance from the data.
///
/// With phi the basis at a frequency, the squared distance of a model from its data is, element by element of
/// the matrix, |R (X - X_c)|^2 and what no X can change: R is the triangle of all rows of phi, X_c the best
/// X. Beside the samples there are rows below and above the band, with little weight, whose data are what the
/// model is there, but no larger than 0.9: without them directions that the band does not see would run away.
#pragma once

#include <complex>
#include <span>
#include <vector>

#include "numerics/matrix.hpp"
#include "polefit/passivity/scaled_model.hpp"

namespace polefit {

/// Samples of the whole matrix, in units of the model.
struct MatrixSamples {
  std::vector<double> omega;
  std::vector<std::complex<double>>
      values;                   ///< ports^2 by columns, of the first sample, then of the second, ...
  std::vector<double> weights;  ///< of each element by columns: what its differences are multiplied with
};

class Harm {
 public:
  /// outside   weight of all rows outside the band together, relative to that of the samples
  Harm(const ScaledModel& model, const MatrixSamples& samples, double outside);

  const Matrix& triangle() const { return r_; }
  const Matrix& centre() const { return centre_; }
  const std::vector<double>& weights() const { return weights_; }

  /// Root mean square of the weighted differences from the samples, for X as in a scaled model.
  double in_band(const Matrix& x) const;

  /// R^-T phi, of the basis at a frequency.
  std::vector<std::complex<double>> lowered(const std::vector<std::complex<double>>& phi) const;
  /// R^-1 z for every column.
  Matrix raised(Matrix z) const;

 private:
  Matrix r_;
  Matrix centre_;
  std::vector<double> weights_;
  // Of the samples alone: the triangle, the best X and what is left there, per element.
  Matrix band_;
  Matrix band_right_;
  std::vector<double> band_left_;
};

}  // namespace polefit
