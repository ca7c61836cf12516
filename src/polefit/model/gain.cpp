#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

#include "numerics/angular_frequency.hpp"
#include "polefit/model.hpp"

namespace polefit {
namespace {

/// About a resonance, in units of its damping: between two of these places the modulus of a single one does
/// not change by more than 6 per cent.
constexpr std::array places{-3.0, -2.0, -1.25, -0.75, -0.35, 0.0, 0.35, 0.75, 1.25, 2.0, 3.0};
/// Squares of two moduli that rounding does not make change places.
constexpr double far_below = 0.999;
/// Below this squares lose digits.
constexpr double smallest_square = 1e-140;
constexpr int steps_a_decade = 20;
constexpr double decades_beyond = 3.0;

/// Frequencies in hertz.
std::vector<double> places_to_look_at(const Model& model) {
  std::vector<double> resonances;
  std::vector<double> frequencies{0.0};
  double lowest = std::numeric_limits<double>::infinity();
  double highest = 0.0;
  for (const std::complex<double> pole : model.poles) {
    const double size = std::abs(pole) / numerics::two_pi;
    if (size > 0.0) {
      lowest = std::min(lowest, size);
      highest = std::max(highest, size);
    }
    if (pole.imag() > 0.0) {
      resonances.push_back(pole.imag() / numerics::two_pi);
      for (const double place : places) {
        frequencies.push_back(
            std::max(0.0, (pole.imag() + place * std::abs(pole.real())) / numerics::two_pi));
      }
    }
  }
  std::sort(resonances.begin(), resonances.end());
  for (std::size_t i = 1; i < resonances.size(); ++i) {
    frequencies.push_back(0.5 * (resonances[i - 1] + resonances[i]));
  }
  if (highest > 0.0) {
    const double first = std::log10(lowest) - decades_beyond;
    const double last = std::log10(highest) + decades_beyond;
    const int steps = static_cast<int>(std::ceil((last - first) * steps_a_decade));
    for (int i = 0; i <= steps; ++i) {
      frequencies.push_back(std::pow(10.0, first + (last - first) * i / steps));
    }
  }
  return frequencies;
}

}  // namespace

Gain largest_gain(const Model& model) {
  check_shape(model);
  Gain gain;
  const auto take = [&](double modulus, double frequency, std::size_t response) {
    if (modulus > gain.largest || (std::isnan(modulus) && !std::isnan(gain.largest))) {
      gain = {modulus, frequency, response};
    }
  };
  for (std::size_t r = 0; r < model.responses(); ++r) {
    take(std::abs(model.constants[r]), std::numeric_limits<double>::infinity(), r);
  }
  if (model.poles.empty()) {
    return gain;
  }
  const std::vector<double> frequencies = places_to_look_at(model);
  const bool proportional =
      std::any_of(model.proportionals.begin(), model.proportionals.end(), [](double h) { return h != 0.0; });
  Model without;
  if (proportional) {
    without = model;
    std::fill(without.proportionals.begin(), without.proportionals.end(), 0.0);
  }
  const std::vector<std::complex<double>> values = evaluate(proportional ? without : model, frequencies);
  // Nearly all are far from the largest, which the squares tell sooner.
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (!(std::norm(values[i]) < far_below * gain.largest * gain.largest) || gain.largest < smallest_square) {
      take(std::abs(values[i]), frequencies[i % frequencies.size()], i / frequencies.size());
    }
  }
  return gain;
}

}  // namespace polefit
