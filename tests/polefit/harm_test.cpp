#include "polefit/passivity/harm.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <vector>

#include "enforcement_cases.hpp"
#include "numerics.hpp"

namespace polefit {
namespace {

using enforcement_cases::Case;
using testing_support::Complex;
using testing_support::eps;

constexpr double outside = 1e4;

/// Data of a few samples, and their model, that are the same matrix at every frequency.
Case constant_case(char parameter, std::size_t ports, const std::vector<double>& values) {
  Case made;
  made.model.constants = values;
  made.model.proportionals.assign(values.size(), 0.0);
  made.model.network = {parameter, std::vector<double>(ports, 50.0), all_elements(ports)};
  made.frequencies = {1.0, 2.0, 3.0};
  for (const double value : values) {
    made.values.insert(made.values.end(), made.frequencies.size(), Complex(value));
  }
  return made;
}

/// The constants nearest to the data, which count little beside what is outside the band, in the model's
/// unit.
Matrix drawn_constants(const Case& made) {
  const ScaledModel model = scaled_model(made.model);
  const MatrixSamples samples = matrix_samples(model, *whole_matrix(made.model.network), made.data());
  return Harm(model, samples, outside, false).centre();
}

/// What samples of weight 1 beside rows of the weight `outside` leave of a distance.
double left_of(double distance) { return (1.0 / (outside * outside) + 100.0 * eps) * distance; }

TEST(Harm, singular_values_above_nine_tenths_are_drawn_to_that_outside_the_band) {
  const double c = std::cos(0.3);
  const double s = std::sin(0.3);
  const auto with = [&](double first, double second) {
    return std::vector{c * c * first + s * s * second, c * s * (first - second), c * s * (first - second),
                       s * s * first + c * c * second};
  };
  const Matrix found = drawn_constants(constant_case('S', 2, with(2.0, 0.5)));
  const std::vector<double> expected = with(0.9, 0.5);
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_NEAR(found.elements[i], expected[i], left_of(1.1));
  }
}

TEST(Harm, conductances_below_zero_are_drawn_above_it_outside_the_band) {
  const Case made = constant_case('Y', 1, {-0.3});
  const double found = drawn_constants(made).elements[0];
  EXPECT_NEAR(found, 1e-4 * 0.3, left_of(0.4));
}

}  // namespace
}  // namespace polefit
