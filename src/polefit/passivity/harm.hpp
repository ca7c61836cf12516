/// What a change of residues and constants does to the fit: a weighted distance from the data.
///
/// With phi the basis at a frequency, the squared distance of a model from its data is, element by element of
/// the matrix, |R (X - X_c)|^2 and what no X can change: R is the triangle of all rows of phi
/// (harm_rows.hpp), X_c the best X.
///
/// Where the value at 0 Hz is kept, the constant is what the other functions leave of it, and phi(s) -
/// phi(0) takes the place of phi: one function less, and an offset.
#pragma once

#include <complex>
#include <vector>

#include "numerics/matrix.hpp"
#include "polefit/passivity/harm_rows.hpp"
#include "polefit/passivity/matrix_samples.hpp"
#include "polefit/passivity/scaled_model.hpp"

namespace polefit {

class Harm {
 public:
  /// outside     weight of all rows outside the band together, relative to that of the samples
  /// keep_zero   keeps the value of the model at 0 Hz
  Harm(const ScaledModel& model, const MatrixSamples& samples, double outside, bool keep_zero);

  bool keeps_zero() const { return keep_zero_; }
  double lowest() const { return lowest_; }
  double highest() const { return highest_; }
  const Matrix& centre() const { return centre_; }
  const std::vector<double>& weights() const { return weights_; }
  /// What is there without any function, by columns: 0, or the value at 0 Hz.
  const std::vector<double>& offset() const { return offset_; }

  /// The functions at a frequency.
  std::vector<std::complex<double>> basis(double omega) const;
  /// R^-T of these.
  std::vector<std::complex<double>> lowered(const std::vector<std::complex<double>>& phi) const;
  /// R^-1 z for every column.
  Matrix raised(Matrix z) const;

  /// The coefficients of the functions here, from those of a model, and back.
  Matrix reduced(const Matrix& x) const;
  Matrix expanded(const Matrix& y) const;

  /// Root mean square of the weighted differences from the samples, for coefficients of the functions here.
  double in_band(const Matrix& y) const;

 private:
  ScaledModel shape_;  // poles only
  bool keep_zero_;
  double lowest_;
  double highest_;
  std::vector<double> at_zero_;  // the poles' functions at 0 Hz
  std::vector<double> offset_;
  Matrix r_;
  Matrix centre_;
  std::vector<double> weights_;
  FoldedRows band_;
};

}  // namespace polefit
