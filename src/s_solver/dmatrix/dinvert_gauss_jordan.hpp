/// The inverse of a square matrix by Gauss-Jordan elimination.
#pragma once

namespace s_solver {

/// Inverse by Gauss-Jordan elimination with row pivoting (Stoer, Bulirsch, "Introduction to Numerical
/// Analysis", 3rd ed., 2002, section 4.2); of candidates of equal magnitude the first row is the pivot.
/// a      in   leading dimension nmax; its leading n x n part is inverted and not changed
/// ainv   out  leading dimension nmax; leading n x n part, the rest untouched; no overlap with a
/// Prints "Singular matrix found in dinvert_Gauss_Jordan" and "Reduction col=" with the column's number,
/// and stops the program (plain stop), when a column holds no candidate that differs from 0 and is a
/// number. There is no tolerance: a tiny pivot is used as it is, and no residual is checked.
void dinvert_gauss_jordan(const double* a, int n, double* ainv, int nmax);

}  // namespace s_solver
