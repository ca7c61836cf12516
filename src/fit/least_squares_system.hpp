/// What the two least-squares systems of an iteration share: their sizes, columns, solution and trace.
///
/// armat  2 nf x nc, column-major: real parts of the complex system in rows 1..nf, imaginary parts below
/// br     2 nf values: the samples f, stacked the same way
/// xr     nc values: the real solution; a conjugate pair's x, y stand for the residues x + jy and x - jy
#pragma once

#include <complex>
#include <cstdint>
#include <string_view>

#include "dmatrix/matrix_view.hpp"

namespace s_solver {

/// The number of stacked rows of nf samples, 2 nf. Throws MemoryError beyond 32 bits.
int stacked_rows(int nf);

/// `columns` as a size of 32 bits. Throws MemoryError beyond.
int checked_columns(std::int64_t columns);

/// Fills the columns that every model has: from column 0 on, one per pole, then 1 if use_const, then s if
/// use_sterm; returns their number. A real pole's column is 1/(s - a); a leader a and its
/// follower b, as they are stored, have 1/(s - a) + 1/(s - b) and j/(s - a) - j/(s - b).
/// order, a, pole_type   poles (rad/s) and their types
/// nf, s                 sample points (rad/s)
int fill_model_columns(int order, const std::complex<double>* a, const int* pole_type, int nf,
                       const std::complex<double>* s, int use_const, int use_sterm,
                       const MatrixView<double>& armat);

/// stacked(k) = Re values(k), stacked(nf + k) = Im values(k), for nf values.
void stack_parts(int nf, const std::complex<double>* values, double* stacked);

/// Solves armat xr ~ br with the chosen solver. With `verbose` it shows the system under its caption, names
/// the solver, and shows the solution.
void solve_least_squares(std::string_view caption, bool use_svd_invert, const MatrixView<double>& armat,
                         double* xr, const double* br, bool verbose);

/// x(i) for i = 1..order from the real unknowns of the pole columns: xr(i) for a real pole,
/// xr(i) + j xr(i + 1) for a leader, and the exact conjugate of that for its follower.
void recombine_pole_unknowns(int order, const int* pole_type, const double* xr, std::complex<double>* x);

/// Writes one record per row, however wide: the row's number (I6), then its elements (ES12.2).
void trace_rows(const MatrixView<double>& matrix);

/// Writes one record per element: its number, then its value.
template <class Value>
void trace_elements(int count, const Value* values);

/// Writes the residues, then the constant and the proportional term.
void trace_model(int order, const std::complex<double>* c, double d, double h);

extern template void trace_elements(int count, const double* values);
extern template void trace_elements(int count, const std::complex<double>* values);

}  // namespace s_solver
