#include "s_solver/dmatrix/svd.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>

#include "numerics/matrix_view.hpp"
#include "s_solver/memory/blas_memory.hpp"
#include "s_solver/memory/memory_error.hpp"
#include "s_solver/memory/working_array.hpp"

// The two trailing lengths belong to the character arguments.
extern "C" void dgesvd_(const char* jobu, const char* jobvt, const int* m, const int* n, double* a,
                        const int* lda, double* s, double* u, const int* ldu, double* vt, const int* ldvt,
                        double* work, const int* lwork, int* info, std::size_t jobu_length,
                        std::size_t jobvt_length);

namespace s_solver {
namespace {

void transpose_in_place(numerics::MatrixView<double> square) {
  for (std::int64_t j = 0; j < square.columns(); ++j) {
    for (std::int64_t i = 0; i < j; ++i) {
      std::swap(square(i, j), square(j, i));
    }
  }
}

}  // namespace

void svd(int m, int n, double* a, double* w, bool matu, double* u, bool matv, double* v, int& ierr) {
  ierr = 0;
  if (n == 0) {
    return;
  }
  const std::int64_t elements = std::int64_t{m} * n;
  if (!std::all_of(a, a + elements, [](double x) { return std::isfinite(x); })) {
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    std::fill(w, w + n, nan);
    std::fill(u, u + (matu ? elements : 0), nan);
    std::fill(v, v + (matv ? std::int64_t{n} * n : 0), nan);
    ierr = 1;
    return;
  }

  const char* const jobu = matu ? "S" : "N";
  const char* const jobvt = matv ? "S" : "N";
  double best_size = 0.0;
  int lwork = -1;  // asks for the best size of the work array
  dgesvd_(jobu, jobvt, &m, &n, a, &m, w, u, &m, v, &n, &best_size, &lwork, &ierr, 1, 1);
  if (!(best_size >= 1.0 && best_size <= std::numeric_limits<int>::max())) {
    throw MemoryError("work", static_cast<std::int64_t>(m) * n, sizeof(double));
  }
  lwork = static_cast<int>(best_size);
  WorkingArray<double> work("work", lwork);
  ensure_blas_memory();
  dgesvd_(jobu, jobvt, &m, &n, a, &m, w, u, &m, v, &n, work.data(), &lwork, &ierr, 1, 1);
  if (matv) {
    transpose_in_place({v, n, n, n});  // dgesvd delivers the transpose
  }
}

}  // namespace s_solver
