/// Residue identification: the second half of one fitting iteration.
#pragma once

#include <complex>

namespace s_solver {

/// With the poles held fixed, fits c, d and h of f(s) ~ d + s h + sum c_i / (s - a_i) in one linear
/// least-squares solve over all samples. Residues of a pair are exact conjugates; d and h are real.
/// order                  number of poles; below 0 counts as none
/// a               in     poles in rad/s, each conjugate pair in adjacent elements
/// new_a, c_hat           not used: the arguments are those of update_poles
/// c               out    residues
/// d, h            out    constant and proportional term, 0 when not fitted
/// nf, f, s        in     samples f at the points s (rad/s)
/// use_const, use_sterm   nonzero: d, or h, is fitted
/// use_svd_invert         solver: svd_solve, or morse_penrose_solve
/// verbose                writes the trace on standard output
/// Stops the program (plain stop) where classify_poles or the solver does. A sample point that equals a
/// pole is not detected: its infinities go into the solve.
void calculate_residues(int order, const std::complex<double>* a, const std::complex<double>* new_a,
                        std::complex<double>* c, const std::complex<double>* c_hat, double& d, double& h,
                        int nf, const std::complex<double>* f, const std::complex<double>* s, int use_const,
                        int use_sterm, bool use_svd_invert, bool verbose);

}  // namespace s_solver
