/// The passivity of models as fits of passive networks make them, against code of the tests' own.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "independent_passivity.hpp"
#include "numerics/angular_frequency.hpp"
#include "passive_networks.hpp"
#include "polefit/passivity.hpp"
#include "polefit/passivity/scaled_model.hpp"

namespace polefit {
namespace {

Model fitted(std::uint64_t seed, std::size_t ports, char parameter) {
  Network network = passive_networks::passive_network(seed, ports, 100 + 10 * (seed % 20), parameter);
  if (seed % 4 == 1) {
    passive_networks::add_noise(network, 1e-3, seed);
  }
  Options options;
  options.complex_pairs = 3 + seed % 8;
  options.proportional = parameter != 'S' && seed % 2 == 0;
  return fit(network, options).model;
}

TEST(FittedPassivity, is_what_the_independent_judge_finds) {
  int passive = 0;
  int judged = 0;
  for (std::uint64_t seed = 0; seed < 60; ++seed) {
    const char parameter = seed % 5 == 3 ? 'Y' : seed % 5 == 4 ? 'Z' : 'S';
    const Model model = fitted(seed, 1 + seed % 4, parameter);
    const Passivity found = passivity(model);
    const independent::Worst worst = independent::worst_measure(model, model.origin->highest);
    const bool scattering = parameter == 'S';
    EXPECT_TRUE(found.decided) << seed;
    EXPECT_EQ(found.proportional_fault.empty(), !std::isinf(worst.measure)) << seed;
    if (!found.proportional_fault.empty()) {
      EXPECT_FALSE(found.passive) << seed;
      continue;
    }
    const double size = scattering ? 1.0 : scaled_model(model).scale;
    const double limit = scattering ? 1.0 + found.tolerance : found.tolerance * size;
    // Rounding of the certificate, a sum of some twenty partial fractions each of a hundredth of the size.
    const double rounding = 1e-12 * size;
    if (std::abs(worst.measure - limit) > rounding) {
      EXPECT_EQ(found.passive, worst.measure <= limit) << seed;
    }
    const double extreme = scattering ? found.extreme : -found.extreme;
    EXPECT_NEAR(extreme, worst.measure, 2e-9 * std::max(size, worst.measure)) << seed;  // what is certified
    passive += found.passive ? 1 : 0;
    ++judged;
    if (!found.passive) {
      const double hertz = worst.omega / numerics::two_pi;
      EXPECT_TRUE(std::any_of(found.violations.begin(), found.violations.end(), [&](const Violation& v) {
        return hertz >= v.lowest && hertz <= v.highest;
      })) << seed;
    }
  }
  EXPECT_GT(passive, 10);
  EXPECT_GT(judged - passive, 10);
}

}  // namespace
}  // namespace polefit
