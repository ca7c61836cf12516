#include "s_solver/dmatrix/products.hpp"

#include <algorithm>

#include "numerics/matrix_view.hpp"
#include "numerics/vector_form.hpp"
#include "s_solver/console/console.hpp"
#include "s_solver/console/plain_stop.hpp"

namespace s_solver {
namespace {

template <class T>
numerics::MatrixView<T> declared_square(T* data, int nmax) {
  return {data, nmax, nmax, std::max(1, nmax)};
}

/// to += factor from.
[[gnu::always_inline]] inline void add_multiple(int count, double factor, const double* __restrict from,
                                                double* __restrict to) {
  for (int i = 0; i < count; ++i) {
    to[i] += factor * from[i];
  }
}

}  // namespace

void dtranspose(const double* a, int nr, int nc, double* at, int nmax) {
  const auto from = declared_square(a, nmax);
  const auto to = declared_square(at, nmax);
  for (int j = 0; j < nc; ++j) {
    for (int i = 0; i < nr; ++i) {
      to(j, i) = from(i, j);
    }
  }
}

void dmatmul(const double* a, int nra, int nca, const double* b, int nrb, int ncb, double* c, int nmax,
             numerics::VectorUnit unit) {
  if (nca != nrb) {
    print_record("matrix dimension error in dmatmul");
    plain_stop();
  }
  const auto left = declared_square(a, nmax);
  const auto right = declared_square(b, nmax);
  const auto product = declared_square(c, nmax);
  // Along the columns, which is along the memory; each element is still summed in the order of k.
  for (int j = 0; j < ncb; ++j) {
    std::fill_n(product.column(j), nra, 0.0);
    for (int k = 0; k < nca; ++k) {
      numerics::run_with<add_multiple>(unit, nra, right(k, j), left.column(k), product.column(j));
    }
  }
}

void dmatdmul(const double* a, int nra, int nca, const double* d, int nd, double* c, int nmax) {
  if (nca != nd) {
    print_record("matrix dimension error in dmatdmul");
    plain_stop();
  }
  const auto left = declared_square(a, nmax);
  const auto product = declared_square(c, nmax);
  for (int j = 0; j < nd; ++j) {
    for (int i = 0; i < nra; ++i) {
      product(i, j) = left(i, j) * d[j];
    }
  }
}

void dmatvmul(const double* a, int nra, int nca, const double* v, int nv, double* y, int nmax,
              numerics::VectorUnit unit) {
  if (nca != nv) {
    print_record("matrix dimension error");
    plain_stop();
  }
  const auto left = declared_square(a, nmax);
  std::fill_n(y, nra, 0.0);
  for (int k = 0; k < nv; ++k) {
    numerics::run_with<add_multiple>(unit, nra, v[k], left.column(k), y);
  }
}

}  // namespace s_solver
