/// A fit's data, checked and scaled; what every part of the core works on.
#pragma once

#include <complex>
#include <cstddef>
#include <span>
#include <vector>

#include "polefit/fit.hpp"

namespace polefit {

using Complex = std::complex<double>;

/// Frequencies are in units of `scale`, so that poles, residues and s are near 1 in size.
struct Problem {
  std::size_t samples = 0;
  std::size_t responses = 0;
  double scale = 1.0;         ///< rad/s in one unit
  std::vector<double> omega;  ///< of the samples, scaled
  std::vector<double> zeros;  ///< as many zeros: the real parts of the sample points
  Responses values;
  std::vector<double> weight;                ///< of each sample, shared by the responses
  std::span<const double> response_weights;  ///< of each response's samples when they differ, or none
  std::vector<double> response_scale;        ///< factor on the residuals of each response
  std::vector<double> power;  ///< of each sample: sum of the squares of the weighted, scaled responses
  double norm = 0.0;          ///< square root of the sum of the powers
  bool constant = true;
  bool proportional = false;

  /// The factor on the residual of response r at sample k.
  double factor(std::size_t r, std::size_t k) const {
    return response_scale[r] * (response_weights.empty() ? weight[k] : response_weights[r * samples + k]);
  }
  std::size_t terms() const { return (constant ? 1U : 0U) + (proportional ? 1U : 0U); }
};

/// Throws Error for data that cannot be fitted.
Problem make_problem(const NetworkData& data, const Options& options);

}  // namespace polefit
