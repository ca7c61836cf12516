#include "polefit/data/noise_floor.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numbers>

namespace polefit {
namespace {

constexpr std::size_t least_degree = 2;
constexpr std::size_t most_degree = NoiseEstimate::most_degree;
/// Windows of neighbours that are looked at, evenly chosen: a median of so many is good to 2 per cent ...
constexpr std::size_t most_windows = 4096;
/// ... and where there are many responses, to 6 per cent, from so many of all.
constexpr std::size_t least_windows = 256;
constexpr std::size_t work_on_windows = 65536;
/// With fewer, the median says nothing.
constexpr std::size_t fewest_windows = 16;
constexpr double plateau = 0.75;

/// The factors of the divided difference of degree d from sample `first` on, the sum of their squares 1;
/// false where two samples are at one frequency.
bool difference_factors(const Problem& problem, const std::vector<std::size_t>& order, std::size_t first,
                        std::size_t d, std::array<double, most_degree + 1>& factors) {
  const double span = problem.omega[order[first + d]] - problem.omega[order[first]];
  double squares = 0.0;
  for (std::size_t i = 0; i <= d; ++i) {
    double product = 1.0;
    for (std::size_t j = 0; j <= d; ++j) {
      if (j != i) {
        product *= (problem.omega[order[first + i]] - problem.omega[order[first + j]]) / span;
      }
    }
    if (!(std::abs(product) > 0.0)) {
      return false;
    }
    factors[i] = 1.0 / product;
    squares += factors[i] * factors[i];
  }
  const double size = std::sqrt(squares);
  for (std::size_t i = 0; i <= d; ++i) {
    factors[i] /= size;
  }
  return std::isfinite(size);
}

double median(std::vector<double>& values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

}  // namespace

NoiseEstimate::NoiseEstimate(const Problem& problem, const std::vector<std::size_t>& order)
    : problem_(problem), order_(order) {
  const std::size_t wanted =
      std::clamp(work_on_windows / std::max<std::size_t>(1, problem.responses), least_windows, most_windows);
  for (std::size_t d = least_degree; d <= most_degree; ++d) {
    if (order.size() < d + fewest_windows) {
      return;
    }
    const std::size_t all = order.size() - d;
    const std::size_t looked_at = std::min(all, wanted);
    for (std::size_t w = 0; w < looked_at; ++w) {
      Window window{.first = w * all / looked_at, .factors = {}};
      if (difference_factors(problem, order, window.first, d, window.factors)) {
        windows_[d].push_back(window);
      }
    }
  }
}

double NoiseEstimate::of(std::size_t r) const {
  std::vector<Complex> values;
  values.reserve(order_.size());
  for (const std::size_t k : order_) {
    values.push_back(problem_.value(r, k));
  }
  std::array<double, most_degree + 1> size{};
  double least = std::numeric_limits<double>::infinity();
  std::vector<double> squares;
  for (std::size_t d = least_degree; d <= most_degree; ++d) {
    if (windows_[d].size() < fewest_windows) {
      return 0.0;
    }
    squares.clear();
    for (const Window& window : windows_[d]) {
      Complex difference;
      for (std::size_t i = 0; i <= d; ++i) {
        difference += window.factors[i] * values[window.first + i];
      }
      squares.push_back(std::norm(difference));
    }
    size[d] = std::sqrt(median(squares) / std::numbers::ln2);
    least = std::min(least, size[d]);
  }
  return size[7] > plateau * size[5] ? least : 0.0;
}

}  // namespace polefit
