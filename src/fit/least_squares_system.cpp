#include "fit/least_squares_system.hpp"

#include <algorithm>
#include <limits>
#include <string>

#include "dmatrix/memory_error.hpp"
#include "dmatrix/morse_penrose_solve.hpp"
#include "dmatrix/svd_solve.hpp"
#include "fit/complex_division.hpp"
#include "fit/pole_types.hpp"
#include "listio/console.hpp"
#include "listio/edit_format.hpp"

namespace s_solver {
namespace {

int checked_size(std::string_view array, std::int64_t size) {
  if (size > std::numeric_limits<int>::max()) {
    throw MemoryError(array, size, sizeof(double));
  }
  return static_cast<int>(size);
}

std::complex<double> reciprocal_difference(std::complex<double> s, std::complex<double> pole) {
  return smith_quotient(1.0, {s.real() - pole.real(), s.imag() - pole.imag()});
}

void fill_real_pole_column(std::complex<double> pole, int nf, const std::complex<double>* s, double* column) {
  for (int k = 0; k < nf; ++k) {
    const std::complex<double> u = reciprocal_difference(s[k], pole);
    column[k] = u.real();
    column[nf + k] = u.imag();
  }
}

void fill_pair_columns(std::complex<double> leader, std::complex<double> follower, int nf,
                       const std::complex<double>* s, double* leader_column, double* follower_column) {
  for (int k = 0; k < nf; ++k) {
    const std::complex<double> u = reciprocal_difference(s[k], leader);
    const std::complex<double> v = reciprocal_difference(s[k], follower);
    leader_column[k] = u.real() + v.real();
    leader_column[nf + k] = u.imag() + v.imag();
    follower_column[k] = v.imag() - u.imag();
    follower_column[nf + k] = u.real() - v.real();
  }
}

}  // namespace

int stacked_rows(int nf) { return checked_size("br", 2 * std::int64_t{nf}); }

int checked_columns(std::int64_t columns) { return checked_size("xr", columns); }

int fill_model_columns(int order, const std::complex<double>* a, const int* pole_type, int nf,
                       const std::complex<double>* s, int use_const, int use_sterm,
                       const MatrixView<double>& armat) {
  for (int i = 0; i < order; ++i) {
    if (pole_type[i] == real_pole) {
      fill_real_pole_column(a[i], nf, s, armat.column(i));
    } else if (pole_type[i] == pair_leader) {
      fill_pair_columns(a[i], a[i + 1], nf, s, armat.column(i), armat.column(i + 1));
    }
  }
  int columns = std::max(0, order);
  if (use_const != 0) {
    double* const column = armat.column(columns++);
    std::fill_n(column, nf, 1.0);
    std::fill_n(column + nf, nf, 0.0);
  }
  if (use_sterm != 0) {
    stack_parts(nf, s, armat.column(columns++));
  }
  return columns;
}

void stack_parts(int nf, const std::complex<double>* values, double* stacked) {
  for (int k = 0; k < nf; ++k) {
    stacked[k] = values[k].real();
    stacked[nf + k] = values[k].imag();
  }
}

void solve_least_squares(std::string_view caption, bool use_svd_invert, const MatrixView<double>& armat,
                         double* xr, const double* br, bool verbose) {
  const auto nr = static_cast<int>(armat.rows());
  const auto nc = static_cast<int>(armat.columns());
  if (verbose) {
    print_record(caption);
    trace_rows(armat);
    print_record(use_svd_invert ? "CALLING svd_solve" : "CALLING morse_penrose_solve");
  }
  const auto solve = use_svd_invert ? svd_solve : morse_penrose_solve;
  solve(armat.data(), nr, nc, xr, br, verbose);
  if (verbose) {
    print_record("Solution vector xr:");
    trace_elements(nc, xr);
  }
}

void recombine_pole_unknowns(int order, const int* pole_type, const double* xr, std::complex<double>* x) {
  for (int i = 0; i < order; ++i) {
    if (pole_type[i] == real_pole) {
      x[i] = xr[i];
    } else if (pole_type[i] == pair_leader) {
      x[i] = {xr[i], xr[i + 1]};
    } else {
      x[i] = {xr[i - 1], -xr[i]};
    }
  }
}

void trace_rows(const MatrixView<double>& matrix) {
  constexpr int number_width = 6;
  constexpr int element_width = 12;
  constexpr int element_digits = 2;
  std::string record;
  for (std::int64_t r = 0; r < matrix.rows(); ++r) {
    record.clear();
    append_integer_field(record, static_cast<int>(r) + 1, number_width);
    for (std::int64_t q = 0; q < matrix.columns(); ++q) {
      append_scientific_field(record, matrix(r, q), element_width, element_digits);
    }
    print_line(record);
  }
}

template <class Value>
void trace_elements(int count, const Value* values) {
  for (int i = 0; i < count; ++i) {
    print_record(i + 1, values[i]);
  }
}

void trace_model(int order, const std::complex<double>* c, double d, double h) {
  print_record("c vector");
  trace_elements(order, c);
  print_record("d=", d);
  print_record("h=", h);
}

template void trace_elements(int count, const double* values);
template void trace_elements(int count, const std::complex<double>* values);

}  // namespace s_solver
