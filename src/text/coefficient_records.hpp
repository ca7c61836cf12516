/// The records of S_Solver's coefficient file, which both programs write.
#pragma once

#include <complex>
#include <functional>
#include <string_view>

namespace text {

/// Band and number of samples that the last record tells.
struct SampledBand {
  double fmin = 0.0;  ///< in hertz
  double fmax = 0.0;
  int nf = 0;
};

/// Hands the records, without their line ends, to `write_record`, one after the other: the model
/// f(s) = d + s h + sum c_i / (s - a_i) on the axis s' = s / wnorm: poles and residues divided by wnorm, h
/// multiplied by it, d as it stands.
/// order   poles a and residues c, in rad/s; below 0 counts as none and is written as it stands
/// wnorm   in rad/s; 0 gives infinities and NaNs, not an error, as a band that ends at 0 does
void coefficient_records(int order, const std::complex<double>* a, const std::complex<double>* c, double d,
                         double h, double wnorm, const SampledBand& band,
                         const std::function<void(std::string_view)>& write_record);

}  // namespace text
