#include "polefit/data/noise_floor.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numbers>

namespace polefit {
namespace {

constexpr std::size_t least_degree = 2;
constexpr std::size_t most_degree = 7;
/// Windows of neighbours that are looked at, evenly chosen: a median of so many is good to 2 per cent.
constexpr std::size_t most_windows = 4096;
/// With fewer, the median says nothing.
constexpr std::size_t fewest_windows = 16;
constexpr double plateau = 0.75;

using Window = std::array<double, most_degree + 1>;

/// The factors of the divided difference of degree d from sample `first` on, the sum of their squares 1;
/// false where two samples are at one frequency.
bool difference_factors(const Problem& problem, const std::vector<std::size_t>& order, std::size_t first,
                        std::size_t d, Window& factors) {
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

double noise_floor(const Problem& problem, std::size_t r, const std::vector<std::size_t>& order) {
  const double unit = unit_of_response(problem, r);
  std::array<double, most_degree + 1> size{};
  double least = std::numeric_limits<double>::infinity();
  std::vector<double> squares;
  for (std::size_t d = least_degree; d <= most_degree; ++d) {
    if (order.size() < d + fewest_windows) {
      return 0.0;
    }
    const std::size_t windows = order.size() - d;
    const std::size_t looked_at = std::min(windows, most_windows);
    squares.clear();
    Window factors{};
    for (std::size_t w = 0; w < looked_at; ++w) {
      const std::size_t first = w * windows / looked_at;
      if (!difference_factors(problem, order, first, d, factors)) {
        continue;
      }
      Complex difference;
      for (std::size_t i = 0; i <= d; ++i) {
        difference += factors[i] * (problem.value(r, order[first + i]) / unit);
      }
      squares.push_back(std::norm(difference));
    }
    if (squares.size() < fewest_windows) {
      return 0.0;
    }
    size[d] = std::sqrt(median(squares) / std::numbers::ln2);
    least = std::min(least, size[d]);
  }
  return size[7] > plateau * size[5] ? least * unit : 0.0;
}

}  // namespace polefit
