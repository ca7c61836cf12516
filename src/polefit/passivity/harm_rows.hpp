/// What a model is wanted to follow, folded: the samples, and rows with little weight outside the band.
#pragma once

#include <complex>
#include <functional>
#include <vector>

#include "numerics/matrix.hpp"
#include "polefit/passivity/matrix_samples.hpp"
#include "polefit/passivity/scaled_model.hpp"

namespace polefit {

/// Q^T [A B] of rows A of functions and right-hand sides B, one an element of the matrix.
struct FoldedRows {
  Matrix triangle;           ///< R of A = Q R
  Matrix right;              ///< the part of Q^T B that R can follow
  std::vector<double> left;  ///< of each element: the squares that no coefficients can take away
};

struct HarmRows {
  FoldedRows band;   ///< of the samples alone
  FoldedRows whole;  ///< and of what is outside the band, and of a ridge
};

/// Right-hand sides are multiplied by the weights of their elements. Outside the band they are what the model
/// is there, but no larger than 0.9 for S: without them directions that the band does not see would run away.
///
/// outside        weight of all rows outside the band together, relative to that of the samples
/// functions_at   the functions at a frequency
/// offset         by columns: what is there without any function
/// coefficients   what the ridge draws the functions to, one row a function
HarmRows harm_rows(const ScaledModel& model, const MatrixSamples& samples, double outside,
                   const std::function<std::vector<std::complex<double>>(double)>& functions_at,
                   const std::vector<double>& offset, const Matrix& coefficients);

}  // namespace polefit
