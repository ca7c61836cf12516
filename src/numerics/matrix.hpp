/// A matrix that owns its elements.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "numerics/matrix_view.hpp"

namespace numerics {

/// A column-major matrix that owns its elements, without gaps; (i, j) counts from 0.
struct Matrix {
  Matrix() = default;
  Matrix(std::size_t row_count, std::size_t column_count)
      : rows(row_count), columns(column_count), elements(row_count * column_count) {}
  double& operator()(std::size_t i, std::size_t j) { return elements[i + j * rows]; }
  double operator()(std::size_t i, std::size_t j) const { return elements[i + j * rows]; }
  double* column(std::size_t j) { return elements.data() + j * rows; }
  const double* column(std::size_t j) const { return elements.data() + j * rows; }

  std::size_t rows = 0;
  std::size_t columns = 0;
  std::vector<double> elements;
};

/// The part of a from (i, j) on with so many rows and columns.
template <class AnyMatrix>
auto part_of(AnyMatrix& a, std::size_t i, std::size_t j, std::size_t rows, std::size_t columns) {
  auto* const first = a.column(j) + i;
  const auto ld = static_cast<std::int64_t>(std::max<std::size_t>(1, a.rows));
  return MatrixView(first, static_cast<std::int64_t>(rows), static_cast<std::int64_t>(columns), ld);
}

inline MatrixView<const double> constant(const MatrixView<double>& view) {
  return {view.data(), view.rows(), view.columns(), view.leading_dimension()};
}

}  // namespace numerics
