#include "polefit_cli/commands/time_setup.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <vector>

namespace {

using namespace polefit_cli;

polefit::Model one_port(char parameter, std::vector<std::complex<double>> poles,
                        std::vector<std::complex<double>> residues, double constant) {
  polefit::Model model;
  model.poles = std::move(poles);
  model.residues = std::move(residues);
  model.constants = {constant};
  model.proportionals = {0.0};
  model.network = polefit::NetworkMatrix{parameter, {50.0}, polefit::all_elements(1)};
  return model;
}

TEST(TimeScale, the_shortest_time_is_that_of_the_band_or_else_of_the_farthest_pole) {
  polefit::Model model = one_port('S', {-2.0 * std::numbers::pi * 1e9}, {1e9}, 0.0);
  EXPECT_DOUBLE_EQ(time_scale(model).shortest, 1e-9);
  model.origin.emplace();
  model.origin->highest = 4e9;
  EXPECT_EQ(time_scale(model).shortest, 0.25e-9);
  EXPECT_EQ(time_scale(one_port('S', {}, {}, 0.5)).shortest, 1.0);
}

TEST(TimeScale, slow_poles_count_by_residue_over_damping_and_within_limits) {
  polefit::Model model = one_port('S', {-1.0, -100.0}, {1.0, 100.0}, 0.0);
  model.origin.emplace();
  model.origin->highest = 10.0;
  EXPECT_DOUBLE_EQ(time_scale(model).settling, 5.0);
  model.residues[0] = 0.0099;
  EXPECT_DOUBLE_EQ(time_scale(model).settling, 10.0 * 0.1);  // 5 / 100 is shorter than ten periods
  model.residues[0] = 1.0;
  model.poles[0] = -0.001;
  EXPECT_DOUBLE_EQ(time_scale(model).settling, 500.0 * 0.1);
  model.poles[0] = 0.0;
  EXPECT_DOUBLE_EQ(time_scale(model).settling, 500.0 * 0.1);
}

TEST(Excitations, they_are_what_they_are_called) {
  EXPECT_EQ(step_waveform(0.5).times, (std::vector<double>{0.0, 0.5}));
  EXPECT_EQ(step_waveform(0.5).values, (std::vector<double>{0.0, 1.0}));
  EXPECT_EQ(step_waveform(0.0).values, (std::vector<double>{1.0}));
  const polefit::Waveform impulse = impulse_waveform(0.25);
  EXPECT_EQ(impulse.times, (std::vector<double>{0.0, 0.25, 0.5}));
  EXPECT_EQ(impulse.values, (std::vector<double>{0.0, 4.0, 0.0}));  // of area 1
  const polefit::Waveform pulse = pulse_waveform(0.25, 2.0);
  EXPECT_EQ(polefit::values_at(pulse, std::vector<double>{0.125, 2.125}), (std::vector<double>{0.5, 0.5}));
  EXPECT_EQ(polefit::values_at(pulse_waveform(0.0, 2.0), std::vector<double>{0.0, 1.0, 2.0}),
            (std::vector<double>{1.0, 1.0, 0.0}));
}

TEST(SettledResponse, steps_are_halved_until_the_voltages_stay) {
  // A capacitor of 1 farad behind 0.2 ohms, from a step: points that are too far apart for a line between
  // them.
  const polefit::Model capacitor = one_port('Z', {0.0}, {1.0}, 0.0);
  const std::vector<double> times = polefit::even_times(0.1, 21);
  const std::vector<polefit::Termination> ends{{0.2, step_waveform(0.1)}};
  const polefit::PortSignals coarse = polefit::terminated_response(capacitor, ends, times);
  const Settled settled = settled_response(capacitor, ends, times);
  EXPECT_TRUE(settled.settled);
  EXPECT_GT(settled.difference, 0.0);
  EXPECT_LE(settled.difference, settled_tolerance);
  const auto part = [](double t) { return t <= 0.0 ? 0.0 : t + 0.2 * std::expm1(-t / 0.2); };
  double worst = 0.0;
  double worst_coarse = 0.0;
  for (std::size_t k = 0; k < times.size(); ++k) {
    const double expected = 10.0 * (part(times[k]) - part(times[k] - 0.1));
    worst = std::max(worst, std::abs(settled.signals.voltages[k] - expected));
    worst_coarse = std::max(worst_coarse, std::abs(coarse.voltages[k] - expected));
  }
  EXPECT_LE(worst, settled_tolerance);  // the error of the finer run is a third of the change
  EXPECT_GT(worst_coarse, 10.0 * settled_tolerance);
}

TEST(SettledResponse, ringing_between_points_far_apart_does_not_pass_for_settled) {
  // A resonance of 1 Hz and quality factor 50, ten periods between two points, four times the reference at
  // its port: steps of ten periods and of five agree with each other and not with the truth.
  const double w = 2.0 * std::numbers::pi;
  const std::complex<double> pole(-0.01 * w, w);
  const polefit::Model model = one_port('S', {pole, std::conj(pole)}, {0.008 * w, 0.008 * w}, -0.5);
  const std::vector<polefit::Termination> ends{{200.0, step_waveform(0.1)}};
  constexpr std::size_t points = 201;
  constexpr std::size_t between = 100;
  const Settled coarse = settled_response(model, ends, polefit::even_times(10.0, points));
  const Settled fine =
      settled_response(model, ends, polefit::even_times(10.0 / between, (points - 1) * between + 1));
  EXPECT_TRUE(coarse.settled);
  EXPECT_TRUE(fine.settled);
  double worst = 0.0;
  double largest = 0.0;
  for (std::size_t k = 0; k < points; ++k) {
    worst = std::max(worst, std::abs(coarse.signals.voltages[k] - fine.signals.voltages[k * between]));
    largest = std::max(largest, std::abs(fine.signals.voltages[k * between]));
  }
  EXPECT_LE(worst, 2.0 * settled_tolerance * largest);  // each within the tolerance
}

TEST(SettledResponse, what_is_exact_is_left_as_it_is) {
  const polefit::Model model = one_port('S', {-1.0}, {1.0}, 0.0);
  const Settled settled = settled_response(model, {{50.0, step_waveform(0.0)}}, polefit::even_times(1.0, 3));
  EXPECT_TRUE(settled.settled);
  EXPECT_EQ(settled.difference, 0.0);
  EXPECT_TRUE(settled.signals.exact);
}

}  // namespace
