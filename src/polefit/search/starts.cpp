#include "polefit/search/starts.hpp"

#include <algorithm>
#include <cmath>

#include "polefit/fitting/starting_poles.hpp"

namespace polefit {
namespace {

constexpr double decades_ratio = 30.0;
constexpr double low_median = 0.3;
/// Part of the places that are spread evenly.
constexpr double evenly = 0.1;
constexpr double least_damping = 0.005;

}  // namespace

Poles even_start(const Problem& problem, std::size_t order, double highest) {
  Options options;
  options.real_poles = order % 2;
  options.complex_pairs = order / 2;
  Poles poles = starting_poles(problem, options);
  const double low = *std::min_element(problem.omega.begin(), problem.omega.end());
  for (Complex& pole : poles) {
    // The band shrinks towards its lower end.
    const double size = std::abs(pole);
    if (size > low) {
      pole *= (low + highest * (size - low)) / size;
    }
  }
  return poles;
}

Poles logarithmic_start(const Problem& problem, std::size_t order) {
  Options options;
  options.complex_pairs = order / 4;
  options.real_poles = order - 2 * options.complex_pairs;
  options.placement = Placement::logarithmic;
  return starting_poles(problem, options);
}

bool over_decades(const Problem& problem) {
  std::vector<double> omega;
  for (const double value : problem.omega) {
    if (value > 0.0) {
      omega.push_back(value);
    }
  }
  if (omega.empty()) {
    return false;
  }
  std::sort(omega.begin(), omega.end());
  return omega.back() > decades_ratio * omega.front() && omega[omega.size() / 2] < low_median * omega.back();
}

Poles grown_start(const Problem& problem, const Poles& poles, const std::vector<Complex>& residual,
                  std::size_t order) {
  const std::size_t samples = problem.samples;
  std::vector<double> squares(samples);
  for (std::size_t i = 0; i < residual.size(); ++i) {
    squares[i % samples] += std::norm(residual[i]);
  }
  double total = 0.0;
  for (const double square : squares) {
    total += square;
  }
  const double each = evenly * total / static_cast<double>(samples);
  const std::size_t pairs = order > poles.size() ? (order - poles.size()) / 2 : 0;
  std::vector<double> places;
  double sum = 0.0;
  for (std::size_t k = 0; k < samples && places.size() < pairs; ++k) {
    sum += squares[k] + each;
    while (places.size() < pairs && sum >= (static_cast<double>(places.size()) + 0.5) * (1.0 + evenly) *
                                               total / static_cast<double>(pairs)) {
      places.push_back(problem.omega[k]);
    }
  }
  Poles grown = poles;
  const double top = problem.omega.back();
  for (std::size_t i = 0; i < places.size(); ++i) {
    const double before = i == 0 ? problem.omega.front() : places[i - 1];
    const double after = i + 1 == places.size() ? top : places[i + 1];
    const double distance = 0.5 * std::abs(after - before);
    double omega = places[i] > 0.0 ? places[i] : 1e-3 * top;
    while (std::any_of(grown.begin(), grown.end(),
                       [&](Complex pole) { return std::abs(pole.imag() - omega) < 1e-6 * omega; })) {
      omega *= 1.0 + least_damping;
    }
    const Complex upper(-std::max(0.25 * distance, least_damping * omega), omega);
    grown.insert(grown.end(), {upper, std::conj(upper)});
  }
  return grown;
}

}  // namespace polefit
