/// Overdetermined systems that are never stored whole.
#pragma once

#include "dmatrix/matrix_view.hpp"

namespace s_solver {

/// A linear least-squares system A x ~ b whose rows are made when they are asked for, so that a solver can go
/// over them in blocks that stay in the cache.
class TallSystem {
 public:
  virtual int rows() const = 0;
  virtual int columns() const = 0;

  /// Makes rows first .. first + count - 1, from 0, of A and of b; `a` is count x columns(). In which order
  /// is the system's own matter and may depend on first and count, which are even unless rows() is odd and
  /// the block its last; any such division gives each row once.
  virtual void make_rows(int first, int count, const MatrixView<double>& a, double* b) const = 0;

 protected:
  TallSystem() = default;
  TallSystem(const TallSystem&) = default;
  TallSystem& operator=(const TallSystem&) = default;
  ~TallSystem() = default;
};

}  // namespace s_solver
