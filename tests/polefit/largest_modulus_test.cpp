#include "polefit/model/largest_modulus.hpp"

#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

#include "numerics.hpp"

namespace polefit {
namespace {

using testing_support::Complex;
using testing_support::eps;
using testing_support::infinity;
using testing_support::quiet_nan;

double largest_of(const std::vector<Complex>& values) {
  return largest_modulus(values.size(), [&](std::size_t i) { return values[i]; });
}

TEST(LargestModulus, is_that_of_the_value_farthest_from_zero) {
  EXPECT_NEAR(largest_of({{1.0, 1.0}, {-3.0, -4.0}, {0.0, 4.5}}), 5.0, 5.0 * eps);
}

TEST(LargestModulus, of_values_whose_squares_overflow_or_vanish_is_right_all_the_same) {
  for (const double unit : {0x1p1020, 0x1.3p-536, 0x1p-560, 0x1p-1020}) {
    EXPECT_NEAR(largest_of({{unit, unit}, {3.0 * unit, 4.0 * unit}}) / unit, 5.0, 5.0 * eps) << unit;
  }
}

TEST(LargestModulus, undefined_values_do_not_count_and_infinite_ones_do) {
  EXPECT_EQ(largest_of({{quiet_nan, 0.0}, {2.0, 0.0}, {0.0, quiet_nan}}), 2.0);
  EXPECT_EQ(largest_of({{2.0, 0.0}, {0.0, -infinity}, {quiet_nan, 1.0}}), infinity);
}

TEST(LargestModulus, of_nothing_and_of_zeros_is_zero) {
  EXPECT_EQ(largest_of({}), 0.0);
  EXPECT_EQ(largest_of({{0.0, 0.0}, {-0.0, 0.0}}), 0.0);
}

}  // namespace
}  // namespace polefit
