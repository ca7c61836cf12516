/// The samples of a whole matrix as the passivity of its model wants them.
#pragma once

#include <complex>
#include <vector>

#include "polefit/network_data.hpp"
#include "polefit/network_matrix.hpp"
#include "polefit/passivity/scaled_model.hpp"

namespace polefit {

/// In units of the model, without s E. A difference is multiplied by the weight of its element and by that of
/// its frequency.
struct MatrixSamples {
  std::vector<double> omega;
  std::vector<double> omega_weights;         ///< their squares have the mean 1
  std::vector<std::complex<double>> values;  ///< ports^2 by columns, of the first sample, then of the second
  std::vector<double> element_weights;       ///< ports^2 by columns

  double lowest() const;
  double highest() const;  ///< 1 where all are at 0 Hz
};

/// Of data whose responses are those of the matrix. The weighted root mean square of the values, over all
/// elements, is 1.
MatrixSamples matrix_samples(const ScaledModel& model, const WholeMatrix& matrix, const NetworkData& data);

/// Makes values and weights those of a symmetric matrix, the mean of each element and its mirror image.
void symmetrise(std::size_t ports, MatrixSamples& samples);

}  // namespace polefit
