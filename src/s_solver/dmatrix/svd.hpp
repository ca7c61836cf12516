/// The singular value decomposition under the contract of the published EISPACK routine of that name.
#pragma once

namespace s_solver {

/// a = u diag(w) v^T.
/// m, n   in   rows and columns, m >= n
/// a      in   m x n, column-major, leading dimension m; destroyed
/// w      out  n singular values, all >= 0, largest first
/// matu   in   whether u is wanted
/// u      out  m x n, leading dimension m: left singular vectors; untouched when matu is false
/// matv   in   whether v is wanted
/// v      out  n x n, leading dimension n: right singular vectors, one a column; untouched when matv is false
/// ierr   out  0, or nonzero when the iteration did not converge and the results are not to be trusted
/// A matrix with a NaN or an infinity has no decomposition: every result is NaN and ierr nonzero.
/// Method: LAPACK's dgesvd (Anderson et al., LAPACK Users' Guide, 3rd ed., 1999), which works by
/// bidiagonalisation and implicit QR as the EISPACK routine does (Golub, Reinsch, "Singular value
/// decomposition and least squares solutions", Numer. Math. 14, 1970).
void svd(int m, int n, double* a, double* w, bool matu, double* u, bool matv, double* v, int& ierr);

}  // namespace s_solver
