/// The model at the samples, and its distance from the data.
#pragma once

#include <complex>

namespace s_solver {

/// f_fit(k) = h s(k) + d + sum c_i / (s(k) - a_i), the sum in increasing i, quotients by Smith's method.
/// order, a, c   poles (rad/s) and residues; order below 0 counts as none
/// d, h          constant and proportional term
/// nf, s         sample points (rad/s)
/// f_fit   out   nf values, no overlap with s
/// A pole on a sample point makes that value NaN; the routine never fails.
void calculate_fit_function(int order, const std::complex<double>* a, const std::complex<double>* c, double d,
                            double h, int nf, std::complex<double>* f_fit, const std::complex<double>* s);

/// Root-mean-square modulus of the difference, sqrt(sum |(f - f_fit)^2| / nf); s is not used.
/// NaN for nf = 0. A difference above about 1e154 overflows to infinity.
void calculate_error(int nf, const std::complex<double>* f, const std::complex<double>* f_fit,
                     const std::complex<double>* s, double& error);

}  // namespace s_solver
