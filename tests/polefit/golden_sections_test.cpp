#include "polefit/passivity/golden_sections.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "numerics.hpp"

namespace polefit {
namespace {

using testing_support::eps;
using testing_support::quiet_nan;

/// A maximum, and all values that were taken for it.
struct Watched {
  Maximum found;
  std::vector<Maximum> seen;
};

template <typename Function>
Watched watched(double left, double right, int sections, const Function& of) {
  Watched result;
  result.found = largest_by_sections(left, right, sections, [&](double place) {
    result.seen.push_back({place, of(place)});
    return result.seen.back().value;
  });
  return result;
}

/// What a number of sections leaves of an interval.
double left_of(double interval, int sections) {
  return interval * std::pow(0.5 * (std::sqrt(5.0) - 1.0), sections);
}

/// A peak with a sharp tip, so that rounding of values hides no place.
struct Peak {
  double place;
  double operator()(double x) const { return 3.0 - std::abs(x - place); }
};

TEST(GoldenSections, end_as_near_to_the_maximum_as_they_leave_of_the_interval) {
  for (const double peak : {-2.0, -1.99, -0.7, 0.3, 2.718, 4.999, 5.0}) {
    for (const int sections : {0, 1, 2, 5, 10, 20, 40}) {
      const Maximum found = largest_by_sections(-2.0, 5.0, sections, Peak{peak});
      // Places are rounded by eps of the interval's size at most.
      EXPECT_LE(std::abs(found.place - peak), left_of(7.0, sections) + 7.0 * eps) << peak << " " << sections;
    }
  }
}

TEST(GoldenSections, each_takes_one_value) {
  for (const int sections : {0, 1, 7, 40}) {
    EXPECT_EQ(watched(0.0, 1.0, sections, Peak{0.4}).seen.size(), static_cast<std::size_t>(sections) + 2);
  }
}

TEST(GoldenSections, tell_the_largest_value_seen_and_its_place) {
  // Many maxima: where the sections end need not be where the largest value was.
  for (int i = 0; i < 50; ++i) {
    const auto wave = [&](double x) { return std::sin(40.0 * x + i) + 0.1 * x; };
    const Watched ripple = watched(-1.0, 2.0, 12, wave);
    for (const Maximum& seen : ripple.seen) {
      EXPECT_GE(ripple.found.value, seen.value) << i;
      EXPECT_TRUE(seen.place >= -1.0 && seen.place <= 2.0) << i;
    }
    EXPECT_EQ(ripple.found.value, wave(ripple.found.place)) << i;
  }
}

TEST(GoldenSections, of_a_single_place_stay_there) {
  const Watched place = watched(2.5, 2.5, 30, Peak{1.0});
  EXPECT_EQ(place.found.place, 2.5);
  EXPECT_EQ(place.found.value, Peak{1.0}(2.5));
  EXPECT_EQ(place.seen.size(), 2U);
}

TEST(GoldenSections, values_that_are_no_numbers_are_not_the_largest) {
  for (const double limit : {0.4, 0.5, 0.55, 0.6, 0.61}) {  // the first two values are at 0.38 and 0.62
    const auto ends = [&](double x) { return x < limit ? x : quiet_nan; };
    const Watched found = watched(0.0, 1.0, 20, ends);
    double largest = 0.0;
    for (const Maximum& seen : found.seen) {
      largest = std::isnan(seen.value) ? largest : std::max(largest, seen.value);
    }
    EXPECT_EQ(found.found.value, largest) << limit;
  }
}

}  // namespace
}  // namespace polefit
