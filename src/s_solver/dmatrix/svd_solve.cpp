#include "s_solver/dmatrix/svd_solve.hpp"

#include <algorithm>
#include <cstdint>

#include "numerics/matrix_view.hpp"
#include "s_solver/console/console.hpp"
#include "s_solver/console/plain_stop.hpp"
#include "s_solver/dmatrix/products.hpp"
#include "s_solver/dmatrix/svd.hpp"
#include "s_solver/memory/working_array.hpp"

namespace s_solver {

void dsvd(const double* a, int m, int n, int nmax, double* u, double* w, double* v) {
  WorkingMatrix a_local("a_local", m, n);
  WorkingArray<double> w_local("w_local", n);
  WorkingMatrix u_local("u_local", m, n);
  WorkingMatrix v_local("v_local", n, n);

  const std::int64_t ld = std::max(1, nmax);
  const numerics::MatrixView<const double> from(a, nmax, nmax, ld);
  for (int j = 0; j < n; ++j) {
    std::copy_n(from.column(j), m, a_local.view().column(j));
  }
  int ierr = 0;
  svd(m, n, a_local.data(), w_local.data(), true, u_local.data(), true, v_local.data(), ierr);

  const std::int64_t square = std::int64_t{nmax} * nmax;
  std::fill_n(w, nmax, 0.0);
  std::fill_n(u, square, 0.0);
  std::fill_n(v, square, 0.0);
  std::copy_n(w_local.data(), n, w);
  const numerics::MatrixView<double> u_out(u, nmax, nmax, ld);
  const numerics::MatrixView<double> v_out(v, nmax, nmax, ld);
  for (int j = 0; j < n; ++j) {
    std::copy_n(u_local.view().column(j), m, u_out.column(j));
    for (int i = 0; i < n; ++i) {
      v_out(i, j) = v_local.view()(j, i);
    }
  }
}

void dsvd_invert(const double* a, int m, int n, double* ainv, int nmax) {
  WorkingArray<double> w("w", nmax);
  WorkingArray<double> winv("winv", nmax);
  WorkingMatrix u("u", nmax, nmax);
  WorkingMatrix v("v", nmax, nmax);
  WorkingMatrix u_transposed("u_transposed", nmax, nmax);
  WorkingMatrix v_matrix("v_matrix", nmax, nmax);
  WorkingMatrix product("product", nmax, nmax);
  winv.fill(0.0);
  u_transposed.fill(0.0);
  v_matrix.fill(0.0);
  product.fill(0.0);

  dsvd(a, m, n, nmax, u.data(), w.data(), v.data());
  for (int i = 0; i < n; ++i) {
    winv[i] = w[i] == 0.0 ? 0.0 : 1.0 / w[i];
  }
  dtranspose(u.data(), m, n, u_transposed.data(), nmax);
  dtranspose(v.data(), n, n, v_matrix.data(), nmax);
  for (int j = 0; j < m; ++j) {
    for (int i = 0; i < n; ++i) {
      product.view()(i, j) = winv[i] * u_transposed.view()(i, j);
    }
  }
  dmatmul(v_matrix.data(), n, n, product.data(), n, m, ainv, nmax);
}

void svd_solve(const double* a, int nr, int nc, double* x, const double* b, bool verbose) {
  WorkingMatrix a_square("a_square", nr, nr);
  WorkingMatrix pinv("pinv", nr, nr);
  if (verbose) {
    print_record("CALLED svd_solve");
  }
  if (nr < nc) {
    print_record("Error in svd_solve, nr < nc");
    plain_stop();
  }

  a_square.fill(0.0);
  std::copy_n(a, std::int64_t{nr} * nc, a_square.data());
  dsvd_invert(a_square.data(), nr, nc, pinv.data(), nr);

  std::fill_n(x, nc, 0.0);
  for (int k = 0; k < nr; ++k) {
    const double* const column = pinv.view().column(k);
    for (int i = 0; i < nc; ++i) {
      x[i] += column[i] * b[k];
    }
  }
}

}  // namespace s_solver
