#include "s_solver/dmatrix/dinvert_gauss_jordan.hpp"

#include <algorithm>
#include <cmath>

#include "numerics/matrix_view.hpp"
#include "s_solver/console/console.hpp"
#include "s_solver/console/plain_stop.hpp"
#include "s_solver/memory/working_array.hpp"

namespace s_solver {
namespace {

constexpr int no_pivot = -1;

/// The row, from k on, whose element in column k is largest in magnitude.
int find_pivot_row(const numerics::MatrixView<double>& matrix, int n, int k) {
  double best = 0.0;
  int pivot = no_pivot;
  for (int i = k; i < n; ++i) {
    if (std::abs(matrix(i, k)) > best) {
      best = std::abs(matrix(i, k));
      pivot = i;
    }
  }
  return pivot;
}

void swap_rows(const numerics::MatrixView<double>& matrix, int n, int first, int second) {
  for (int j = 0; j < n; ++j) {
    std::swap(matrix(first, j), matrix(second, j));
  }
}

void normalise_row(const numerics::MatrixView<double>& matrix, int n, int k) {
  const double pivot = matrix(k, k);
  for (int j = 0; j < n; ++j) {
    matrix(k, j) = j == k ? 1.0 / pivot : matrix(k, j) / pivot;
  }
}

/// Subtracts multiples of row k from every other row. `factors` is room for n values.
void eliminate_column(const numerics::MatrixView<double>& matrix, int n, int k, double* factors) {
  std::copy_n(matrix.column(k), n, factors);
  for (int j = 0; j < n; ++j) {
    double* const column = matrix.column(j);
    const double in_pivot_row = column[k];
    // Row k is overwritten with the others, so that the loop has no branch, and then restored.
    if (j == k) {
      for (int i = 0; i < n; ++i) {
        column[i] = -in_pivot_row * factors[i];
      }
    } else {
      for (int i = 0; i < n; ++i) {
        column[i] -= in_pivot_row * factors[i];
      }
    }
    column[k] = in_pivot_row;
  }
}

}  // namespace

void dinvert_gauss_jordan(const double* a, int n, double* ainv, int nmax) {
  const int ld = std::max(1, nmax);
  const numerics::MatrixView<const double> from(a, n, n, ld);
  const numerics::MatrixView<double> inverse(ainv, n, n, ld);
  WorkingArray<int> pivot_row("pivot_row", nmax);
  WorkingArray<double> factors("factors", n);
  pivot_row.fill(no_pivot);
  for (int j = 0; j < n; ++j) {
    std::copy_n(from.column(j), n, inverse.column(j));
  }

  for (int k = 0; k < n; ++k) {
    const int pivot = find_pivot_row(inverse, n, k);
    if (pivot == no_pivot) {
      print_record("Singular matrix found in dinvert_Gauss_Jordan");
      print_record("Reduction col=", k + 1);
      plain_stop();
    }
    pivot_row[k] = pivot;
    if (pivot != k) {
      swap_rows(inverse, n, k, pivot);
    }
    normalise_row(inverse, n, k);
    eliminate_column(inverse, n, k, factors.data());
  }

  // The inverse of the row-swapped matrix has its columns swapped, the last swap outermost.
  for (int k = n - 1; k >= 0; --k) {
    if (pivot_row[k] != k) {
      std::swap_ranges(inverse.column(k), inverse.column(k) + n, inverse.column(pivot_row[k]));
    }
  }
}

}  // namespace s_solver
