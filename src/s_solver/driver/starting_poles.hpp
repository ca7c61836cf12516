/// Starting poles: spread over the band of the samples, and their table.
#pragma once

#include <complex>

namespace s_solver {

/// Places `order` starting poles (rad/s; below 0 counts as none) between the frequencies fmin and fmax
/// (hertz) into a. Complex ones (use_cmplx) are pairs of relative damping 1/100, the
/// positive imaginary part first, a single pair in the middle of the band, and for an odd order one real
/// pole at three quarters of 2 pi fmin behind them. Real ones lie at -2 pi F, a single one at fmin.
/// Spaced linearly or (use_logf) logarithmically; a logarithm of a frequency of 0 or less makes the poles
/// infinite or NaN, which is not checked.
void place_starting_poles(int order, double fmin, double fmax, int use_logf, int use_cmplx,
                          std::complex<double>* a);

/// Prints the table of the starting poles in single precision, in rad/s and in hertz.
void print_starting_poles(int order, const std::complex<double>* a);

}  // namespace s_solver
