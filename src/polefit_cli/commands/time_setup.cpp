#include "polefit_cli/commands/time_setup.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <numbers>
#include <numeric>
#include <utility>

namespace polefit_cli {
namespace {

constexpr double least_settling = 10.0;
constexpr double most_settling = 500.0;

double farthest_frequency(const polefit::Model& model) {
  double farthest = 0.0;
  for (const std::complex<double> pole : model.poles) {
    farthest = std::max(farthest, std::abs(pole) / (2.0 * std::numbers::pi));
  }
  return farthest;
}

/// By pole: the largest residue of any response over the damping.
std::vector<double> pole_weights(const polefit::Model& model) {
  std::vector<double> weights(model.poles.size());
  for (std::size_t r = 0; r < model.responses(); ++r) {
    for (std::size_t i = 0; i < weights.size(); ++i) {
      weights[i] = std::max(weights[i], std::abs(model.residues_of(r)[i]) / std::abs(model.poles[i].real()));
    }
  }
  return weights;
}

/// What counts beside the pole that counts most, by its weight.
constexpr double counting = 0.01;

/// The time in which the fastest pole that counts turns by a radian or falls by a factor of e; infinite
/// without one.
double resolving_step(const polefit::Model& model) {
  const std::vector<double> weights = pole_weights(model);
  const double most = std::accumulate(weights.begin(), weights.end(), 0.0, [](double a, double b) {
    return std::isfinite(b) ? std::max(a, b) : a;  // infinite on the axis
  });
  double fastest = 0.0;
  for (std::size_t i = 0; i < weights.size(); ++i) {
    if (weights[i] > 0.0 && !(weights[i] < counting * most)) {
      fastest = std::max(fastest, std::abs(model.poles[i]));
    }
  }
  return fastest > 0.0 ? 1.0 / fastest : std::numeric_limits<double>::infinity();
}

double largest_difference(const std::vector<double>& a, const std::vector<double>& b) {
  double most = 0.0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    most = std::max(most, std::abs(a[i] - b[i]));
  }
  return most;
}

double largest(const std::vector<double>& values) {
  return std::accumulate(values.begin(), values.end(), 0.0,
                         [](double most, double value) { return std::max(most, std::abs(value)); });
}

}  // namespace

TimeScale time_scale(const polefit::Model& model) {
  constexpr double time_constants = 5.0;
  double highest = model.origin ? model.origin->highest : 0.0;
  highest = highest > 0.0 ? highest : farthest_frequency(model);
  TimeScale scale;
  if (highest > 0.0 && std::isnormal(1.0 / highest)) {
    scale.shortest = 1.0 / highest;
  }
  const std::vector<double> weights = pole_weights(model);
  const double most = weights.empty() ? 0.0 : *std::max_element(weights.begin(), weights.end());
  double slowest = 0.0;
  for (std::size_t i = 0; i < weights.size(); ++i) {
    // A pole on the axis has no end of its own.
    if (weights[i] > 0.0 && !(weights[i] < counting * most)) {
      slowest = std::max(slowest, time_constants / std::abs(model.poles[i].real()));
    }
  }
  scale.settling = std::clamp(slowest, least_settling * scale.shortest, most_settling * scale.shortest);
  return scale;
}

polefit::Waveform step_waveform(double rise) {
  return rise > 0.0 ? polefit::Waveform{{0.0, rise}, {0.0, 1.0}} : polefit::Waveform{{0.0}, {1.0}};
}

polefit::Waveform impulse_waveform(double rise) { return {{0.0, rise, 2.0 * rise}, {0.0, 1.0 / rise, 0.0}}; }

polefit::Waveform pulse_waveform(double rise, double width) {
  return rise > 0.0 ? polefit::Waveform{{0.0, rise, width, width + rise}, {0.0, 1.0, 1.0, 0.0}}
                    : polefit::Waveform{{0.0, width, width}, {1.0, 1.0, 0.0}};
}

Settled settled_response(const polefit::Model& model, const std::vector<polefit::Termination>& terminations,
                         const std::vector<double>& times) {
  constexpr double most_steps = 2e7;
  constexpr double most_first_steps = 1e6;  // a second or so
  Settled settled{polefit::terminated_response(model, terminations, times), 0.0, true};
  if (settled.signals.exact || times.size() < 2) {
    return settled;
  }
  const double span = times.back() - times.front();
  double step = span / static_cast<double>(times.size() - 1);
  // Steps that are too long for what rings agree with longer ones as much as with the truth.
  const double resolving = resolving_step(model);
  if (resolving < step && span / resolving <= most_first_steps) {
    step = resolving;
    settled.signals = polefit::terminated_response(model, terminations, times, {.largest_step = step});
  }
  settled.settled = false;
  do {
    step *= 0.5;
    polefit::PortSignals finer =
        polefit::terminated_response(model, terminations, times, {.largest_step = step});
    const double size = largest(finer.voltages);
    const double difference = largest_difference(settled.signals.voltages, finer.voltages);
    settled.difference = size > 0.0 ? difference / size : 0.0;
    settled.settled = settled.difference <= settled_tolerance;
    settled.signals = std::move(finer);
  } while (!settled.settled && 2.0 * span / step <= most_steps);
  return settled;
}

}  // namespace polefit_cli
