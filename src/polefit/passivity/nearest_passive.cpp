#include "polefit/passivity/nearest_passive.hpp"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <utility>
#include <vector>

#include "polefit/passivity/decision.hpp"
#include "polefit/passivity/extreme_value.hpp"
#include "polefit/passivity/golden_sections.hpp"
#include "polefit/passivity/planes.hpp"

namespace polefit {
namespace {

constexpr int places = 12;  // about a pole, in units of its damping
constexpr double apart = 1.5;
constexpr int steps_a_decade = 12;
constexpr int decades = 3;  // on either side of the end of the band
constexpr int steps_in_band = 200;
constexpr int sections = 10;
/// Of what is still violated, by which planes are moved inwards for a passive model.
constexpr double restoration = 1.5;
/// And at most: planes moved farther may leave nothing between them.
constexpr double most_inwards = 0.3;
/// Of Y and Z, in units of the height of a resonance.
constexpr double most_inwards_by_norm = 0.003;
/// Places of the grid about a plane's frequency whose violation moves it: what is violated elsewhere is no
/// reason to give up what the band needs, which near its ends is dear.
constexpr std::size_t reach = 2;
/// A passive model whose error exceeds that of the nearest one behind the planes by less is as good. Twice as
/// much is as good after every two rounds more: what is slow to find is not worth its time.
constexpr double as_good = 0.01;
constexpr double patient_rounds = 8.0;
constexpr double rounds_to_double = 2.0;
constexpr double most_more = 0.3;
/// A model that takes more to certify touches the limit, and is not tried so in every round.
constexpr std::size_t most_pieces = 4000;
/// By which eigenvalues of Y and Z may be below their margin, in the unit of their value: beside a resonance
/// without losses no part of its height is to be had.
constexpr double forgiven = 2e-10;

std::vector<double> grid_of(const ScaledModel& model, double highest) {
  std::vector<double> omegas{0.0};
  for (const std::complex<double> pole : model.poles) {
    if (pole.imag() < 0.0) {
      continue;
    }
    const double damping = std::abs(pole.real());
    const auto add = [&](double omega) {
      if (omega > 0.0) {
        omegas.push_back(omega);
      }
    };
    for (int place = 1 - places; place < places; ++place) {
      add(pole.imag() + place * damping);
    }
    // On the way from a sharp resonance to the places of the band.
    double distance = apart * places * damping;
    while (distance < highest / steps_in_band) {
      add(pole.imag() - distance);
      add(pole.imag() + distance);
      distance *= apart;
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
        limit_(limit_with_margin(model, options.margin)),
        planes_(harm, limit_),
        grid_(grid_of(model, harm.highest())) {
    current_.least = model.scattering ? 0.0 : options.margin * model.scale;
  }

  NearestPassive run() {
    Matrix y = harm_.centre();
    Violation violation = look(y);
    planes_.add(violation.peaks);
    bool passive = is_passive(y, violation.most);
    std::size_t round = 0;
    std::vector<Peak> holding;
    double operations = 0.0;
    // What is inconsistent, as planes moved inwards may be, takes an active set longest.
    while (!passive && round < options_.most_rounds && !planes_.empty() &&
           operations + planes_.operations() < options_.most_operations) {
      ++round;
      if (options_.check_in) {
        options_.check_in();
      }
      operations += operations_of_round();
      y = planes_.nearest([](double) { return 0.0; });
      const double bound = harm_.in_band(y);
      if (bound > options_.error_hopeless && static_cast<double>(round) > patient_rounds / 2.0) {
        break;
      }
      violation = look(y);
      y = planes_.nearest([&](double omega) { return inwards_at(omega); });
      holding = planes_.holding();
      planes_.add(violation.peaks);
      violation = look(y);
      planes_.add(violation.peaks);
      passive = becomes_passive(y, violation, good_error(bound, round));
      planes_.drop_idle();
    }
    current_.x = harm_.expanded(y);
    current_.least = 0.0;
    return {current_,          passive, harm_.in_band(y), round, operations + planes_.operations(),
            std::move(holding)};
  }

 private:
  struct Violation {
    double most = 0.0;
    double most_value = 0.0;  // the same times the unit
    std::vector<Peak> peaks;
  };

  /// Of the products of planes, and of the values and measures on the grid.
  double operations_of_round() const {
    const auto planes = static_cast<double>(planes_.size());
    const auto ports = static_cast<double>(current_.ports);
    const auto functions = static_cast<double>(current_.functions());
    return planes * planes * (ports * ports + functions) +
           static_cast<double>(grid_.size()) * (4.0 * functions + 8.0 * ports) * ports * ports;
  }

  double good_error(double bound, std::size_t round) const {
    const double late = std::max(0.0, static_cast<double>(round) - patient_rounds);
    const double more = std::min(most_more, as_good * std::exp2(late / rounds_to_double));
    return std::max((1.0 + more) * bound, late > 0.0 ? options_.error_wanted : options_.error_enough);
  }

  /// Whether a model with so small an error is passive, or is when it has been pulled in.
  bool becomes_passive(Matrix& y, const Violation& violation, double error) {
    if (!(harm_.in_band(y) <= error)) {
      return false;
    }
    if (is_passive(y, violation.most)) {
      return true;
    }
    if (harm_.keeps_zero()) {
      return false;
    }
    Matrix pulled = pulled_in(y, violation);
    if (!(harm_.in_band(pulled) <= error) || !is_passive(pulled, 0.0)) {
      return false;
    }
    y = std::move(pulled);
    return true;
  }

  /// Whether a model is passive whose largest violation on the grid is given; where something else tells that
  /// it is not, that is added to the grid and to the planes.
  bool is_passive(const Matrix& y, double violation) {
    // What exceeds the limit within the margin may be passive yet.
    if (violation > options_.margin + options_.tolerance) {
      return false;
    }
    current_.x = harm_.expanded(y);
    const Decision decision = decide_as_result(current_, options_.tolerance, most_pieces);
    if (decision.certificate.witness) {
      const double omega = *decision.certificate.witness;
      grid_.insert(std::upper_bound(grid_.begin(), grid_.end(), omega), omega);
      planes_.add(peaks_at(current_, omega, limit_, options_.symmetric));
    }
    return decision.holds();
  }

  /// A model multiplied, for Y and Z with as much added to its diagonal, so that what is violated no longer
  /// is.
  Matrix pulled_in(Matrix y, const Violation& violation) const {
    if (current_.scattering) {
      for (double& value : y.elements) {
        value *= limit_ / (limit_ + violation.most);
      }
    } else {
      for (std::size_t port = 0; port < current_.ports; ++port) {
        y(y.rows - 1, port * (current_.ports + 1)) += violation.most_value;
      }
    }
    return y;
  }

  /// By how much planes at a frequency are moved inwards: by what was violated last about it.
  double inwards_at(double omega) const {
    const auto place =
        static_cast<std::size_t>(std::lower_bound(grid_.begin(), grid_.end(), omega) - grid_.begin());
    double violation = 0.0;
    for (std::size_t i = place - std::min(place, reach); i <= place + reach && i < violations_.size(); ++i) {
      violation = std::max(violation, violations_[i]);
    }
    return std::min(current_.scattering ? most_inwards : most_inwards_by_norm, restoration * violation);
  }

  /// The local maxima of the largest measure that are above the limit, with all measures above it there.
  Violation look(const Matrix& y) {
    current_.x = harm_.expanded(y);
    const std::vector<double> values = measures_above(current_, grid_, limit_);
    Violation violation;
    violations_.assign(grid_.size(), 0.0);
    for (std::size_t i = 0; i < grid_.size(); ++i) {
      violations_[i] = std::max(0.0, values[i] - limit_);
    }
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
      const double beyond = peaks.front().measure - limit_;
      violation.most = std::max(violation.most, beyond);
      violation.most_value =
          std::max(violation.most_value, beyond * unit_of_value(current_, value_at(current_, omega)));
      violations_[i] = std::max(violations_[i], peaks.front().measure - limit_);
      std::move(peaks.begin(), peaks.end(), std::back_inserter(violation.peaks));
    }
    return violation;
  }

  /// The local maximum about a place of the grid, where the measure is `value`.
  double refined(std::size_t place, double value) const {
    const Maximum found =
        largest_by_sections(grid_[place == 0 ? 0 : place - 1], grid_[std::min(place + 1, grid_.size() - 2)],
                            sections, [&](double omega) { return measure_at(current_, omega); });
    return found.value > value ? found.place : grid_[place];
  }

  ScaledModel current_;
  const Harm& harm_;
  NearestOptions options_;
  double limit_;
  Planes planes_;
  std::vector<double> grid_;
  std::vector<double> violations_;  // of the grid, by the coefficients looked at last
};

}  // namespace

double limit_with_margin(const ScaledModel& model, double margin) {
  return model.scattering ? 1.0 - margin : forgiven;
}

NearestPassive nearest_passive(const ScaledModel& model, const Harm& harm, const NearestOptions& options) {
  return Search(model, harm, options).run();
}

}  // namespace polefit
