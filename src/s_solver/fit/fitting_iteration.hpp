/// The fitting iteration: relocation and residues in turn until the fit is good enough, then the results.
#pragma once

#include <complex>

namespace s_solver {

/// The iteration stops when the root-mean-square error is below this value, in the unit of the data.
inline constexpr double min_error = 1.0e-6;

/// Runs up to max_iterations iterations and reports the error of each on standard output; then writes
/// the coefficient file and the plot file with what the last one left. Missed convergence is no error.
/// order                     number of poles; below 0 counts as none
/// a                 in/out  starting poles; the poles of the model
/// new_a, c_hat      out     relocated poles, residues of sigma (see update_poles)
/// c, d, h           in/out  the model; written as they come in when no iteration runs
/// nf, f, s          in      samples f at the points s (rad/s)
/// f_fit             in/out  the model at s, likewise
/// fmin, fmax        in      band edges in hertz, for the coefficient file
/// use_const ... verbose     see update_poles
/// Stops the program (plain stop) where a routine it calls does; no result file is touched then.
void fitting_iteration(int order, int max_iterations, std::complex<double>* a, std::complex<double>* new_a,
                       std::complex<double>* c, std::complex<double>* c_hat, double& d, double& h, int nf,
                       const std::complex<double>* f, const std::complex<double>* s,
                       std::complex<double>* f_fit, double fmin, double fmax, int use_const, int use_sterm,
                       bool use_svd_invert, bool verbose);

}  // namespace s_solver
