/// Least squares through the normal equations.
#pragma once

#include "s_solver/dmatrix/tall_system.hpp"

namespace s_solver {

/// Least-squares solution of an overdetermined real system through the normal equations,
///   x = (A^T A)^-1 A^T b,
/// with the left inverse (A^T A)^-1 A^T formed before it is applied to b.
/// a   in   nr x nc, column-major, leading dimension nr; not changed
/// x   out  nc values
/// b   in   nr values, no overlap with x
/// Prints "Error in morse_penrose_solve, nr < nc" and stops the program (plain stop) when nr < nc, and
/// stops it likewise when A^T A has a pivot column without a number but 0 (dinvert_gauss_jordan). With
/// `verbose` it announces itself first. Squares the condition number: a column basis with cond(A) > 1e8 loses
/// all digits.
void morse_penrose_solve(const double* a, int nr, int nc, double* x, const double* b, bool verbose);

/// The same for a system that is not stored. Its rows are made twice, a few hundred at a time, so that memory
/// grows with the square of the number of columns only.
void morse_penrose_solve(const TallSystem& system, double* x, bool verbose);

}  // namespace s_solver
