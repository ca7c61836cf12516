/// What the tests of factorisations and eigenvalues share: matrices and their norms, and the vector units.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <thread>
#include <vector>

#include "numerics.hpp"
#include "numerics/matrix.hpp"
#include "vector_units.hpp"

namespace numerics::test_matrices {

using testing_support::eps;
using testing_support::infinity;
using testing_support::norm;
using testing_support::quiet_nan;
using testing_support::RandomNumbers;

using testing_support::vector_units;

inline Matrix random_matrix(std::size_t rows, std::size_t columns, RandomNumbers& numbers) {
  Matrix matrix(rows, columns);
  std::generate(matrix.elements.begin(), matrix.elements.end(), [&] { return numbers(); });
  return matrix;
}

inline Matrix identity(std::size_t order) {
  Matrix matrix(order, order);
  for (std::size_t i = 0; i < order; ++i) {
    matrix(i, i) = 1.0;
  }
  return matrix;
}

inline Matrix transposed(const Matrix& a) {
  Matrix result(a.columns, a.rows);
  for (std::size_t j = 0; j < a.columns; ++j) {
    for (std::size_t i = 0; i < a.rows; ++i) {
      result(j, i) = a(i, j);
    }
  }
  return result;
}

/// Summed in long double, so that what is seen is the error of the factors and not of the test.
inline Matrix product(const Matrix& a, const Matrix& b) {
  Matrix result(a.rows, b.columns);
  std::vector<long double> sums(a.rows);
  for (std::size_t j = 0; j < b.columns; ++j) {
    std::fill(sums.begin(), sums.end(), 0.0L);
    for (std::size_t k = 0; k < a.columns; ++k) {
      for (std::size_t i = 0; i < a.rows; ++i) {
        sums[i] += static_cast<long double>(a(i, k)) * b(k, j);
      }
    }
    std::transform(sums.begin(), sums.end(), result.column(j),
                   [](long double sum) { return static_cast<double>(sum); });
  }
  return result;
}

/// The norm of a column, which may be as large as a double.
inline double column_norm(const Matrix& a, std::size_t j) {
  long double squares = 0.0L;
  for (std::size_t i = 0; i < a.rows; ++i) {
    squares += static_cast<long double>(a(i, j)) * a(i, j);
  }
  return static_cast<double>(std::sqrt(squares));
}

/// |a_j - b_j| / |b_j|, the largest of all columns.
inline double worst_column(const Matrix& a, const Matrix& b) {
  double worst = 0.0;
  for (std::size_t j = 0; j < b.columns; ++j) {
    Matrix difference(b.rows, 1);
    for (std::size_t i = 0; i < b.rows; ++i) {
      difference(i, 0) = a(i, j) - b(i, j);
    }
    const double size = column_norm(b, j);
    const double off = column_norm(difference, 0);
    worst = std::max(worst, off == 0.0 ? 0.0 : off / size);
  }
  return worst;
}

/// The bits of work(), done by `count` threads at once, are those that it has alone.
template <class Work>
bool same_in_threads(std::size_t count, const Work& work) {
  const auto alone = work();
  std::vector<char> same(count);
  {
    std::vector<std::jthread> threads;
    for (std::size_t i = 0; i < count; ++i) {
      threads.emplace_back([&, i] { same[i] = work() == alone; });
    }
  }
  return std::all_of(same.begin(), same.end(), [](char is) { return is != 0; });
}

}  // namespace numerics::test_matrices
