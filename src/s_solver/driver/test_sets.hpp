/// Built-in test sets: exact samples of known rational functions, which a fit must recover.
#pragma once

#include <complex>

namespace s_solver {

/// Each fills nf sample points s = j 2 pi frequency (rad/s) and values f of its function, on a grid from
/// the set's fmin to its fmax (hertz, out), linear or (sample_spacing not 0) logarithmic. nf must be at
/// least 2. Poles and residues of sets 1, 3 and 4 are in rad/s although the bands are in hertz.
void set_test_set_1(int nf, double& fmin, double& fmax, std::complex<double>* s, std::complex<double>* f,
                    int sample_spacing);
void set_test_set_2(int nf, double& fmin, double& fmax, std::complex<double>* s, std::complex<double>* f,
                    int sample_spacing);
void set_test_set_3(int nf, double& fmin, double& fmax, std::complex<double>* s, std::complex<double>* f,
                    int sample_spacing);
void set_test_set_4(int nf, double& fmin, double& fmax, std::complex<double>* s, std::complex<double>* f,
                    int sample_spacing);

}  // namespace s_solver
