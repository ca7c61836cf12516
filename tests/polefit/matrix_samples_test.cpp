#include "polefit/passivity/matrix_samples.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include "enforcement_cases.hpp"
#include "numerics.hpp"
#include "polefit/network_matrix.hpp"

namespace polefit {
namespace {

using enforcement_cases::Case;
using enforcement_cases::random_case;
using testing_support::Complex;
using testing_support::RandomNumbers;

MatrixSamples samples_of(const Case& made) {
  return matrix_samples(scaled_model(made.model), *whole_matrix(made.model.network), made.data());
}

/// One a sample, or one a response and sample.
std::vector<double> random_weights(const Case& made, bool of_each_response, std::uint64_t seed) {
  RandomNumbers numbers(seed);
  std::vector<double> weights(made.frequencies.size() * (of_each_response ? made.model.responses() : 1));
  std::generate(weights.begin(), weights.end(), [&] { return numbers.between(0.5, 2.0); });
  return weights;
}

TEST(MatrixSamples, do_not_change_with_the_unit_of_the_weights) {
  for (std::uint64_t seed = 0; seed < 20; ++seed) {
    Case made = random_case(seed, seed % 3 != 0, 1.05, 1e-3);
    for (Complex& value : made.values) {
      value *= 100.0;  // so that products with the largest weights overflow
    }
    const std::vector<double> weights = random_weights(made, seed % 2 == 0, seed);
    made.weights = weights;
    const MatrixSamples expected = samples_of(made);
    for (const int exponent : {-1000, -665, -531, 531, 665, 1020}) {
      std::transform(weights.begin(), weights.end(), made.weights.begin(),
                     [&](double weight) { return std::ldexp(weight, exponent); });
      const MatrixSamples found = samples_of(made);
      EXPECT_EQ(found.omega_weights, expected.omega_weights) << seed << " " << exponent;
      EXPECT_EQ(found.element_weights, expected.element_weights) << seed << " " << exponent;
    }
  }
}

TEST(MatrixSamples, have_finite_weights_whatever_the_ratio_of_those_that_are_given) {
  for (std::uint64_t seed = 0; seed < 40; ++seed) {
    Case made = random_case(seed, true, 1.05, 1e-3);
    made.weights = random_weights(made, seed % 2 == 0, seed);
    RandomNumbers numbers(seed + 1);
    for (double& weight : made.weights) {
      weight = std::ldexp(weight, numbers.below(2000) - 1000);
    }
    const MatrixSamples found = samples_of(made);
    for (const std::vector<double>& weights : {found.omega_weights, found.element_weights}) {
      EXPECT_TRUE(std::all_of(weights.begin(), weights.end(), [](double weight) {
        return std::isfinite(weight) && weight >= 0.0;
      })) << seed;
    }
    double squares = 0.0;
    const std::size_t elements = found.element_weights.size();
    for (std::size_t i = 0; i < found.values.size(); ++i) {
      squares += std::norm(found.omega_weights[i / elements] * found.element_weights[i % elements] *
                           found.values[i]);
    }
    EXPECT_NEAR(squares / static_cast<double>(found.values.size()), 1.0, 1e-12) << seed;
  }
}

}  // namespace
}  // namespace polefit
