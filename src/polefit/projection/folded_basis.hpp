/// The weighted basis of a pole set, folded into a triangle.
#pragma once

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

#include "numerics/folded_triangle.hpp"
#include "numerics/matrix.hpp"
#include "polefit/problem/pole_basis.hpp"
#include "polefit/problem/problem.hpp"

namespace polefit {

using numerics::Matrix;

/// Samples whose rows stand in a block: first all real parts, then all imaginary parts, then rows of zeros.
struct SampleBlock {
  std::size_t first = 0;
  std::size_t count = 0;
};

class FoldedBasis {
 public:
  /// With the weights of a response, which are everybody's unless responses have their own. The problem and
  /// the poles must outlive it.
  FoldedBasis(const Problem& problem, const Poles& poles, std::size_t response);

  /// Folds the next block; false when none is left. Call until then, and each time give right-hand sides
  /// their rows and apply what was done.
  bool fold();
  const SampleBlock& block() const { return block_; }
  /// Of right-hand sides: those that hold what was folded of them, and those of a block.
  std::size_t columns() const { return triangle_.columns(); }
  std::size_t rows() const { return triangle_.columns() + triangle_.height(); }
  void apply(Matrix& right) const { triangle_.apply(right); }

  /// The triangle of all samples with columns of norm 1, or of zeros where no sample counts.
  Matrix scaled_triangle() const;
  /// What its columns were multiplied with, 0 for those of zeros.
  std::vector<double> scale() const;

 private:
  const Problem& problem_;
  const Poles& poles_;
  std::size_t response_;
  numerics::FoldedTriangle triangle_;
  SampleBlock block_;
};

/// Writes value(k) for the samples of a block to a column of right-hand sides.
template <class Value>
void set_block(const SampleBlock& block, const Value& value, std::size_t top, std::size_t column,
               Matrix& right) {
  double* const at = right.column(column) + top;
  for (std::size_t i = 0; i < block.count; ++i) {
    const Complex v = value(block.first + i);
    at[i] = v.real();
    at[block.count + i] = v.imag();
  }
  std::fill(at + 2 * block.count, right.column(column) + right.rows, 0.0);
}

/// The weighted values of `count` responses from `first` on, in columns from `column` on.
void set_responses(const Problem& problem, const SampleBlock& block, std::size_t first, std::size_t count,
                   std::size_t top, std::size_t column, Matrix& right);

/// a over ridge times the unit matrix and rows of zeros up to whole row groups; a itself without a ridge.
Matrix with_ridge(const Matrix& a, double ridge);

/// The first rows of a.
Matrix top_of(const Matrix& a, std::size_t rows);

/// [Phi; delta I] = Q [U; 0] for the basis Phi with columns of norm 1, and Q^T F = [C; E].
struct RidgedTriangle {
  std::vector<double> scale;  ///< of the columns
  Matrix u;
  Matrix c;
};

/// Folds all samples, and the ridge below them.
///
/// delta         above 0
/// right_sides   columns of F
/// set           set(block, top, right) writes the rows of F of a block, from row `top` on
/// rest          rest(top, right) is shown E: with each call some of its rows, from row `top` on, in whole
///               row groups
template <class Set, class Rest>
RidgedTriangle fold_with_ridge(FoldedBasis& basis, double delta, std::size_t right_sides, const Set& set,
                               const Rest& rest) {
  const std::size_t top = basis.columns();
  Matrix right(basis.rows(), right_sides);
  while (basis.fold()) {
    set(basis.block(), top, right);
    basis.apply(right);
    rest(top, std::as_const(right));
  }
  numerics::OrthogonalFactorisation ridged = numerics::factorise(with_ridge(basis.scaled_triangle(), delta));
  Matrix below(ridged.rows, right_sides);
  for (std::size_t r = 0; r < right_sides; ++r) {
    std::copy_n(right.column(r), top, below.column(r));
  }
  apply_transposed(ridged, below);
  rest(top, std::as_const(below));
  return {basis.scale(), std::move(ridged.r), top_of(below, top)};
}

}  // namespace polefit
