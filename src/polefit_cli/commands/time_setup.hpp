/// What a network is driven by over time, for how long, and in which steps.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "polefit/model.hpp"
#include "polefit/time_response.hpp"

namespace polefit_cli {

/// More outputs in time than anybody draws, and more values of all ports than fit into memory everywhere.
inline constexpr double most_outputs = 1e7;
inline constexpr double most_output_values = 2e7;

/// The times that a model has by itself.
struct TimeScale {
  double shortest = 1.0;  ///< in seconds: one over the highest frequency of the fit, or of the farthest pole
  /// Five time constants of the slowest pole that counts for a hundredth of the one that counts most, by its
  /// residue over its damping; from 10 to 500 times the shortest time.
  double settling = 10.0;
};
TimeScale time_scale(const polefit::Model& model);

/// A ramp from 0 to 1 V.
polefit::Waveform step_waveform(double rise);
/// A triangle of 1 Vs, which rises and falls in that time. It is above 0.
polefit::Waveform impulse_waveform(double rise);
/// 1 V for that time, measured at half of it, which is not below that of a ramp.
polefit::Waveform pulse_waveform(double rise, double width);

/// Signals with steps that are short enough.
struct Settled {
  polefit::PortSignals signals;
  /// How far the voltages are from those of steps of half the length, in parts of the largest one; 0 of what
  /// is exact.
  double difference = 0.0;
  bool settled = true;  ///< whether that is within the tolerance
};

/// Halves the steps until voltages change by no more than this part of the largest.
inline constexpr double settled_tolerance = 1e-4;

/// `terminated_response` with steps that are halved until that changes hardly anything: once at least, and
/// then as far as the steps stay fewer than twenty million. The first ones resolve the fastest pole that
/// counts where a million does.
Settled settled_response(const polefit::Model& model, const std::vector<polefit::Termination>& terminations,
                         const std::vector<double>& times);

}  // namespace polefit_cli
