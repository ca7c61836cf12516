#include "polefit/data/selection.hpp"

#include <algorithm>
#include <cmath>

namespace polefit {
namespace {

constexpr std::size_t fewest = 400;
constexpr std::size_t most = 3000;
/// Noise adds to the length of a curve with every sample, so that this many are looked at for its length.
constexpr std::size_t for_length = 4000;
constexpr double step_of_curve = 0.25;
/// All samples are taken when they are not more than so many times those wanted.
constexpr double worthwhile = 1.3;
constexpr double part_by_residual = 0.4;

class Curve {
 public:
  Curve(const Problem& problem, const Combinations& data, const std::vector<std::size_t>& order)
      : problem_(problem), data_(data), order_(order) {
    for (std::size_t i = 0; i < order.size(); ++i) {
      size_ += distance(i, i, true);
    }
    size_ = std::sqrt(size_ / static_cast<double>(order.size()));
  }
  /// Root mean square of the data.
  double size() const { return size_; }
  double step(std::size_t i, std::size_t j) const { return std::sqrt(distance(i, j, false)); }

 private:
  /// The square of the distance of two points, or of the first one from the origin.
  double distance(std::size_t i, std::size_t j, bool from_origin) const {
    double squares = 0.0;
    for (std::size_t c = 0; c < data_.count; ++c) {
      const Complex* const values = data_.values.data() + c * problem_.samples;
      const std::size_t r = problem_.has_own_weights() ? c : 0;
      const Complex to = problem_.sample_weight(r, order_[i]) * values[order_[i]];
      squares += std::norm(from_origin ? to : to - problem_.sample_weight(r, order_[j]) * values[order_[j]]);
    }
    return squares;
  }

  const Problem& problem_;
  const Combinations& data_;
  const std::vector<std::size_t>& order_;
  double size_ = 0.0;
};

double length(const Curve& curve, std::size_t samples) {
  const std::size_t points = std::min(samples, for_length);
  double sum = 0.0;
  std::size_t before = 0;
  for (std::size_t i = 1; i < points; ++i) {
    const std::size_t here = i * (samples - 1) / (points - 1);
    sum += std::min(curve.step(here, before), curve.size());
    before = here;
  }
  return sum;
}

void add_density(std::vector<double>& density, const std::vector<double>& steps, double part) {
  double sum = 0.0;
  for (const double step : steps) {
    sum += step;
  }
  for (std::size_t i = 0; i < steps.size() && sum > 0.0; ++i) {
    density[i] += part * steps[i] / sum;
  }
}

}  // namespace

Selection select_samples(const Problem& problem, const Combinations& data,
                         const std::vector<std::size_t>& order, const std::vector<double>& residual,
                         std::size_t least) {
  const std::size_t all = order.size();
  const Curve curve(problem, data, order);
  const double points = curve.size() > 0.0 ? 2.0 * length(curve, all) / (step_of_curve * curve.size()) : 0.0;
  const std::size_t wanted = std::max(
      least,
      static_cast<std::size_t>(std::clamp(points, static_cast<double>(fewest), static_cast<double>(most))));
  Selection selection;
  if (static_cast<double>(all) <= worthwhile * static_cast<double>(wanted)) {
    selection.samples = order;
    selection.weights.assign(all, 1.0);
    selection.all = true;
    return selection;
  }
  // What lies between a sample and the one before it, so that the first has nothing.
  std::vector<double> even(all, 1.0);
  std::vector<double> along(all);
  even[0] = 0.0;
  for (std::size_t i = 1; i < all; ++i) {
    along[i] = std::min(curve.step(i, i - 1), 0.5 * curve.size());
  }
  std::vector<double> density(all);
  const double others = residual.empty() ? 1.0 : 1.0 - part_by_residual;
  add_density(density, even, 0.5 * others);
  add_density(density, along, 0.5 * others);
  if (!residual.empty()) {
    add_density(density, residual, part_by_residual);
  }
  double total = 0.0;
  for (const double part : density) {
    total += part;
  }
  std::vector<std::size_t> places;
  double sum = 0.0;
  for (std::size_t i = 0; i < all; ++i) {
    sum += density[i];
    const double due = total * static_cast<double>(places.size()) / static_cast<double>(wanted - 1);
    if (sum >= due || i + 1 == all) {
      places.push_back(i);
    }
  }
  for (std::size_t i = 0; i < places.size(); ++i) {
    const double from = i == 0 ? -0.5 : 0.5 * static_cast<double>(places[i - 1] + places[i]);
    const double to = i + 1 == places.size() ? static_cast<double>(all) - 0.5
                                             : 0.5 * static_cast<double>(places[i] + places[i + 1]);
    selection.samples.push_back(order[places[i]]);
    selection.weights.push_back(std::sqrt(to - from));
  }
  return selection;
}

}  // namespace polefit
