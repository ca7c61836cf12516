/// The triangle of a tall matrix that is made a block of rows at a time.
#pragma once

#include <cstddef>

#include "numerics/matrix.hpp"
#include "numerics/orthogonal_factorisation.hpp"

namespace numerics {

/// R of A = Q R, where Q is not kept: each block of rows is factorised together with the triangle of the
/// rows before it (Demmel, Grigori, Hoemmen, Langou, "Communication-optimal parallel and sequential QR and LU
/// factorizations", SIAM J. Sci. Comput. 34(1), 2012). The storage is that of one block, which stays in the
/// cache.
class FoldedTriangle {
 public:
  /// height   rows of a block
  FoldedTriangle(std::size_t columns, std::size_t height);

  std::size_t columns() const { return step_.v.columns; }
  std::size_t height() const { return step_.rows - columns(); }

  /// Where the next block is to be written; that of the one before is gone.
  MatrixView<double> block() { return part_of(step_.v, columns(), 0, height(), columns()); }
  void fold();

  /// What the last fold did, on right-hand sides that started with rows of zeros.
  ///
  /// b   columns() + height() rows. Above: the columns() rows of Q^T b so far. Below: the rows that belong to
  ///     the block, which become those of Q^T b that no later block changes.
  void apply(Matrix& b) const { apply_transposed(step_, b); }

  const Matrix& triangle() const { return step_.r; }

 private:
  OrthogonalFactorisation step_;
};

}  // namespace numerics
