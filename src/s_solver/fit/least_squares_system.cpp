#include "s_solver/fit/least_squares_system.hpp"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>

#include "numerics/partial_fractions.hpp"
#include "s_solver/console/console.hpp"
#include "s_solver/dmatrix/morse_penrose_solve.hpp"
#include "s_solver/dmatrix/svd_solve.hpp"
#include "s_solver/fit/pole_types.hpp"
#include "s_solver/memory/memory_error.hpp"
#include "s_solver/memory/working_array.hpp"
#include "text/edit_format.hpp"

namespace s_solver {
namespace {

int checked_size(std::string_view array, std::int64_t size) {
  if (size > std::numeric_limits<int>::max()) {
    throw MemoryError(array, size, sizeof(double));
  }
  return static_cast<int>(size);
}

/// A system with all its rows, in the order in which they are shown.
struct WholeSystem {
  explicit WholeSystem(const TallSystem& system)
      : armat("armat", system.rows(), system.columns()), br("br", system.rows()) {
    system.make_rows(0, system.rows(), armat.view(), br.data());
  }
  WorkingMatrix armat;
  WorkingArray<double> br;
};

}  // namespace

int stacked_rows(int nf) { return checked_size("br", 2 * std::int64_t{nf}); }

int system_columns(int order, int use_const, int use_sterm, bool weighted) {
  const std::int64_t poles = std::max(0, order);
  return checked_size("xr", (weighted ? 2 : 1) * poles + (use_const != 0 ? 1 : 0) + (use_sterm != 0 ? 1 : 0));
}

int fill_model_columns(int order, const std::complex<double>* a, const int* pole_type, int nf,
                       const std::complex<double>* s, int use_const, int use_sterm,
                       const numerics::MatrixView<double>& armat) {
  numerics::SampleParts points;
  for (int first = 0; first < nf; first += numerics::SampleParts::most) {
    const int count = std::min(numerics::SampleParts::most, nf - first);
    points.take(count, s + first);
    for (int i = 0; i < order; ++i) {
      double* const column = armat.column(i) + first;
      if (pole_type[i] == real_pole) {
        numerics::fill_real_pole_column(a[i], count, points.re.data(), points.im.data(), column, column + nf);
      } else if (pole_type[i] == pair_leader) {
        double* const next = armat.column(i + 1) + first;
        numerics::fill_pair_columns(a[i], a[i + 1], count, points.re.data(), points.im.data(), column,
                                    column + nf, next, next + nf);
      }
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

SampleSystem::SampleSystem(int order, const std::complex<double>* a, const int* pole_type, int nf,
                           const std::complex<double>* f, const std::complex<double>* s, int use_const,
                           int use_sterm, bool weighted)
    : order_(order),
      a_(a),
      pole_type_(pole_type),
      f_(f),
      s_(s),
      use_const_(use_const),
      use_sterm_(use_sterm),
      weighted_(weighted),
      rows_(stacked_rows(nf)),
      columns_(system_columns(order, use_const, use_sterm, weighted)) {}

void SampleSystem::make_rows(int first, int count, const numerics::MatrixView<double>& armat,
                             double* br) const {
  const int samples = count / 2;
  stack_parts(samples, f_ + first / 2, br);
  const int model_columns =
      fill_model_columns(order_, a_, pole_type_, samples, s_ + first / 2, use_const_, use_sterm_, armat);
  for (int i = 0; weighted_ && i < order_; ++i) {
    const double* const phi = armat.column(i);
    double* const column = armat.column(model_columns + i);
    numerics::fill_weighted_column(samples, br, br + samples, phi, phi + samples, column, column + samples);
  }
}

void solve_least_squares(std::string_view caption, bool use_svd_invert, const TallSystem& system, double* xr,
                         bool verbose) {
  if (verbose) {
    WholeSystem whole(system);
    print_record(caption);
    trace_rows(whole.armat.view());
    print_record(use_svd_invert ? "CALLING svd_solve" : "CALLING morse_penrose_solve");
  }
  if (use_svd_invert) {
    const WholeSystem whole(system);
    svd_solve(whole.armat.data(), system.rows(), system.columns(), xr, whole.br.data(), verbose);
  } else {
    morse_penrose_solve(system, xr, verbose);
  }
  if (verbose) {
    print_record("Solution vector xr:");
    trace_elements(system.columns(), xr);
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

void trace_rows(const numerics::MatrixView<double>& matrix) {
  constexpr int number_width = 6;
  constexpr int element_width = 12;
  constexpr int element_digits = 2;
  std::string record;
  for (std::int64_t r = 0; r < matrix.rows(); ++r) {
    record.clear();
    text::append_integer_field(record, static_cast<int>(r) + 1, number_width);
    for (std::int64_t q = 0; q < matrix.columns(); ++q) {
      text::append_scientific_field(record, matrix(r, q), element_width, element_digits);
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
