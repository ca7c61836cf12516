/// The fitted model: its echo on the console and the coefficient file.
#pragma once

#include <complex>

namespace s_solver {

/// Shows the model on standard output in single precision, and writes it to the coefficient file
/// "..\tmp_S_Par\Tarn.coe". The axis is that of
/// coefficient_records with wnorm = 2 pi fmax.
/// order       poles a and residues c, in rad/s; below 0 counts as none and is written as it stands
/// c_hat       not used
/// fmin, fmax  band edges in hertz; fmax = 0 gives infinities and NaNs, not an error
/// nf          number of samples
/// An existing file is replaced. Throws IoError when the file cannot be opened, written or closed.
void write_coefficients(int order, const std::complex<double>* a, const std::complex<double>* c,
                        const std::complex<double>* c_hat, double d, double h, double fmin, double fmax,
                        int nf);

}  // namespace s_solver
