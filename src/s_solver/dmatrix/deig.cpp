#include "s_solver/dmatrix/deig.hpp"

#include <v3p_netlib.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "numerics/matrix_view.hpp"
#include "s_solver/console/console.hpp"
#include "s_solver/console/plain_stop.hpp"
#include "s_solver/memory/working_array.hpp"

namespace s_solver {
namespace {

using EispackInteger = v3p_netlib_integer;

/// Balancing compares sums of rows and columns, and scales by what they differ, in loops that need not end
/// once a sum or a factor is infinite or has lost its digits to underflow. With a largest element near 1 and
/// none of the others below this bound, 4 million random matrices over the whole range of doubles kept clear
/// of that.
constexpr double smallest_element = 0x1p-960;

/// Copies `from` times the power of two that brings its largest element near 1, which changes no digit, and
/// returns the exponent of that power. What is then below the bound becomes 0.
int copy_scaled(const numerics::MatrixView<const double>& from, const numerics::MatrixView<double>& to) {
  const std::int64_t n = from.columns();
  double largest = 0.0;
  for (std::int64_t j = 0; j < n; ++j) {
    for (std::int64_t i = 0; i < n; ++i) {
      largest = std::max(largest, std::abs(from(i, j)));
    }
  }
  const int shift = largest == 0.0 ? 0 : -std::ilogb(largest);
  for (std::int64_t j = 0; j < n; ++j) {
    for (std::int64_t i = 0; i < n; ++i) {
      const double scaled = std::ldexp(from(i, j), shift);
      to(i, j) = std::abs(scaled) < smallest_element ? 0.0 : scaled;
    }
  }
  return shift;
}

bool all_finite(const numerics::MatrixView<const double>& matrix) {
  for (std::int64_t j = 0; j < matrix.columns(); ++j) {
    if (!std::all_of(matrix.column(j), matrix.column(j) + matrix.rows(),
                     [](double element) { return std::isfinite(element); })) {
      return false;
    }
  }
  return true;
}

[[noreturn]] void stop_without_eigenvalues() {
  print_record("Error in deig");
  plain_stop();
}

}  // namespace

void deig(const double* a, int n, std::complex<double>* zeros, int lda) {
  if (n <= 0) {
    return;
  }
  WorkingMatrix a_local("a_local", n, n);
  WorkingArray<double> wr_local("wr_local", n);
  WorkingArray<double> wi_local("wi_local", n);
  WorkingMatrix z_local("z_local", n, n);

  const numerics::MatrixView<const double> from(a, n, n, lda);
  if (n == 1) {
    zeros[0] = from(0, 0);
    return;
  }
  if (!all_finite(from)) {
    stop_without_eigenvalues();
  }
  const int shift = copy_scaled(from, a_local.view());

  const EispackInteger order = n;
  const EispackInteger no_vectors = 0;
  EispackInteger ierr = 0;
  // The scratch arrays of rg: one of integers, one of reals.
  WorkingArray<EispackInteger> iv1("iv1", n);
  WorkingArray<double> fv1("fv1", n);
  v3p_netlib_rg_(&order, &order, a_local.data(), wr_local.data(), wi_local.data(), &no_vectors,
                 z_local.data(), iv1.data(), fv1.data(), &ierr);
  if (ierr != 0) {
    stop_without_eigenvalues();
  }
  for (int i = 0; i < n; ++i) {
    zeros[i] = {std::ldexp(wr_local[i], -shift), std::ldexp(wi_local[i], -shift)};
  }
}

}  // namespace s_solver
