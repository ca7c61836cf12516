#include "s_solver/fit/fit_evaluation.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "numerics.hpp"

namespace s_solver {
namespace {

using namespace testing_support;

std::vector<Complex> values_of(const RationalFunction& model, const std::vector<Complex>& s) {
  std::vector<Complex> f_fit(s.size(), Complex(7.0, 7.0));
  calculate_fit_function(static_cast<int>(model.a.size()), model.a.data(), model.c.data(), model.d, model.h,
                         static_cast<int>(s.size()), f_fit.data(), s.data());
  return f_fit;
}

double error_of(const std::vector<Complex>& f, const std::vector<Complex>& f_fit) {
  double error = 7.0;
  calculate_error(static_cast<int>(f.size()), f.data(), f_fit.data(), nullptr, error);
  return error;
}

double error_of(Complex difference) { return error_of({difference}, {Complex()}); }

TEST(CalculateFitFunction, without_poles_it_is_the_line_d_plus_h_s) {
  const std::vector<Complex> s{{0, 2}, {3, -4}};
  const std::vector<Complex> line{{5, 1}, {6.5, -2}};
  EXPECT_EQ(values_of({{}, {}, 5.0, 0.5}, s), line);
  for (const int order : {0, -3}) {
    std::vector<Complex> f_fit(2);
    calculate_fit_function(order, nullptr, nullptr, 5.0, 0.5, 2, f_fit.data(), s.data());
    EXPECT_EQ(f_fit, line) << order;
  }
}

TEST(CalculateFitFunction, adds_one_quotient_per_pole) {
  // (3 + 4j) / (2j) and 5 / (1 + 2j), no rounding anywhere.
  EXPECT_EQ(values_of({{{0, -1}, {-1, -1}}, {{3, 4}, 5.0}, 1.0, 2.0}, {{0, 1}}),
            std::vector<Complex>{Complex(1, 2) + Complex(2, -1.5) + Complex(1, -2)});
}

TEST(CalculateFitFunction, adds_the_poles_in_increasing_order_to_the_line) {
  // 1 is lost beside 1e16 unless it comes after the difference.
  const std::vector<Complex> a(3, -1.0);
  const std::vector<Complex> s{0.0};
  EXPECT_EQ(values_of({a, {1.0, 1e16, -1e16}, 0.0, 0.0}, s)[0], 0.0);
  EXPECT_EQ(values_of({a, {1e16, -1e16, 1.0}, 0.0, 0.0}, s)[0], 1.0);
  EXPECT_EQ(values_of({a, {1e16, -1e16, 0.0}, 1.0, 0.0}, s)[0], 0.0);
}

TEST(CalculateFitFunction, a_few_roundings_per_pole_separate_it_from_the_model) {
  double worst = 0.0;
  for (std::uint64_t seed = 0; seed < 100; ++seed) {
    RandomNumbers numbers(seed);
    const int order = static_cast<int>(seed % 7);
    RationalFunction model{{}, {}, numbers(), numbers()};
    for (int i = 0; i < order; ++i) {
      model.a.push_back(Complex{numbers() - 1.0, 10 * numbers()});
      model.c.push_back(numbers.complex());
    }
    const auto s = imaginary_points(20, -10.0, 10.0);
    const auto f_fit = values_of(model, s);
    for (std::size_t k = 0; k < s.size(); ++k) {
      // The reference in long double, whose own roundings do not count.
      const std::complex<long double> point(s[k]);
      std::complex<long double> sum =
          point * std::complex<long double>(model.h) + std::complex<long double>(model.d);
      double size = std::abs(model.d) + std::abs(model.h * s[k]);
      for (std::size_t i = 0; i < model.a.size(); ++i) {
        sum += std::complex<long double>(model.c[i]) / (point - std::complex<long double>(model.a[i]));
        size += std::abs(model.c[i] / (s[k] - model.a[i]));
      }
      const std::complex<long double> difference = std::complex<long double>(f_fit[k]) - sum;
      worst = std::max(worst, static_cast<double>(std::abs(difference)) / (eps * (order + 1) * size));
    }
  }
  // Nine roundings of eps / 2 a quotient with its difference and one an addition, on either part, in eps
  // (order + 1) times the sum of the terms' moduli. Worst of these seeds: 0.39
  EXPECT_LE(worst, 8.0);
}

TEST(CalculateFitFunction, a_pole_on_a_sample_point_spoils_that_sample_alone) {
  const auto f_fit = values_of({{{0, 2}}, {1.0}, 0.0, 0.0}, {{0, 1}, {0, 2}, {0, 3}});
  EXPECT_EQ(f_fit[0], Complex(0, 1));
  EXPECT_FALSE(std::isfinite(f_fit[1].real()) && std::isfinite(f_fit[1].imag()));
  EXPECT_EQ(f_fit[2], Complex(0, -1));
}

TEST(CalculateError, is_zero_for_equal_values) {
  const std::vector<Complex> f{{1, 2}, {-3, 1e300}, {0, 0}};
  EXPECT_EQ(error_of(f, f), 0.0);
}

TEST(CalculateError, is_the_root_mean_square_modulus_of_the_difference) {
  // All squares and roots are exact.
  EXPECT_EQ(error_of(std::vector<Complex>(5, 1.0), std::vector<Complex>(5)), 1.0);
  EXPECT_EQ(error_of(std::vector<Complex>(4, {3, 4}), std::vector<Complex>(4)), 5.0);
  EXPECT_EQ(error_of({{3, 4}, 0.0, 0.0, 0.0}, std::vector<Complex>(4)), 2.5);
  EXPECT_EQ(error_of({{10, 20}, {1, 1}}, {{7, 16}, {1, 1}}), std::sqrt(12.5));
  EXPECT_EQ(error_of({3.0, {0, 3}}, std::vector<Complex>(2)), 3.0);
}

TEST(CalculateError, without_samples_is_not_a_number) { EXPECT_TRUE(std::isnan(error_of({}, {}))); }

TEST(CalculateError, a_nonfinite_value_makes_it_nonfinite) {
  EXPECT_TRUE(std::isnan(error_of({quiet_nan, 0.0})));
  EXPECT_FALSE(std::isfinite(error_of({infinity, 0.0})));
}

TEST(CalculateError, squares_the_difference_before_the_modulus) {
  EXPECT_EQ(error_of(1e150), 1e150);  // the root of a square is exact
  EXPECT_EQ(error_of(1e155), infinity);
  // Both parts of the square are near the largest double, and so is their modulus.
  EXPECT_TRUE(std::isfinite(error_of({1e154, 0.5e154})));
}

}  // namespace
}  // namespace s_solver
