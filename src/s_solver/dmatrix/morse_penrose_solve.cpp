#include "s_solver/dmatrix/morse_penrose_solve.hpp"

#include <algorithm>
#include <cstdint>

#include "numerics/block_products.hpp"
#include "numerics/matrix_view.hpp"
#include "numerics/vector_unit.hpp"
#include "s_solver/console/console.hpp"
#include "s_solver/console/plain_stop.hpp"
#include "s_solver/dmatrix/dinvert_gauss_jordan.hpp"
#include "s_solver/memory/working_array.hpp"

namespace s_solver {
namespace {

// Columns begin a cache line apart in their sets; a power of two between them would put all into the same.
constexpr std::int64_t gap = 8;

constexpr std::int64_t rounded_up(std::int64_t size, int step) { return (size + step - 1) / step * step; }

/// A stored matrix and its right-hand side as a system.
class StoredSystem final : public TallSystem {
 public:
  StoredSystem(const double* a, int nr, int nc, const double* b) : a_(a, nr, nc, std::max(1, nr)), b_(b) {}
  int rows() const override { return static_cast<int>(a_.rows()); }
  int columns() const override { return static_cast<int>(a_.columns()); }
  void make_rows(int first, int count, const numerics::MatrixView<double>& a, double* b) const override {
    for (std::int64_t j = 0; j < a_.columns(); ++j) {
      std::copy_n(a_.column(j) + first, count, a.column(j));
    }
    std::copy_n(b_ + first, count, b);
  }

 private:
  numerics::MatrixView<const double> a_;
  const double* b_;
};

/// The rows of a system, one block after the other, filled up with zeros to what the products want.
class Blocks {
 public:
  explicit Blocks(const TallSystem& system)
      : system_(system),
        capacity_(numerics::rows_per_block(system.columns())),
        a_("block", capacity_ + gap, system.columns()),
        b_("right_hand_side", capacity_) {}

  /// Calls use(a, count, b) for each block; the first `count` of its rows are the system's.
  template <class Use>
  void for_each(const Use& use) {
    for (std::int64_t first = 0; first < system_.rows(); first += capacity_) {
      const std::int64_t count = std::min(capacity_, system_.rows() - first);
      const std::int64_t rows = rounded_up(count, numerics::row_step);
      const numerics::MatrixView<double> a(a_.data(), count, system_.columns(), rows + gap);
      system_.make_rows(static_cast<int>(first), static_cast<int>(count), a, b_.data());
      for (std::int64_t j = 0; j < a.columns(); ++j) {
        std::fill(a.column(j) + count, a.column(j) + rows, 0.0);
      }
      std::fill(b_.data() + count, b_.data() + rows, 0.0);
      use(numerics::MatrixView<const double>(a.data(), rows, a.columns(), a.leading_dimension()), count,
          b_.data());
    }
  }

  std::int64_t capacity() const { return capacity_; }

 private:
  const TallSystem& system_;
  std::int64_t capacity_;
  WorkingMatrix a_;
  WorkingArray<double> b_;
};

}  // namespace

void morse_penrose_solve(const double* a, int nr, int nc, double* x, const double* b, bool verbose) {
  morse_penrose_solve(StoredSystem(a, nr, nc, b), x, verbose);
}

void morse_penrose_solve(const TallSystem& system, double* x, bool verbose) {
  const int nc = system.columns();
  const std::int64_t size = rounded_up(nc, numerics::column_step);
  WorkingMatrix normal_matrix("normal", size, size);
  WorkingMatrix inverse_matrix("inverse", size, size);
  if (verbose) {
    print_record("CALLED morse_penrose_solve");
  }
  if (system.rows() < nc) {
    print_record("Error in morse_penrose_solve, nr < nc");
    plain_stop();
  }
  if (nc == 0) {
    return;
  }
  Blocks blocks(system);
  const numerics::VectorUnit unit = numerics::widest_vector_unit();

  WorkingArray<double> packed("packed", blocks.capacity() * size);
  normal_matrix.fill(0.0);
  const numerics::MatrixView<double> normal = normal_matrix.view();
  blocks.for_each([&](const numerics::MatrixView<const double>& a, std::int64_t, const double*) {
    numerics::add_gram_matrix(a, normal, packed.data(), unit);
  });
  for (std::int64_t j = 0; j < size; ++j) {
    for (std::int64_t i = 0; i < j; ++i) {
      normal(i, j) = normal(j, i);
    }
  }

  inverse_matrix.fill(0.0);
  dinvert_gauss_jordan(normal_matrix.data(), nc, inverse_matrix.data(), static_cast<int>(size));

  const numerics::MatrixView<const double> inverse(inverse_matrix.data(),
                                                   rounded_up(nc, numerics::left_inverse_rows), nc, size);
  WorkingArray<double> left_inverse("left_inverse", numerics::left_inverse_rows * blocks.capacity());
  WorkingArray<double> solution("solution", inverse.rows());
  solution.fill(0.0);
  blocks.for_each([&](const numerics::MatrixView<const double>& a, std::int64_t count, const double* b) {
    numerics::add_left_inverse_product(inverse, a, count, b, solution.data(), left_inverse.data(), unit);
  });
  std::copy_n(solution.data(), nc, x);
}

}  // namespace s_solver
