/// Models that are hard to make passive: what it costs.
///
/// Each error is at most what was measured when the test was written, and a tenth more: a search ends at a
/// point that is within a hundredth of the nearest one behind its planes, which one machine may find where
/// another stops a round earlier.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "enforcement_cases.hpp"
#include "independent_passivity.hpp"
#include "polefit/fit.hpp"
#include "support.hpp"

namespace polefit {
namespace {

using enforcement_cases::band;
using enforcement_cases::Case;
using enforcement_cases::disturb;
using enforcement_cases::exact;
using passivity_models::large_model;
using passivity_models::matrix_model;
using testing_support::Complex;

/// Poles and residues with their conjugates, one residue a response.
Model of_pairs(std::size_t ports, const std::vector<Complex>& leaders, const std::vector<Complex>& residues,
               const std::vector<double>& constants) {
  std::vector<Complex> poles;
  for (const Complex leader : leaders) {
    poles.insert(poles.end(), {leader, std::conj(leader)});
  }
  std::vector<Complex> all;
  for (const Complex residue : residues) {
    all.insert(all.end(), {residue, std::conj(residue)});
  }
  return matrix_model('S', ports, poles, all, constants);
}

/// Makes it passive, which is certified and judged, and gives back what it took.
EnforcementReport enforced(const Case& made, const EnforcementOptions& options = {}) {
  EXPECT_FALSE(passivity(made.model).passive);
  const Enforcement found = enforce_passivity(made.model, made.data(), options);
  EXPECT_TRUE(found.report.passivity.passive);
  const double top = *std::max_element(made.frequencies.begin(), made.frequencies.end());
  EXPECT_LE(independent::worst_measure(found.model, top).measure, 1.0 + 1e-9);
  return found.report;
}

TEST(HardEnforcement, one_pair_above_the_band) {
  const Case made = exact(of_pairs(1, {{-0.2, 1.2}}, {{0.2, 0.06}}, {0.2}), band(50, 0.0, 1.0));
  EXPECT_LE(enforced(made).error_after, 0.175);
  EXPECT_LE(enforced(made, {.most_room_pairs = 6}).error_after, 0.0038);
}

TEST(HardEnforcement, a_line_whose_model_violates_between_and_beyond_its_samples) {
  Case made;
  made.frequencies = band(100, 0.0, 1.0);
  const double delay = 30.0;
  std::vector<Complex> reflected;
  std::vector<Complex> passed;
  for (const double frequency : made.frequencies) {
    const double angle = delay * numerics::two_pi * frequency;
    passed.push_back(std::polar(0.9995, -angle));
    reflected.push_back(0.01 * (1.0 - std::polar(1.0, -2.0 * angle)));
  }
  for (const auto* const part : {&reflected, &passed, &passed, &reflected}) {
    made.values.insert(made.values.end(), part->begin(), part->end());
  }
  made.model = matrix_model('S', 2, {}, {}, {0.0, 0.0, 0.0, 0.0});
  Options options;
  options.complex_pairs = 15;
  const NetworkMatrix matrix = *made.model.network;
  made.model = fit(made.data(), options).model;
  made.model.network = matrix;
  EXPECT_LE(enforced(made).error_after, 6.3e-7);
  // As good as before.
  const EnforcementReport with_room = enforced(made, {.most_room_pairs = 6});
  EXPECT_LE(with_room.error_after, 1.05 * with_room.error_before + 1e-8);
}

TEST(HardEnforcement, a_resonance_that_no_sample_sees) {
  // Half way between samples 2e-4 apart, 10 times as far as it is wide.
  const double width = 1e-5;
  const Case made =
      exact(of_pairs(1, {{-width, 0.6}}, {{1.02 * width, 0.0}}, {0.1}), band(5001, 1e-4, 1.0001));
  EXPECT_LE(enforced(made).error_after, 0.0029);
}

TEST(HardEnforcement, a_constant_whose_largest_singular_value_is_1) {
  const Case made = exact(
      of_pairs(2, {{-0.1, 0.5}}, {{0.02, 0.01}, {0.01, 0.0}, {0.01, 0.0}, {0.1, 0.0}}, {1.0, 0.0, 0.0, -0.5}),
      band(60, 0.0, 1.0));
  EXPECT_LE(enforced(made).error_after, 0.062);
  EXPECT_LE(enforced(made, {.most_room_pairs = 6}).error_after, 0.0585);
}

TEST(HardEnforcement, poles_far_beyond_the_band_that_cancel_the_constant) {
  Model model = of_pairs(1, {{-0.2, 1.2}}, {{-0.1, -0.03}}, {0.3});
  model.poles.insert(model.poles.end(), {-1e9, -6e7});
  model.residues.insert(model.residues.end(), {0.0, -7.2e7});
  Case made = exact(model, band(60, 0.0, 1.0));
  made.model.origin = Origin{0.0, made.frequencies.back(), 60, std::vector<ResponseError>(1)};
  printf("%g\n", enforced(made).error_after);
  printf("%g\n", enforced(made, {.most_room_pairs = 6}).error_after);
}

TEST(HardEnforcement, many_ports) {
  const std::size_t ports = testing_support::address_space_is_ours ? 12 : 4;
  Case made = exact(large_model(ports, 24, 1.004), band(150, 0.0, 1.0));
  disturb(made, 3e-3, 1);
  const EnforcementReport report = enforced(made);
  // The model is not the nearest one to its disturbed samples: moving its residues gains more than it loses.
  EXPECT_LE(report.error_after, report.error_before);
}

}  // namespace
}  // namespace polefit
