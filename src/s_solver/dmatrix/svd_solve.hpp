/// Least squares through the singular value decomposition: decomposition, pseudo-inverse, solution.
#pragma once

namespace s_solver {

/// a = u diag(w) v. Note that v is the transpose of the right singular vectors.
/// a      in   leading dimension nmax; its leading m x n part, m >= n, is decomposed and not changed
/// u      out  nmax x nmax: left singular vectors in the leading m x n part, zero elsewhere
/// w      out  nmax values: the n singular values as the decomposition delivers them, then zeros
/// v      out  nmax x nmax: leading n x n part, zero elsewhere
/// A decomposition that did not converge is handed on as it stands.
void dsvd(const double* a, int m, int n, int nmax, double* u, double* w, double* v);

/// Pseudo-inverse V diag(1/w) U^T of the leading m x n part of a, m >= n, into the leading n x m part of
/// ainv; both have leading dimension nmax >= m. Only singular values of exactly 0 are left out: a tiny
/// one is inverted as it is, and may dominate the result. Needs five matrices of nmax x nmax.
void dsvd_invert(const double* a, int m, int n, double* ainv, int nmax);

/// Least-squares solution of an overdetermined real system, x = pinv(a) b.
/// a   in   nr x nc, column-major, leading dimension nr; not changed
/// x   out  nc values
/// b   in   nr values, no overlap with x
/// Prints "Error in svd_solve, nr < nc" and stops the program (plain stop) when nr < nc. With `verbose`
/// it announces itself first. Works on square matrices of nr x nr: memory grows with nr squared.
void svd_solve(const double* a, int nr, int nc, double* x, const double* b, bool verbose);

}  // namespace s_solver
