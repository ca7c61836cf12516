/// What stands where in the values that a Touchstone text holds of one frequency.
#pragma once

#include <cstddef>

#include "polefit/network_matrix.hpp"

namespace polefit_io {

/// Which elements of the matrix are there; of a half, each stands for the one across the diagonal too.
enum class MatrixFormat { full, lower, upper };

/// How the elements of a full matrix follow each other.
enum class PortOrder { by_rows, by_columns };

/// The values of a frequency: two, in a row, for each element of the matrix that is there.
struct Layout {
  std::size_t ports = 0;
  MatrixFormat format = MatrixFormat::full;
  PortOrder order = PortOrder::by_rows;  ///< of full matrices; halves always go by rows

  /// How many there are.
  std::size_t values() const {
    return format == MatrixFormat::full ? 2 * ports * ports : ports * (ports + 1);
  }
  /// Where those of an element begin, counted from 0.
  std::size_t place(const polefit::MatrixElement& element) const;
};

}  // namespace polefit_io
