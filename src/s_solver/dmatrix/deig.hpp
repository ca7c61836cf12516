/// Eigenvalues of a real general matrix.
#pragma once

#include <complex>

namespace s_solver {

/// All eigenvalues by the EISPACK driver rg without eigenvectors: balancing, reduction to Hessenberg form
/// by stabilised elementary similarity transformations, shifted QR (Smith et al., "Matrix Eigensystem
/// Routines: EISPACK Guide", 2nd ed., 1976).
/// a      in   column-major, leading dimension lda >= n; its leading n x n part is read and not changed
/// zeros  out  n eigenvalues in the order in which the QR iteration finds them: the two of a conjugate
///             pair adjacent and exactly conjugate, positive imaginary part first; real ones with
///             imaginary part 0
/// Prints "Error in deig" and stops the program (plain stop) when the iteration does not converge, and
/// also for a matrix of order above 1 with a NaN or an infinity, which the published balancing never
/// finishes. For the same reason elements below 2^-960 times the largest one, or rather its power of two,
/// count as 0.
void deig(const double* a, int n, std::complex<double>* zeros, int lda);

}  // namespace s_solver
