/// The fitted model: its echo on the console and the coefficient file.
#pragma once

#include <complex>
#include <functional>
#include <string_view>

namespace s_solver {

/// Hands the records of a coefficient file, without their line ends, to `write_record`, one after the other:
/// the model f(s) = d + s h + sum c_i / (s - a_i) on the axis s' = s / wnorm with wnorm = 2 pi fmax: poles
/// and residues divided by wnorm, h multiplied by it, d as it stands.
/// order       poles a and residues c, in rad/s; below 0 counts as none and is written as it stands
/// fmin, fmax  band edges in hertz; fmax = 0 gives infinities and NaNs, not an error
/// nf          number of samples
void coefficient_records(int order, const std::complex<double>* a, const std::complex<double>* c, double d,
                         double h, double fmin, double fmax, int nf,
                         const std::function<void(std::string_view)>& write_record);

/// Shows the model on standard output in single precision, and writes it to the coefficient file
/// "..\tmp_S_Par\Tarn.coe". Arguments as above; c_hat is not used.
/// An existing file is replaced. Throws IoError when the file cannot be opened, written or closed.
void write_coefficients(int order, const std::complex<double>* a, const std::complex<double>* c,
                        const std::complex<double>* c_hat, double d, double h, double fmin, double fmax,
                        int nf);

}  // namespace s_solver
