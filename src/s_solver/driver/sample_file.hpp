/// The sample file: frequency in hertz, real part, imaginary part of each sample, in free format.
#pragma once

#include <complex>
#include <string_view>

namespace s_solver {

inline constexpr int count_only = 1;
inline constexpr int count_and_store = 2;

/// Reads the sample file from start to end, once to count and once more to store.
/// read_mode    count_only or count_and_store
/// nf     out   number of samples; in count_and_store also in: the room in s and f
/// fmin, fmax   out   smallest and largest frequency in hertz, starting from 1.0e30 and 0.0, which they
///              keep in count_only; a NaN frequency does not take part
/// s, f   out   nf sample points j 2 pi frequency and values, in file order; not touched in count_only
/// An incomplete sample at the end of the file is left out. Prints "Error opening file:" and the name and
/// stops the program (plain stop) when the file cannot be opened. Throws IoError for anything that
/// FreeFormatReader does not take for real numbers, and when the file holds more samples than there is room
/// for.
void read_data_from_file(std::string_view file_name, int read_mode, int& nf, double& fmin, double& fmax,
                         std::complex<double>* s, std::complex<double>* f);

}  // namespace s_solver
