/// A view of a matrix in memory that somebody else owns: the index arithmetic, written once.
#pragma once

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdint>

namespace numerics {

/// Non-owning column-major view: element (i, j) is data[i + j * ld], 0-based; ld >= max(1, rows).
template <class T>
class MatrixView {
 public:
  MatrixView(T* data, std::int64_t rows, std::int64_t columns, std::int64_t leading_dimension)
      : data_(data), rows_(rows), columns_(columns), leading_dimension_(leading_dimension) {
    assert(leading_dimension >= std::max<std::int64_t>(1, rows));
  }

  std::int64_t rows() const { return rows_; }
  std::int64_t columns() const { return columns_; }
  std::int64_t leading_dimension() const { return leading_dimension_; }
  T* data() const { return data_; }
  T* column(std::int64_t j) const { return data_ + j * leading_dimension_; }
  T& operator()(std::int64_t i, std::int64_t j) const { return data_[i + j * leading_dimension_]; }

 private:
  T* data_;
  std::int64_t rows_;
  std::int64_t columns_;
  std::int64_t leading_dimension_;
};

}  // namespace numerics
