/// What the two least-squares systems of an iteration share: their sizes, columns, solution and trace.
///
/// armat  2 nf x nc, column-major: real parts of the complex system in rows 1..nf, imaginary parts below
/// br     2 nf values: the samples f, stacked the same way
/// xr     nc values: the real solution; a conjugate pair's x, y stand for the residues x + jy and x - jy
#pragma once

#include <complex>
#include <string_view>

#include "numerics/matrix_view.hpp"
#include "s_solver/dmatrix/tall_system.hpp"

namespace s_solver {

/// The number of stacked rows of nf samples, 2 nf. Throws MemoryError beyond 32 bits.
int stacked_rows(int nf);

/// The number of columns: one per pole (order below 0 counts as none), one for the constant, one for the
/// proportional term, and, if `weighted`, one more per pole. Throws MemoryError beyond 32 bits.
int system_columns(int order, int use_const, int use_sterm, bool weighted);

/// Fills the columns that every model has: from column 0 on, one per pole, then 1 if use_const, then s if
/// use_sterm; returns their number. A real pole's column is 1/(s - a); a leader a and its
/// follower b, as they are stored, have 1/(s - a) + 1/(s - b) and j/(s - a) - j/(s - b).
/// order, a, pole_type   poles (rad/s) and their types
/// nf, s                 sample points (rad/s)
int fill_model_columns(int order, const std::complex<double>* a, const int* pole_type, int nf,
                       const std::complex<double>* s, int use_const, int use_sterm,
                       const numerics::MatrixView<double>& armat);

/// stacked(k) = Re values(k), stacked(nf + k) = Im values(k), for nf values.
void stack_parts(int nf, const std::complex<double>* values, double* stacked);

/// The system of one half of an iteration: the model's columns and, for the relocation, the weighted ones,
/// which are -f times the columns of the poles. A block of rows holds the stacked rows of consecutive
/// samples.
class SampleSystem final : public TallSystem {
 public:
  /// order, a, pole_type ... use_sterm   as for fill_model_columns; they and f must outlive the system
  /// weighted                            whether the weighted columns belong to it
  SampleSystem(int order, const std::complex<double>* a, const int* pole_type, int nf,
               const std::complex<double>* f, const std::complex<double>* s, int use_const, int use_sterm,
               bool weighted);

  int rows() const override { return rows_; }
  int columns() const override { return columns_; }
  void make_rows(int first, int count, const numerics::MatrixView<double>& armat, double* br) const override;

 private:
  int order_;
  const std::complex<double>* a_;
  const int* pole_type_;
  const std::complex<double>* f_;
  const std::complex<double>* s_;
  int use_const_;
  int use_sterm_;
  bool weighted_;
  int rows_;
  int columns_;
};

/// Solves the system with the chosen solver. With `verbose` it shows the system under its caption, names the
/// solver, and shows the solution. Only the trace and svd_solve need the matrix as a whole.
void solve_least_squares(std::string_view caption, bool use_svd_invert, const TallSystem& system, double* xr,
                         bool verbose);

/// x(i) for i = 1..order from the real unknowns of the pole columns: xr(i) for a real pole,
/// xr(i) + j xr(i + 1) for a leader, and the exact conjugate of that for its follower.
void recombine_pole_unknowns(int order, const int* pole_type, const double* xr, std::complex<double>* x);

/// Writes one record per row, however wide: the row's number (I6), then its elements (ES12.2).
void trace_rows(const numerics::MatrixView<double>& matrix);

/// Writes one record per element: its number, then its value.
template <class Value>
void trace_elements(int count, const Value* values);

/// Writes the residues, then the constant and the proportional term.
void trace_model(int order, const std::complex<double>* c, double d, double h);

extern template void trace_elements(int count, const double* values);
extern template void trace_elements(int count, const std::complex<double>* values);

}  // namespace s_solver
