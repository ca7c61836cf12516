/// The plot file: data and fitted response side by side.
#pragma once

#include <complex>

namespace s_solver {

/// Writes "..\tmp_S_Par\f_data.out": two header records, then for each of nf samples one record of seven
/// columns of 16 characters: frequency in hertz (from s = j 2 pi frequency), real part, imaginary part
/// and modulus of the data f, and the same of the model f_fit.
/// An existing file is replaced. Throws IoError when the file cannot be opened, written or closed.
void write_data_to_plot(int nf, const std::complex<double>* f, const std::complex<double>* f_fit,
                        const std::complex<double>* s);

}  // namespace s_solver
