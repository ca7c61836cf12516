/// Overdetermined systems that are never stored whole.
#pragma once

#include "numerics/matrix_view.hpp"

namespace s_solver {

/// A linear least-squares system A x ~ b whose rows are made when they are asked for, so that a solver can go
/// over them in blocks that stay in the cache.
class TallSystem {
 public:
  virtual int rows() const = 0;
  virtual int columns() const = 0;

  /// Makes `count` rows: those of A in a, count x columns(), and in the same order those of b. Calls with
  /// first = 0, n, 2 n ... together make every row once; which rows a call makes, and in which order, is up
  /// to the system. first is even, and so is count, except in the last block of a system with an odd number
  /// of rows.
  virtual void make_rows(int first, int count, const numerics::MatrixView<double>& a, double* b) const = 0;

 protected:
  TallSystem() = default;
  TallSystem(const TallSystem&) = default;
  TallSystem& operator=(const TallSystem&) = default;
  ~TallSystem() = default;
};

}  // namespace s_solver
