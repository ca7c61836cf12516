#include "polefit/passivity/room_poles.hpp"

#include <array>
#include <vector>

namespace polefit {
namespace {

/// A frequency and a damping in units of an end of the band. Measured: two pairs bring most, six nearly all
/// of what any number of them can.
struct Place {
  double frequency;
  double damping;
};

constexpr std::array first_above{Place{1.15, 0.2}, Place{1.6, 0.6}};
constexpr std::array second_above{Place{1.05, 0.08}, Place{1.2, 0.2}, Place{1.5, 0.4}, Place{2.2, 1.0}};
constexpr std::array second_below{Place{0.8, 0.3}, Place{0.4, 0.3}};
/// Of the upper end of the band, above which its lower end is not near 0.
constexpr double not_near_zero = 0.05;

std::vector<std::complex<double>> leaders(int stage, double lowest, double highest) {
  std::vector<std::complex<double>> poles;
  const auto add = [&](const auto& places, double end) {
    for (const Place& place : places) {
      poles.emplace_back(-place.damping * end, place.frequency * end);
    }
  };
  if (stage == 0) {
    return poles;
  }
  if (stage == 1) {
    add(first_above, highest);
    return poles;
  }
  add(second_above, highest);
  if (lowest > not_near_zero * highest) {
    add(second_below, lowest);
  }
  return poles;
}

}  // namespace

std::size_t room_pairs(int stage, double lowest, double highest) {
  return leaders(stage, lowest, highest).size();
}

ScaledModel with_room_poles(const ScaledModel& model, int stage, double lowest, double highest) {
  ScaledModel larger = model;
  for (const std::complex<double> pole : leaders(stage, lowest, highest)) {
    larger.poles.push_back(pole);
    larger.poles.push_back(std::conj(pole));
  }
  larger.x = Matrix(larger.functions(), model.x.columns);
  for (std::size_t j = 0; j < model.x.columns; ++j) {
    for (std::size_t k = 0; k < model.poles.size(); ++k) {
      larger.x(k, j) = model.x(k, j);
    }
    larger.x(larger.poles.size(), j) = model.x(model.poles.size(), j);
  }
  return larger;
}

}  // namespace polefit
