#include "dmatrix/deig.hpp"

#include <v3p_netlib.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "dmatrix/matrix_view.hpp"
#include "dmatrix/working_array.hpp"
#include "listio/console.hpp"
#include "listio/plain_stop.hpp"

namespace s_solver {
namespace {

using EispackInteger = v3p_netlib_integer;

/// Balancing compares sums of rows and columns, and scales by what they differ, in loops that need not end
/// once a sum or a scale factor is infinite or has lost its digits to underflow. Within these bounds
/// products and quotients of two elements are far from either.
constexpr double largest_element = 0x1p500;
constexpr double smallest_element = 0x1p-500;

double without_underflow(double element) { return std::abs(element) < smallest_element ? 0.0 : element; }

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

  const MatrixView<const double> from(a, n, n, lda);
  if (n == 1) {
    zeros[0] = from(0, 0);
    return;
  }
  for (int j = 0; j < n; ++j) {
    std::transform(from.column(j), from.column(j) + n, a_local.view().column(j), without_underflow);
  }
  const double* const elements = a_local.data();
  // The comparison is false for a NaN, too.
  if (!std::all_of(elements, elements + std::int64_t{n} * n,
                   [](double x) { return std::abs(x) <= largest_element; })) {
    stop_without_eigenvalues();
  }

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
    zeros[i] = {wr_local[i], wi_local[i]};
  }
}

}  // namespace s_solver
