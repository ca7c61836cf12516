#include "polefit/response/loop_system.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "numerics.hpp"
#include "polefit/error.hpp"

namespace polefit {
namespace {

using testing_support::eps;
using testing_support::RandomNumbers;

TEST(LoopSystem, it_solves_what_it_was_made_of) {
  RandomNumbers numbers(5);
  for (std::size_t n = 1; n <= 12; ++n) {
    numerics::Matrix a(n, n);
    for (double& element : a.elements) {
      element = numbers();
    }
    const std::vector<double> right = numbers.values(static_cast<int>(n));
    std::vector<double> x = right;
    LoopSystem(a).solve(x);
    double size = 0.0;
    for (const double element : x) {
      size = std::max(size, std::abs(element));
    }
    for (std::size_t i = 0; i < n; ++i) {
      double residual = right[i];
      for (std::size_t j = 0; j < n; ++j) {
        residual -= a(i, j) * x[j];
      }
      // Elimination with pivots is backward stable: n eps |A| |x|, times a growth that is small here.
      EXPECT_LE(std::abs(residual), 10.0 * static_cast<double>(n) * eps * (size + 1.0)) << n;
    }
  }
}

TEST(LoopSystem, a_first_pivot_of_zero_is_no_obstacle) {
  numerics::Matrix a(2, 2);
  a(0, 1) = 2.0;
  a(1, 0) = 4.0;
  std::vector<double> x{6.0, 8.0};
  LoopSystem(a).solve(x);
  EXPECT_EQ(x, (std::vector<double>{2.0, 3.0}));
}

TEST(LoopSystem, equations_without_a_single_solution_are_refused) {
  numerics::Matrix a(2, 2);
  a(0, 0) = 1.0;
  a(1, 0) = 2.0;
  a(0, 1) = 3.0;
  a(1, 1) = 6.0;
  EXPECT_THROW(LoopSystem{a}, Error);
  a(1, 1) = testing_support::quiet_nan;
  EXPECT_THROW(LoopSystem{a}, Error);
}

}  // namespace
}  // namespace polefit
