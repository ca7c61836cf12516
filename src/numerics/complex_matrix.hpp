/// A complex matrix whose parts are two real ones.
#pragma once

#include <complex>
#include <cstddef>

#include "numerics/matrix.hpp"

namespace numerics {

/// Column-major, without gaps; (i, j) counts from 0. The parts have one shape.
struct ComplexMatrix {
  ComplexMatrix() = default;
  ComplexMatrix(std::size_t rows, std::size_t columns) : re(rows, columns), im(rows, columns) {}
  std::size_t rows() const { return re.rows; }
  std::size_t columns() const { return re.columns; }
  std::complex<double> operator()(std::size_t i, std::size_t j) const { return {re(i, j), im(i, j)}; }
  void set(std::size_t i, std::size_t j, std::complex<double> value) {
    re(i, j) = value.real();
    im(i, j) = value.imag();
  }

  Matrix re;
  Matrix im;
};

}  // namespace numerics
