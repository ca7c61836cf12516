#include "dmatrix/morse_penrose_solve.hpp"

#include <cblas.h>

#include <algorithm>
#include <cstdint>

#include "dmatrix/blas_memory.hpp"
#include "dmatrix/dinvert_gauss_jordan.hpp"
#include "dmatrix/working_array.hpp"
#include "listio/console.hpp"
#include "listio/plain_stop.hpp"

namespace s_solver {
namespace {

/// Rows of A per block of the left inverse: a block of 40 columns then fits the second-level cache.
constexpr int rows_per_block = 1024;

/// A^T A, nc x nc.
void form_normal_matrix(const double* a, int nr, int nc, double* normal) {
  cblas_dgemm(CblasColMajor, CblasTrans, CblasNoTrans, nc, nc, nr, 1.0, a, nr, a, nr, 0.0, normal, nc);
}

/// x = P b with the left inverse P = (A^T A)^-1 A^T, which is formed and used up in blocks of rows of A.
void apply_left_inverse(const double* inverse, const double* a, int nr, int nc, double* x, const double* b) {
  WorkingMatrix left_inverse("left_inverse", nc, std::min(nr, rows_per_block));
  std::fill_n(x, nc, 0.0);
  for (std::int64_t first = 0; first < nr; first += rows_per_block) {
    const int rows = static_cast<int>(std::min<std::int64_t>(rows_per_block, nr - first));
    cblas_dgemm(CblasColMajor, CblasNoTrans, CblasTrans, nc, rows, nc, 1.0, inverse, nc, a + first, nr, 0.0,
                left_inverse.data(), nc);
    cblas_dgemv(CblasColMajor, CblasNoTrans, nc, rows, 1.0, left_inverse.data(), nc, b + first, 1, 1.0, x, 1);
  }
}

}  // namespace

void morse_penrose_solve(const double* a, int nr, int nc, double* x, const double* b, bool verbose) {
  WorkingMatrix normal("normal", nc, nc);
  WorkingMatrix inverse("inverse", nc, nc);
  if (verbose) {
    print_record("CALLED morse_penrose_solve");
  }
  if (nr < nc) {
    print_record("Error in morse_penrose_solve, nr < nc");
    plain_stop();
  }
  if (nc == 0) {
    return;
  }
  ensure_blas_memory();
  form_normal_matrix(a, nr, nc, normal.data());
  dinvert_gauss_jordan(normal.data(), nc, inverse.data(), nc);
  apply_left_inverse(inverse.data(), a, nr, nc, x, b);
}

}  // namespace s_solver
