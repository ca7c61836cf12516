/// Pole relocation: the first half of one fitting iteration.
#pragma once

#include <complex>

namespace s_solver {

/// Fits sigma(s) f(s) ~ d + s h + sum c_i / (s - a_i) with sigma(s) = 1 + sum c_hat_i / (s - a_i) in one
/// linear least-squares solve, and takes the zeros of sigma as new poles, mirrored into the left
/// half-plane (Gustavsen, Semlyen, "Rational approximation of frequency domain responses by vector
/// fitting", IEEE Trans. Power Delivery 14(3), 1999).
/// order                  number of poles; below 0 counts as none
/// a               in     current poles in rad/s, each conjugate pair in adjacent elements
/// new_a           out    relocated poles, in the order in which deig delivers them
/// c, c_hat        out    residues of sigma f and of sigma
/// d, h            out    constant and proportional term of sigma f, 0 when not fitted
/// nf, f, s        in     samples f at the points s (rad/s)
/// use_const, use_sterm   nonzero: d, or h, is fitted
/// use_svd_invert         solver: svd_solve, or morse_penrose_solve
/// verbose                writes the trace on standard output
/// No output may share storage with an input. Stops the program (plain stop) where classify_poles, the
/// solver or deig does. An ill-conditioned system is not detected.
void update_poles(int order, const std::complex<double>* a, std::complex<double>* new_a,
                  std::complex<double>* c, std::complex<double>* c_hat, double& d, double& h, int nf,
                  const std::complex<double>* f, const std::complex<double>* s, int use_const, int use_sterm,
                  bool use_svd_invert, bool verbose);

}  // namespace s_solver
