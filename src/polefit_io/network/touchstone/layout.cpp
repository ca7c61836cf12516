#include "polefit_io/network/touchstone/layout.hpp"

#include <utility>

namespace polefit_io {

std::size_t Layout::place(const polefit::MatrixElement& element) const {
  std::size_t i = element.row - 1;
  std::size_t j = element.column - 1;
  if (format == MatrixFormat::full) {
    return 2 * (order == PortOrder::by_rows ? i * ports + j : j * ports + i);
  }
  if ((format == MatrixFormat::lower) == (i < j)) {
    std::swap(i, j);
  }
  // Of i rows above, the lower triangle has 1 + ... + i elements, the upper one N + ... + (N - i + 1).
  return format == MatrixFormat::lower ? i * (i + 1) + 2 * j : i * (2 * ports + 1 - i) + 2 * (j - i);
}

}  // namespace polefit_io
