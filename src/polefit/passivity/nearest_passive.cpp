#include "polefit/passivity/nearest_passive.hpp"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <utility>
#include <vector>

#include "polefit/passivity/certificate.hpp"
#include "polefit/passivity/extreme_value.hpp"
#include "polefit/passivity/planes.hpp"

namespace polefit {
namespace {

constexpr int places = 12;  // about a pole, in units of its damping
constexpr int steps_a_decade = 12;
constexpr int decades = 3;  // on either side of the end of the band
constexpr int steps_in_band = 200;
constexpr int sections = 24;
constexpr double golden = 0.6180339887498949;
/// Of what is still violated, by which planes are moved inwards for a passive model.
constexpr double restoration = 1.5;
/// A passive model whose error exceeds that of the nearest one behind the planes by less is as good. Twice as
/// much is as good after every five rounds more: what is slow to find is not worth its time.
constexpr double as_good = 0.01;
constexpr double patient_rounds = 10.0;
constexpr double rounds_to_double = 5.0;

std::vector<double> grid_of(const ScaledModel& model, double highest) {
  std::vector<double> omegas{0.0};
  for (const std::complex<double> pole : model.poles) {
    if (pole.imag() < 0.0) {
      continue;
    }
    for (int place = 1 - places; place < places; ++place) {
      const double omega = pole.imag() + place * std::abs(pole.real());
      if (omega > 0.0) {
        omegas.push_back(omega);
      }
    }
  }
  for (int i = 1; i <= steps_in_band; ++i) {
    omegas.push_back(highest * i / steps_in_band);
  }
  for (int i = -decades * steps_a_decade; i <= decades * steps_a_decade; ++i) {
    omegas.push_back(highest * std::pow(10.0, static_cast<double>(i) / steps_a_decade));
  }
  std::sort(omegas.begin(), omegas.end());
  omegas.erase(std::unique(omegas.begin(), omegas.end()), omegas.end());
  omegas.push_back(std::numeric_limits<double>::infinity());
  return omegas;
}

class Search {
 public:
  Search(const ScaledModel& model, const Harm& harm, const NearestOptions& options)
      : current_(model),
        harm_(harm),
        options_(options),
        limit_((model.scattering ? 1.0 : 0.0) - options.margin),
        planes_(harm, limit_),
        grid_(grid_of(model, harm.highest())) {}

  NearestPassive run() {
    Matrix y = harm_.centre();
    bool passive = attempt(y);
    std::size_t round = 0;
    while (!passive && round < options_.most_rounds && !planes_.empty()) {
      ++round;
      y = planes_.nearest(0.0, 0.0);
      const double bound = harm_.in_band(y);
      const Violation left = look(y);
      y = planes_.nearest(restoration * left.in_band, restoration * left.outside);
      planes_.add(left.peaks);
      const double impatience =
          std::exp2(std::max(0.0, static_cast<double>(round) - patient_rounds) / rounds_to_double);
      if (harm_.in_band(y) <= std::max((1.0 + as_good * impatience) * bound, options_.error_enough)) {
        passive = attempt(y);
      } else {
        planes_.add(look(y).peaks);
      }
      planes_.drop_idle();
    }
    return {current_, passive, harm_.in_band(y), round};
  }

 private:
  struct Violation {
    double in_band = 0.0;
    double outside = 0.0;
    std::vector<Peak> peaks;
  };

  /// Whether a model is passive; planes are added where it is not.
  bool attempt(const Matrix& y) {
    const Violation violation = look(y);
    planes_.add(violation.peaks);
    // What exceeds the limit within the margin may be passive yet.
    if (std::max(violation.in_band, violation.outside) > options_.margin + options_.tolerance) {
      return false;
    }
    const double limit = (current_.scattering ? 1.0 : 0.0) + options_.tolerance;
    const Certificate certificate = certify(current_, limit, Thoroughness::yes_or_no);
    if (certificate.witness) {
      const double omega = *certificate.witness;
      grid_.insert(std::upper_bound(grid_.begin(), grid_.end(), omega), omega);
      planes_.add(peaks_at(current_, omega, limit_, options_.symmetric));
    }
    return certificate.holds;
  }

  /// The local maxima of the largest measure that are above the limit, with all measures above it there.
  Violation look(const Matrix& y) {
    current_.x = harm_.expanded(y);
    const std::vector<double> values = measures_above(current_, grid_, limit_);
    Violation violation;
    for (std::size_t i = 0; i < grid_.size(); ++i) {
      const bool rises = i == 0 || values[i] >= values[i - 1];
      const bool falls = i + 1 == grid_.size() || values[i] > values[i + 1];
      if (!(values[i] > limit_ && rises && falls)) {
        continue;
      }
      const double omega = i + 1 == grid_.size() ? grid_[i] : refined(i, values[i]);
      std::vector<Peak> peaks = peaks_at(current_, omega, limit_, options_.symmetric);
      if (peaks.empty()) {
        continue;
      }
      double& side =
          omega >= harm_.lowest() && omega <= harm_.highest() ? violation.in_band : violation.outside;
      side = std::max(side, peaks.front().measure - limit_);
      std::move(peaks.begin(), peaks.end(), std::back_inserter(violation.peaks));
    }
    return violation;
  }

  /// The local maximum about a place of the grid, by golden sections.
  double refined(std::size_t place, double value) const {
    double left = grid_[place == 0 ? 0 : place - 1];
    double right = grid_[std::min(place + 1, grid_.size() - 2)];
    double first = right - golden * (right - left);
    double second = left + golden * (right - left);
    double of_first = measure_at(current_, first);
    double of_second = measure_at(current_, second);
    for (int i = 0; i < sections; ++i) {
      if (of_first > of_second) {
        right = second;
        second = first;
        of_second = of_first;
        first = right - golden * (right - left);
        of_first = measure_at(current_, first);
      } else {
        left = first;
        first = second;
        of_first = of_second;
        second = left + golden * (right - left);
        of_second = measure_at(current_, second);
      }
    }
    const double best = of_first > of_second ? first : second;
    return std::max(of_first, of_second) > value ? best : grid_[place];
  }

  ScaledModel current_;
  const Harm& harm_;
  NearestOptions options_;
  double limit_;
  Planes planes_;
  std::vector<double> grid_;
};

}  // namespace

NearestPassive nearest_passive(const ScaledModel& model, const Harm& harm, const NearestOptions& options) {
  return Search(model, harm, options).run();
}

}  // namespace polefit
