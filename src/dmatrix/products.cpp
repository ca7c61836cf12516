#include "dmatrix/products.hpp"

#include <algorithm>

#include "dmatrix/matrix_view.hpp"
#include "listio/console.hpp"
#include "listio/plain_stop.hpp"

namespace s_solver {
namespace {

template <class T>
MatrixView<T> declared_square(T* data, int nmax) {
  return {data, nmax, nmax, std::max(1, nmax)};
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

void dmatmul(const double* a, int nra, int nca, const double* b, int nrb, int ncb, double* c, int nmax) {
  if (nca != nrb) {
    print_record("matrix dimension error in dmatmul");
    plain_stop();
  }
  const auto left = declared_square(a, nmax);
  const auto right = declared_square(b, nmax);
  const auto product = declared_square(c, nmax);
  for (int i = 0; i < nra; ++i) {
    for (int j = 0; j < ncb; ++j) {
      double sum = 0.0;
      for (int k = 0; k < nca; ++k) {
        sum += left(i, k) * right(k, j);
      }
      product(i, j) = sum;
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
  for (int i = 0; i < nra; ++i) {
    for (int j = 0; j < nd; ++j) {
      product(i, j) = left(i, j) * d[j];
    }
  }
}

void dmatvmul(const double* a, int nra, int nca, const double* v, int nv, double* y, int nmax) {
  if (nca != nv) {
    print_record("matrix dimension error");
    plain_stop();
  }
  const auto left = declared_square(a, nmax);
  for (int i = 0; i < nra; ++i) {
    double sum = 0.0;
    for (int k = 0; k < nv; ++k) {
      sum += left(i, k) * v[k];
    }
    y[i] = sum;
  }
}

}  // namespace s_solver
