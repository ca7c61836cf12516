/// A fit's data, checked and scaled; what every part of the core works on.
#pragma once

#include <complex>
#include <cstddef>
#include <span>
#include <vector>

#include "polefit/network_data.hpp"
#include "polefit/options.hpp"

namespace polefit {

using Complex = std::complex<double>;

/// Frequencies are in units of `scale`, so that poles, residues and s are near 1 in size.
///
/// Responses that are equal to the last bit, as those of a reciprocal network may be, are one response here.
struct Problem {
  std::size_t samples = 0;
  std::size_t responses = 0;
  std::vector<std::size_t> source;  ///< of each response here: the first of the caller's that is equal to it
  std::vector<std::size_t> place;   ///< of each of the caller's responses: the one here that stands for it
  double scale = 1.0;               ///< rad/s in one unit
  std::vector<double> omega;        ///< of the samples, scaled
  std::vector<double> zeros;        ///< as many zeros: the real parts of the sample points
  std::vector<double> weight;       ///< of each sample, shared by the responses, the largest near 1
  std::vector<double> response_scale;  ///< factor on the residuals of each response beside the weights, in
                                       ///< its unit
  std::vector<double> power;  ///< of each sample: sum of the squares of the weighted, scaled responses
  double norm = 0.0;          ///< square root of the sum of the powers
  bool constant = true;
  bool proportional = false;

  Responses given;                        ///< the caller's responses
  std::vector<double> inverse_unit;       ///< of each response here: a power of two, its values then near 1
  std::span<const double> given_weights;  ///< of each of the caller's responses' samples when they differ
  std::vector<double> weight_unit;        ///< factor on those of each response here, the largest then near 1

  /// In the unit of response r, which makes no rounding: what the caller gave may be of any size.
  Complex value(std::size_t r, std::size_t k) const { return in_unit(r, given(source[r], k)); }
  Complex in_unit(std::size_t r, Complex value) const { return inverse_unit[r] * value; }
  bool has_own_weights() const { return !given_weights.empty(); }
  double sample_weight(std::size_t r, std::size_t k) const {
    return has_own_weights() ? weight_unit[r] * given_weights[source[r] * samples + k] : weight[k];
  }
  /// The factor on the residual of response r at sample k.
  double factor(std::size_t r, std::size_t k) const { return response_scale[r] * sample_weight(r, k); }
  std::size_t terms() const { return (constant ? 1U : 0U) + (proportional ? 1U : 0U); }
};

/// The problem with the responses' scales multiplied by factors, one a response.
Problem scaled_by(Problem problem, const std::vector<double>& factors);

/// What a response without weights counts by.
enum class ResponseScale {
  inverse_root_of_norm,  ///< between equal weight for each response and equal weight for each volt
  inverse_norm,          ///< as in the root mean square of relative errors
};

/// Whether all values are 0, so that there is a model, but no problem. Throws Error as check does for shapes
/// and values.
bool is_zero(const NetworkData& data);

/// Throws Error as check does for the data, and (zero_data) for data of zeros.
Problem make_problem(const NetworkData& data, const Options& options,
                     ResponseScale scale = ResponseScale::inverse_root_of_norm);

}  // namespace polefit
