#include "polefit/fitting/starting_poles.hpp"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <string>

#include "polefit/error.hpp"
#include "polefit/relocation/zeros.hpp"

namespace polefit {
namespace {

/// The usual damping of starting pairs: weak, so that each has a place of its own in the band.
constexpr double damping = 0.01;

struct Band {
  double low;
  double high;
};

/// The band of the samples; a lowest frequency of 0 is replaced where decades are counted from it.
Band band_of(const Problem& problem, bool logarithmic) {
  const auto [low, high] = std::minmax_element(problem.omega.begin(), problem.omega.end());
  Band band{*low, *high};
  if (!(band.high > 0.0)) {
    band.high = 1.0;
  }
  if (logarithmic && !(band.low > 0.0)) {
    band.low = band.high;
    for (const double omega : problem.omega) {
      band.low = omega > 0.0 ? std::min(band.low, omega) : band.low;
    }
    if (band.low == band.high) {
      band.low = 1e-3 * band.high;
    }
  }
  return band;
}

/// `count` places over the band, its ends included; the middle for one.
std::vector<double> places(const Band& band, std::size_t count, bool logarithmic) {
  std::vector<double> result;
  for (std::size_t i = 0; i < count; ++i) {
    const double t = count == 1 ? 0.5 : static_cast<double>(i) / static_cast<double>(count - 1);
    result.push_back(logarithmic ? band.low * std::pow(band.high / band.low, t)
                                 : band.low + (band.high - band.low) * t);
  }
  return result;
}

/// The frequencies of the largest local maxima of the power, as far as there are.
std::vector<double> peaks(const Problem& problem, std::size_t count) {
  std::vector<std::size_t> by_frequency(problem.samples);
  std::iota(by_frequency.begin(), by_frequency.end(), std::size_t{0});
  std::stable_sort(by_frequency.begin(), by_frequency.end(),
                   [&](std::size_t i, std::size_t k) { return problem.omega[i] < problem.omega[k]; });
  std::vector<std::size_t> maxima;
  for (std::size_t i = 1; i + 1 < by_frequency.size(); ++i) {
    const double power = problem.power[by_frequency[i]];
    if (power > problem.power[by_frequency[i - 1]] && power >= problem.power[by_frequency[i + 1]]) {
      maxima.push_back(by_frequency[i]);
    }
  }
  std::stable_sort(maxima.begin(), maxima.end(),
                   [&](std::size_t i, std::size_t k) { return problem.power[i] > problem.power[k]; });
  maxima.resize(std::min(maxima.size(), count));
  std::vector<double> result;
  result.reserve(maxima.size());
  for (const std::size_t i : maxima) {
    result.push_back(problem.omega[i]);
  }
  return result;
}

Poles given_poles(const Problem& problem, const std::vector<Complex>& given) {
  Poles poles;
  for (std::size_t i = 0; i < given.size(); ++i) {
    const Complex pole = given[i];
    if (!std::isfinite(pole.real()) || !std::isfinite(pole.imag())) {
      throw Error(ErrorKind::bad_option,
                  "starting pole " + std::to_string(i) + " (counted from 0) is not finite");
    }
    if (is_real(pole)) {
      poles.push_back(pole / problem.scale);
      continue;
    }
    if (i + 1 == given.size() || given[i + 1] != std::conj(pole)) {
      throw Error(ErrorKind::bad_option,
                  "starting pole " + std::to_string(i) +
                      " (counted from 0) is complex and its conjugate does not follow");
    }
    const Complex upper = Complex(pole.real(), std::abs(pole.imag())) / problem.scale;
    poles.insert(poles.end(), {upper, std::conj(upper)});
    ++i;
  }
  return poles;
}

}  // namespace

Poles starting_poles(const Problem& problem, const Options& options) {
  if (!options.starting_poles.empty()) {
    Poles poles = given_poles(problem, options.starting_poles);
    if (options.stable) {
      move_left(poles);
    }
    return poles;
  }
  const bool logarithmic = options.placement == Placement::logarithmic;
  const Band band = band_of(problem, logarithmic);
  std::vector<double> pairs;
  if (options.placement == Placement::peaks) {
    pairs = peaks(problem, options.complex_pairs);
  }
  for (const double omega : places(band, options.complex_pairs - pairs.size(), logarithmic)) {
    pairs.push_back(omega);
  }
  std::sort(pairs.begin(), pairs.end());
  Poles poles;
  for (double omega : pairs) {
    // Two pairs of one place would be one; a pair at 0 Hz would be two real poles.
    if (!(omega > 0.0)) {
      omega = 1e-3 * band.high;
    }
    while (std::any_of(poles.begin(), poles.end(),
                       [&](Complex pole) { return std::abs(pole.imag() - omega) < 1e-6 * omega; })) {
      omega *= 1.0 + damping;
    }
    const Complex upper(-damping * omega, omega);
    poles.insert(poles.end(), {upper, std::conj(upper)});
  }
  for (double omega : places(band, options.real_poles, logarithmic)) {
    if (!(omega > 0.0)) {
      omega = 1e-3 * band.high;
    }
    while (std::any_of(poles.begin(), poles.end(), [&](Complex pole) {
      return is_real(pole) && std::abs(pole.real() + omega) < 1e-6 * omega;
    })) {
      omega *= 1.0 + damping;
    }
    poles.emplace_back(-omega, 0.0);
  }
  return poles;
}

}  // namespace polefit
