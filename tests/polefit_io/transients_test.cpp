/// Models that are passive do not run away in a circuit, whatever their ports end in.

#include "transients.hpp"

#include <gtest/gtest.h>

#include "numerics/angular_frequency.hpp"
#include "polefit/enforcement.hpp"
#include "polefit/independent_passivity.hpp"
#include "polefit/passive_networks.hpp"
#include "support.hpp"

namespace polefit {
namespace {

using testing_support::runs_away;
using testing_support::Transient;
using testing_support::transients;

class TransientsTest : public testing_support::InOwnDirectory {};

/// A two-port that hands on 1.2 times what it gets at 1 GHz, or less, and reflects nothing.
Model two_port(double transmission) {
  const double omega = numerics::two_pi * 1e9;
  const std::complex<double> pole(-0.05 * omega, omega);
  const double residue = transmission * 0.05 * omega;
  Model model;
  model.poles = {pole, std::conj(pole)};
  model.residues = {0.0, 0.0, residue, residue, residue, residue, 0.0, 0.0};
  model.constants = {0.0, 0.0, 0.0, 0.0};
  model.proportionals = {0.0, 0.0, 0.0, 0.0};
  model.network = NetworkMatrix{'S', {50.0, 50.0}, all_elements(2)};
  return model;
}

TEST_F(TransientsTest, a_model_that_is_not_passive_is_seen_to_run_away) {
  const std::vector<Transient> found = transients(two_port(1.2), 1e9);
  ASSERT_EQ(found.size(), 3U);
  // Between 1 ohm and a short, both of which turn the wave, the way there and back amplifies by 1.44 x 0.96.
  EXPECT_TRUE(found[1].grows);
  EXPECT_GT(found[1].late, 10.0 * found[1].early);
  // Where nothing comes back nothing can grow.
  EXPECT_FALSE(found[2].grows);
  EXPECT_TRUE(runs_away(found));
}

TEST_F(TransientsTest, the_same_model_made_passive_does_not) {
  const std::vector<Transient> found = transients(two_port(0.98), 1e9);
  ASSERT_EQ(found.size(), 3U);
  EXPECT_FALSE(runs_away(found));
  EXPECT_GT(found[1].late, 1e-6);  // it still rings above the simulator's own tolerance of voltages
}

TEST_F(TransientsTest, a_voltage_out_of_all_bounds_and_a_run_without_end_count_as_running_away) {
  const std::vector<Transient> found = transients(two_port(3.0), 1e9);
  EXPECT_TRUE(runs_away(found));
  EXPECT_TRUE(runs_away({}));
}

/// Fits of passive networks, made passive where they are not: `count` of them, from a seed on. Returns how
/// many were not.
std::size_t expect_none_runs_away(std::size_t ports, std::uint64_t count, std::uint64_t first) {
  std::size_t repaired = 0;
  for (std::uint64_t seed = first; seed < first + count; ++seed) {
    const Network network = passive_networks::passive_network(seed, ports, 100 + 10 * (seed % 20), 'S');
    Options options;
    options.complex_pairs = 3 + seed % 6;
    const Enforcement made = enforce_passivity(fit(network, options).model, network.data());
    EXPECT_TRUE(made.report.passivity.passive) << "seed " << seed;
    repaired += made.report.remedy == Remedy::none ? 0 : 1;
    const double highest = network.frequencies.back();
    // What is touched is 1, and the judge rounds a sum of some twenty fractions.
    const double worst = independent::worst_measure(made.model, highest).measure;
    EXPECT_LE(worst, 1.0 + made.report.passivity.tolerance + 1e-12) << "seed " << seed;
    const std::vector<Transient> results = transients(made.model, highest);
    EXPECT_FALSE(runs_away(results)) << "seed " << seed;
    for (const Transient& result : results) {
      EXPECT_GT(result.largest, 0.1) << "seed " << seed << ", " << result.ending;  // the step came in
    }
  }
  return repaired;
}

TEST_F(TransientsTest, ten_models_made_passive_do_not) {
  EXPECT_GE(expect_none_runs_away(2, 8, 2005) + expect_none_runs_away(4, 2, 3001), 3U);
}

/// Half a minute: run with --gtest_also_run_disabled_tests.
TEST_F(TransientsTest, DISABLED_eighty_models_made_passive_do_not) {
  EXPECT_GE(expect_none_runs_away(2, 60, 2001) + expect_none_runs_away(4, 20, 3001), 30U);
}

}  // namespace
}  // namespace polefit
