/// Dense products and the transpose, with the checks of the matrix module's interface.
///
/// a, b, c, at   matrices declared nmax x nmax, column-major; the size arguments name the leading part
///               that is read or written, elements outside it are left alone
/// d, v, y       vectors
/// unit          the vector instructions to use; the bits do not depend on them
/// A result must not share storage with an operand.
#pragma once

#include "numerics/vector_unit.hpp"

namespace s_solver {

/// at(j, i) = a(i, j) for the leading nr x nc part of a. No check is made.
void dtranspose(const double* a, int nr, int nc, double* at, int nmax);

/// c = a b: a is nra x nca, b is nrb x ncb, c is nra x ncb; each sum in increasing order of its index.
/// Prints "matrix dimension error in dmatmul" and stops the program (plain stop) when nca != nrb.
void dmatmul(const double* a, int nra, int nca, const double* b, int nrb, int ncb, double* c, int nmax,
             numerics::VectorUnit unit = numerics::widest_vector_unit());

/// c = a diag(d): column j of a times d(j), for nra rows and nd columns.
/// Prints "matrix dimension error in dmatdmul" and stops the program (plain stop) when nca != nd.
void dmatdmul(const double* a, int nra, int nca, const double* d, int nd, double* c, int nmax);

/// y = a v: nra values, each sum in increasing order of its index.
/// Prints "matrix dimension error" and stops the program (plain stop) when nca != nv.
void dmatvmul(const double* a, int nra, int nca, const double* v, int nv, double* y, int nmax,
              numerics::VectorUnit unit = numerics::widest_vector_unit());

}  // namespace s_solver
