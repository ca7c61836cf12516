#include "s_solver/fit/pole_types.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "numerics.hpp"
#include "support.hpp"
#include "text/free_format_writer.hpp"

namespace s_solver {
namespace {

using namespace testing_support;

constexpr double tolerance = 1.0e-8;

std::vector<int> types_of(const std::vector<Complex>& a, bool verbose = false) {
  std::vector<int> types(a.size(), -7);
  classify_poles(static_cast<int>(a.size()), a.data(), types.data(), verbose);
  return types;
}

void expect_types(const std::vector<Complex>& a, const std::vector<int>& types) {
  EXPECT_TRUE(records_of([&] { EXPECT_EQ(types_of(a), types); }).empty());
}

void expect_no_partner(const std::vector<Complex>& a) {
  EXPECT_EQ(records_before_plain_stop([&] { types_of(a, true); }),
            (std::vector<std::string>{" Error in update_poles: no second pole of conjugate pair",
                                      text::free_format_record("pole i  :", a.back())}));
}

void expect_unequal_pair(const std::vector<Complex>& a, int leader) {
  const auto i = static_cast<std::size_t>(leader);
  const double test1 = a[i].real() - a[i + 1].real();
  const double test2 = a[i + 1].imag() + a[i].imag();
  EXPECT_EQ(records_before_plain_stop([&] { types_of(a, true); }),
            (std::vector<std::string>{
                " Error in update_poles: poles do not form a conjugate pair",
                text::free_format_record("pole i  :", a[i]), text::free_format_record("pole i+1:", a[i + 1]),
                text::free_format_record("test1 value=", test1, " should be <", tolerance),
                text::free_format_record("test2 value=", test2, " should be <", tolerance)}));
}

TEST(PoleTypes, a_pair_and_a_real_pole_in_any_order) {
  expect_types({{-1, 2}, {-1, -2}, -5}, {1, 2, 0});
  expect_types({-5, {-1, 2}, {-1, -2}}, {0, 1, 2});
  expect_types({{-1, 2}, {-1, -2}, {-1, 2}, {-1, -2}}, {1, 2, 1, 2});
  expect_types({-1, -2, 3}, {0, 0, 0});
}

TEST(PoleTypes, the_follower_may_be_the_one_with_the_positive_imaginary_part) {
  expect_types({{-1, -2}, {-1, 2}}, {1, 2});
}

TEST(PoleTypes, an_imaginary_part_of_exactly_the_tolerance_is_real) {
  expect_types({{-1, tolerance}, -2}, {0, 0});
  expect_types({{-1, -tolerance}}, {0});
  expect_no_partner({{-1, 1.0000001e-8}});
  expect_no_partner({{-1, -std::nextafter(tolerance, 1.0)}});
}

TEST(PoleTypes, a_pair_may_differ_by_exactly_the_tolerance) {
  expect_types({{-1, 2}, {-1.000000005, -2}}, {1, 2});
  expect_types({{0, 2}, {tolerance, -2}}, {1, 2});
  expect_types({{0, 2}, {-tolerance, -2}}, {1, 2});
  expect_unequal_pair({{0, 2}, {std::nextafter(tolerance, 1.0), -2}}, 0);
  expect_unequal_pair({{-5, 0}, {0, 2}, {-std::nextafter(tolerance, 1.0), -2}}, 1);
}

TEST(PoleTypes, the_tolerance_is_absolute_whatever_the_size_of_the_poles) {
  expect_unequal_pair({{-1e6, 1e9}, {-1e6, std::nextafter(-1e9, 0.0)}}, 0);
  expect_types({{-1e-9, 1.5e-8}, {-5e-9, -1e-8}}, {1, 2});
}

TEST(PoleTypes, the_imaginary_part_of_a_follower_is_not_looked_at_alone) {
  expect_types({{-1, 1.5e-8}, {-1, -0.9e-8}, -3}, {1, 2, 0});
  expect_types({{-1, 1.5e-8}, {-1, -1.2e-8}, {-3, 0}}, {1, 2, 0});
}

TEST(PoleTypes, comparisons_with_NaN_count_as_within_the_tolerance) {
  expect_types({{-1, quiet_nan}}, {0});
  expect_types({{quiet_nan, quiet_nan}, -1}, {0, 0});
  expect_types({{-1, 2}, {quiet_nan, -2}}, {1, 2});
  expect_types({{-1, 2}, {-1, quiet_nan}}, {1, 2});
  expect_types({{-1, 2}, {quiet_nan, quiet_nan}}, {1, 2});
  expect_types({{-infinity, infinity}, {-infinity, -infinity}}, {1, 2});  // their differences are NaN
}

TEST(PoleTypes, a_last_complex_pole_without_partner_stops_the_program) {
  expect_no_partner({-5, {-1, 2}});
  expect_no_partner({{-1, 2}, {-1, -2}, {-3, -4}});
}

TEST(PoleTypes, two_poles_that_are_not_conjugate_stop_the_program) {
  expect_unequal_pair({{-1, 2}, {-1, -2.1}}, 0);
  expect_unequal_pair({{-1, 2}, {-1.1, -2}}, 0);
  expect_unequal_pair({{-1, 3}, -2, {-1, -3}}, 0);                // the partner must be the next one
  expect_unequal_pair({{-1, 2}, {-1, -2}, {-3, 4}, {-3, 4}}, 2);  // equal is not conjugate
}

TEST(PoleTypes, the_trace_lists_the_types) {
  EXPECT_EQ(records_of([] {
              types_of({{-1, 2}, {-1, -2}, -5}, true);
            }),
            (std::vector<std::string>{" Pole types:", text::free_format_record("pole", 1, " type ", 1),
                                      text::free_format_record("pole", 2, " type ", 2),
                                      text::free_format_record("pole", 3, " type ", 0)}));
}

TEST(PoleTypes, without_poles_there_is_only_the_heading) {
  for (const int order : {0, -3}) {
    EXPECT_EQ(records_of([&] { classify_poles(order, nullptr, nullptr, true); }),
              std::vector<std::string>{" Pole types:"});
    EXPECT_TRUE(records_of([&] { classify_poles(order, nullptr, nullptr, false); }).empty());
  }
}

}  // namespace
}  // namespace s_solver
