/// Sampled responses, where the caller keeps them.
#pragma once

#include <complex>
#include <cstddef>
#include <span>
#include <string>

#include "polefit/error.hpp"
#include "polefit/export.hpp"

namespace polefit {

/// R responses on one grid of M samples, in the caller's memory: response r at sample k is
/// values[r * response_stride + k * sample_stride].
struct Responses {
  const std::complex<double>* values = nullptr;  ///< that of the first response at the first sample
  std::size_t responses = 0;                     ///< R
  std::size_t samples = 0;                       ///< M
  std::ptrdiff_t response_stride = 0;            ///< values from one response to the next
  std::ptrdiff_t sample_stride = 1;              ///< values from one sample to the next

  /// One response after the other. Throws Error (bad_shape), as the next one does, for values that do not
  /// make whole responses.
  static Responses by_response(std::span<const std::complex<double>> values, std::size_t responses) {
    const std::size_t samples = samples_of_each(values.size(), responses);
    return {values.data(), responses, samples, static_cast<std::ptrdiff_t>(samples), 1};
  }
  /// All responses at the first sample, then all at the second.
  static Responses by_sample(std::span<const std::complex<double>> values, std::size_t responses) {
    const std::size_t samples = samples_of_each(values.size(), responses);
    return {values.data(), responses, samples, 1, static_cast<std::ptrdiff_t>(responses)};
  }
  /// Response r at sample k, both counted from 0.
  std::complex<double> operator()(std::size_t r, std::size_t k) const {
    return values[static_cast<std::ptrdiff_t>(r) * response_stride +
                  static_cast<std::ptrdiff_t>(k) * sample_stride];
  }

 private:
  static std::size_t samples_of_each(std::size_t values, std::size_t responses) {
    const std::size_t samples = responses == 0 ? 0 : values / responses;
    if (samples * responses != values) {
      throw Error(ErrorKind::bad_shape, std::to_string(values) + " values are not as many for each of " +
                                            std::to_string(responses) + " responses");
    }
    return samples;
  }
};

/// What is fitted. Nothing is copied; all of it must outlive the call.
struct NetworkData {
  std::span<const double> frequencies;  ///< M values in hertz, not below 0, in any order, also repeated; at
                                        ///< most 1e300, the highest 0 or at least 1e-302
  Responses responses;                  ///< R of M samples each
  std::span<const std::string> names;   ///< of the responses; R, no two the same, or none
  /// Factors on the residuals: none (each response then counts by the inverse square root of its norm), M
  /// (per sample), or R * M (those of the first response first).
  std::span<const double> weights;
};

/// Nothing for data that can be fitted. Throws Error otherwise: no_samples; bad_shape for sizes that do not
/// fit together; bad_frequency, bad_weight and bad_sample for values that data cannot have, also for weights
/// of a response that are below 1e-120 of its largest one where it is largest; zero_data when weights hide
/// all that is not 0. Data of zeros can be fitted: by zero.
POLEFIT_EXPORT void check(const NetworkData& data);

}  // namespace polefit
