#include "polefit/response/step_weights.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <vector>

#include "linear_segments.hpp"
#include "numerics.hpp"

namespace polefit {
namespace {

using testing_support::Complex;
using testing_support::eps;
using testing_support::infinity;
using LongComplex = std::complex<long double>;

struct LongWeights {
  LongComplex decay, begin, end;
};

/// By the series below |z| = 4, whose terms fall from the fourth on, else by the closed form; in either the
/// 11 bits more than a double has make up for what cancels.
LongWeights reference_weights(Complex pole, double step) {
  const LongComplex a(pole.real(), pole.imag());
  const long double h = step;
  const LongComplex z = a * h;
  const linear_segments::Sums sums = linear_segments::sums(z);
  return {std::exp(z), h * (sums.phi1 - sums.phi2), h * sums.phi2};
}

double difference(Complex found, LongComplex expected) {
  return static_cast<double>(std::abs(LongComplex(found.real(), found.imag()) - expected));
}

TEST(StepWeights, they_are_right_to_rounding_for_steps_of_any_size) {
  double worst = 0.0;
  for (const double size : {1e-300, 1e-20, 1e-9, 1e-5, 1e-3, 0.1, 0.5, 0.999, 1.0, 1.001, 2.0, 10.0, 100.0}) {
    for (const double angle : {3.14159265, 3.0, 2.5, 2.0, 1.6, 1.5707963267948966}) {
      const double step = 0.37;
      const Complex pole = std::polar(size / step, angle);
      const StepWeights found = step_weights(pole, step);
      const LongWeights expected = reference_weights(pole, step);
      // exp turns rounding of z into |z| times as much of itself; all else is step / (1 + |z|) in size.
      const double of_exp = size * std::abs(found.decay);
      worst = std::max(worst, difference(found.decay, expected.decay) / ((1.0 + of_exp) * eps));
      const double unit = step * eps * (1.0 + of_exp) / (1.0 + size);
      worst = std::max(worst, difference(found.begin, expected.begin) / unit);
      worst = std::max(worst, difference(found.end, expected.end) / unit);
    }
  }
  EXPECT_LE(worst, 8.0);  // in units of rounding: some eight operations; the worst is 3
}

TEST(StepWeights, a_pole_at_zero_integrates) {
  const StepWeights found = step_weights(0.0, 0.25);
  EXPECT_EQ(found.decay, 1.0);
  EXPECT_EQ(found.begin, 0.125);
  EXPECT_EQ(found.end, 0.125);
}

TEST(StepWeights, no_step_changes_nothing) {
  const StepWeights found = step_weights({-3.0, 4.0}, 0.0);
  EXPECT_EQ(found.decay, 1.0);
  EXPECT_EQ(found.begin, 0.0);
  EXPECT_EQ(found.end, 0.0);
}

TEST(StepWeights, what_decays_within_no_time_follows_its_input) {
  for (const double pole : {-1e30, -1e200, -1e308}) {
    const StepWeights found = step_weights(pole, 1e10);
    EXPECT_EQ(found.decay, 0.0);
    EXPECT_NEAR(found.end.real(), -1.0 / pole, 4.0 * eps / std::abs(pole));
    EXPECT_LE(std::abs(found.begin), eps / std::abs(pole));
  }
}

TEST(StepWeights, what_grows_beyond_all_numbers_is_no_finite_number) {
  EXPECT_EQ(step_weights(1.0, 1e3).decay.real(), infinity);
}

TEST(StepWeights, they_scale_with_the_unit_of_time_to_the_bit) {
  for (const double size : {0.3, 3.0}) {
    const Complex pole = size * Complex(-0.6, 0.8);
    const StepWeights one = step_weights(pole, 1.0);
    const StepWeights other = step_weights(std::ldexp(1.0, 40) * pole, std::ldexp(1.0, -40));
    EXPECT_EQ(other.decay, one.decay);
    EXPECT_EQ(std::ldexp(1.0, 40) * other.begin, one.begin);
    EXPECT_EQ(std::ldexp(1.0, 40) * other.end, one.end);
  }
}

}  // namespace
}  // namespace polefit
