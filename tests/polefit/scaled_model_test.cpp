#include "polefit/passivity/scaled_model.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "numerics.hpp"
#include "numerics/angular_frequency.hpp"
#include "passivity_models.hpp"

namespace polefit {
namespace {

using testing_support::Complex;
using testing_support::eps;
using testing_support::RandomNumbers;

constexpr std::uint64_t models = 20;

/// Of frequencies in GHz, with residues of S or Y and terms proportional to s for Y; responses not row by
/// row.
Model random_model(std::uint64_t seed, bool scattering) {
  Model model = passivity_models::random_model(seed, scattering, 0.9);
  for (Complex& pole : model.poles) {
    pole *= 1e9;
  }
  for (Complex& residue : model.residues) {
    residue *= 1e9;
  }
  RandomNumbers numbers(seed);
  if (!scattering) {
    for (double& proportional : model.proportionals) {
      proportional = 1e-9 * numbers();
    }
  }
  std::reverse(model.network->elements.begin(), model.network->elements.end());
  return model;
}

TEST(ScaledModel, the_way_back_is_exact) {
  for (std::uint64_t seed = 0; seed < models; ++seed) {
    for (const bool scattering : {true, false}) {
      const Model model = random_model(seed, scattering);
      const Model back = unscaled(model, scaled_model(model));
      EXPECT_EQ(back.poles, model.poles) << seed;
      EXPECT_EQ(back.residues, model.residues) << seed;
      EXPECT_EQ(back.constants, model.constants) << seed;
      EXPECT_EQ(back.proportionals, model.proportionals) << seed;
      EXPECT_EQ(back.network->elements, model.network->elements) << seed;
    }
  }
}

/// Makes the first pair of poles one that no response has.
void leave_out_the_first_pair(Model& model) {
  for (std::size_t r = 0; r < model.responses(); ++r) {
    std::fill_n(&model.residues[r * model.poles.size()], 2, 0.0);
  }
}

TEST(ScaledModel, poles_that_were_left_out_stay_without_residues) {
  for (std::uint64_t seed = 0; seed < models; ++seed) {
    Model model = random_model(seed, true);
    leave_out_the_first_pair(model);
    const ScaledModel scaled = scaled_model(model);
    ASSERT_EQ(scaled.poles.size(), model.poles.size() - 2) << seed;
    const Model back = unscaled(model, scaled);
    EXPECT_EQ(back.poles, model.poles) << seed;
    EXPECT_EQ(back.residues, model.residues) << seed;
  }
}

/// Adds a pair and a real pole, and gives all functions and terms proportional to s other numbers.
void change(ScaledModel& scaled, RandomNumbers& numbers) {
  scaled.poles.insert(scaled.poles.end(), {{-0.5, 4.0}, {-0.5, -4.0}, {-3.0, 0.0}});
  scaled.x = Matrix(scaled.functions(), scaled.ports * scaled.ports);
  std::generate(scaled.x.elements.begin(), scaled.x.elements.end(), std::ref(numbers));
  std::generate(scaled.e.elements.begin(), scaled.e.elements.end(), std::ref(numbers));
}

TEST(ScaledModel, poles_that_were_added_stand_behind_all_others) {
  for (std::uint64_t seed = 0; seed < models; ++seed) {
    Model model = random_model(seed, true);
    if (seed % 2 == 0) {
      leave_out_the_first_pair(model);
    }
    ScaledModel scaled = scaled_model(model);
    RandomNumbers numbers(seed);
    change(scaled, numbers);
    const Model back = unscaled(model, scaled);
    EXPECT_NO_THROW(check(back)) << seed;
    std::vector<Complex> poles = model.poles;
    for (const Complex added : {Complex{-0.5, 4.0}, Complex{-0.5, -4.0}, Complex{-3.0, 0.0}}) {
      poles.push_back(scaled.unit * added);
    }
    EXPECT_EQ(back.poles, poles) << seed;
  }
}

/// How far the values of a model are from those of the scaled one at most, in eps times the sum of the moduli
/// of what they are sums of, with elements up to 1.
double largest_difference(const Model& model, const ScaledModel& scaled) {
  double largest = 0.0;
  for (const double frequency : {0.0, 1e7, 2e8, 1e9}) {
    const std::vector<Complex> values = evaluate(model, std::vector<double>{frequency});
    const double omega = numerics::two_pi * frequency / scaled.unit;
    const ComplexMatrix expected = value_at(scaled, omega);
    double size = omega;
    for (const Complex phi : basis_at(scaled, omega)) {
      size += std::abs(phi);
    }
    for (std::size_t r = 0; r < values.size(); ++r) {
      const std::size_t row = model.network->elements[r].row - 1;
      const std::size_t column = model.network->elements[r].column - 1;
      const Complex of_scaled(expected.re(row, column),
                              expected.im(row, column) + omega * scaled.e(row, column));
      largest = std::max(largest, std::abs(values[r] - of_scaled) / (eps * size));
    }
  }
  return largest;
}

TEST(ScaledModel, the_way_back_takes_what_was_changed) {
  for (std::uint64_t seed = 0; seed < models; ++seed) {
    for (const bool scattering : {true, false}) {
      Model model = random_model(seed, scattering);
      if (seed % 2 == 0) {
        leave_out_the_first_pair(model);
      }
      ScaledModel scaled = scaled_model(model);
      RandomNumbers numbers(seed);
      change(scaled, numbers);
      EXPECT_LE(largest_difference(unscaled(model, scaled), scaled), 10.0) << seed;  // worst of all: 1.05
    }
  }
}

}  // namespace
}  // namespace polefit
