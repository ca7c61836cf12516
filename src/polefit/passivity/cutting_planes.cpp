#include "polefit/passivity/cutting_planes.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

#include "numerics/hermitian_eigenvalues.hpp"
#include "numerics/nonnegative_minimum.hpp"
#include "polefit/passivity/certificate.hpp"
#include "polefit/passivity/extreme_value.hpp"

namespace polefit {
namespace {

using Complex = std::complex<double>;

constexpr std::array places{0.0, 1.0, 2.0, 3.0, 4.0, 5.0, 6.0, 7.0, 8.0, 9.0, 10.0, 11.0};
constexpr int steps_a_decade = 12;
constexpr double decades = 3.0;
constexpr int steps_in_band = 200;
constexpr int sections = 24;
constexpr double golden = 0.6180339887498949;
constexpr int idle_rounds = 6;
/// Of what is still violated, by which the restoration moves the planes inwards.
constexpr double restoration = 1.5;
constexpr double worth_restoring = 0.01;

struct Cut {
  double omega;
  std::vector<Complex> c;  // by columns, over the weights
  std::vector<Complex> p;
  std::vector<Complex> phi;
  double bound;  // what the form is at most, over its length
  double length;
  int idle = 0;
};

/// A measure with the vectors that belong to it: Re(sum c_ij H_ij).
struct Peak {
  double omega;
  double measure;
  std::vector<Complex> c;
};

class Planes {
 public:
  Planes(const ScaledModel& model, const Harm& harm, bool symmetric, double margin)
      : model_(model), harm_(harm), symmetric_(symmetric), limit_((model.scattering ? 1.0 : 0.0) - margin) {}

  double limit() const { return limit_; }

  /// All singular values above the limit at a frequency, the largest first.
  std::vector<Peak> peaks_at(const Matrix& x, double omega) const {
    ScaledModel here = shape();
    here.x = x;
    const ComplexMatrix h = value_at(here, omega);
    const std::size_t n = model_.ports;
    ComplexMatrix judged(n, n);
    for (std::size_t j = 0; j < n; ++j) {
      for (std::size_t i = j; i < n; ++i) {
        Complex sum = 0.0;
        if (model_.scattering) {
          for (std::size_t k = 0; k < n; ++k) {
            sum += std::conj(h(k, i)) * h(k, j);
          }
        } else {
          sum = -0.5 * (h(i, j) + std::conj(h(j, i))) / model_.scale;
        }
        judged.set(i, j, sum);
      }
    }
    const auto found = numerics::hermitian_eigenvalues(judged, true);
    std::vector<Peak> peaks;
    for (std::size_t c = n; found && c-- > 0;) {
      const double value = model_.scattering ? std::sqrt(std::max(0.0, found->values[c])) : found->values[c];
      if (!(value > limit_)) {
        break;
      }
      Peak peak{omega, value, std::vector<Complex>(n * n)};
      for (std::size_t i = 0; i < n; ++i) {
        Complex u = found->vectors(i, c);
        if (model_.scattering) {
          u = 0.0;
          for (std::size_t k = 0; k < n; ++k) {
            u += h(i, k) * found->vectors(k, c);
          }
          u /= value;
        }
        for (std::size_t j = 0; j < n; ++j) {
          const Complex element = std::conj(u) * found->vectors(j, c);
          peak.c[i + j * n] = model_.scattering ? element : -element / model_.scale;
        }
      }
      if (symmetric_) {
        for (std::size_t j = 0; j < n; ++j) {
          for (std::size_t i = 0; i < j; ++i) {
            const Complex mean = 0.5 * (peak.c[i + j * n] + peak.c[j + i * n]);
            peak.c[i + j * n] = peak.c[j + i * n] = mean;
          }
        }
      }
      peaks.push_back(std::move(peak));
    }
    return peaks;
  }

  void add(const Peak& peak) {
    Cut cut;
    cut.omega = peak.omega;
    cut.phi = basis_at(model_, peak.omega);
    cut.p = harm_.lowered(cut.phi);
    cut.c = peak.c;
    for (std::size_t i = 0; i < cut.c.size(); ++i) {
      cut.c[i] /= harm_.weights()[i];
    }
    cut.length = std::sqrt(std::max(product(cut, cut), std::numeric_limits<double>::min()));
    cut.bound = limit_;
    cuts_.push_back(std::move(cut));
    values_.push_back(0.0);
    const std::size_t n = cuts_.size();
    Matrix larger(n, n);
    for (std::size_t j = 0; j + 1 < n; ++j) {
      std::copy_n(products_.column(j), n - 1, larger.column(j));
    }
    for (std::size_t i = 0; i < n; ++i) {
      const double value = product(cuts_[i], cuts_.back()) / (cuts_[i].length * cuts_.back().length);
      larger(i, n - 1) = larger(n - 1, i) = value;
    }
    products_ = std::move(larger);
  }

  bool empty() const { return cuts_.empty(); }

  /// The nearest X behind all planes, each moved inwards by `inwards` where it is in the band and by
  /// `outwards` elsewhere.
  Matrix solve(double inwards, double outwards, double band) {
    std::vector<double> d;
    for (const Cut& cut : cuts_) {
      const double moved = cut.omega <= band ? inwards : outwards;
      d.push_back((form(cut, harm_.centre()) - (cut.bound - moved)) / cut.length);
    }
    const double tolerance = 1e-14 + 1e-10 * *std::max_element(d.begin(), d.end());
    values_ = numerics::nonnegative_minimum(products_, d, values_, std::max(tolerance, 1e-14), 2000).x;
    bound_ = 0.0;
    for (std::size_t i = 0; i < values_.size(); ++i) {
      bound_ += d[i] * values_[i];
    }
    Matrix z(model_.functions(), model_.ports * model_.ports);
    for (std::size_t l = 0; l < cuts_.size(); ++l) {
      if (values_[l] == 0.0) {
        continue;
      }
      for (std::size_t j = 0; j < z.columns; ++j) {
        for (std::size_t k = 0; k < z.rows; ++k) {
          z(k, j) -= values_[l] / cuts_[l].length * (cuts_[l].c[j] * cuts_[l].p[k]).real();
        }
      }
    }
    Matrix x = harm_.raised(std::move(z));
    for (std::size_t j = 0; j < x.columns; ++j) {
      for (std::size_t k = 0; k < x.rows; ++k) {
        x(k, j) = harm_.centre()(k, j) + x(k, j) / harm_.weights()[j];
      }
    }
    return x;
  }
  /// The square of the distance that the last solution has from the best X at least.
  double bound() const { return bound_; }

  /// Drops planes that have not held anything for some rounds.
  void drop_idle() {
    std::vector<std::size_t> kept;
    for (std::size_t i = 0; i < cuts_.size(); ++i) {
      cuts_[i].idle = values_[i] > 0.0 ? 0 : cuts_[i].idle + 1;
      if (cuts_[i].idle < idle_rounds) {
        kept.push_back(i);
      }
    }
    if (kept.size() == cuts_.size()) {
      return;
    }
    Matrix products(kept.size(), kept.size());
    std::vector<Cut> cuts;
    std::vector<double> values;
    for (std::size_t j = 0; j < kept.size(); ++j) {
      for (std::size_t i = 0; i < kept.size(); ++i) {
        products(i, j) = products_(kept[i], kept[j]);
      }
      cuts.push_back(std::move(cuts_[kept[j]]));
      values.push_back(values_[kept[j]]);
    }
    products_ = std::move(products);
    cuts_ = std::move(cuts);
    values_ = std::move(values);
  }

 private:
  ScaledModel shape() const {
    ScaledModel here;
    here.scattering = model_.scattering;
    here.ports = model_.ports;
    here.poles = model_.poles;
    here.scale = model_.scale;
    return here;
  }

  static double product(const Cut& a, const Cut& b) {
    const auto products = [](const std::vector<Complex>& x, const std::vector<Complex>& y) {
      std::pair<Complex, Complex> sums;
      for (std::size_t i = 0; i < x.size(); ++i) {
        sums.first += x[i] * y[i];
        sums.second += x[i] * std::conj(y[i]);
      }
      return sums;
    };
    const auto of_c = products(a.c, b.c);
    const auto of_p = products(a.p, b.p);
    return 0.5 * (of_c.first * of_p.first + of_c.second * of_p.second).real();
  }

  /// Re(sum c_ij H_ij) of an X.
  double form(const Cut& cut, const Matrix& x) const {
    double sum = 0.0;
    for (std::size_t j = 0; j < x.columns; ++j) {
      const Complex c = cut.c[j] * harm_.weights()[j];
      for (std::size_t k = 0; k < x.rows; ++k) {
        sum += (c * cut.phi[k]).real() * x(k, j);
      }
    }
    return sum;
  }

  const ScaledModel& model_;
  const Harm& harm_;
  bool symmetric_;
  double limit_;
  std::vector<Cut> cuts_;
  std::vector<double> values_;
  Matrix products_;
  double bound_ = 0.0;
};

std::vector<double> grid_of(const ScaledModel& model) {
  std::vector<double> omegas{0.0};
  for (const Complex pole : model.poles) {
    for (const double place : places) {
      for (const double sign : {-1.0, 1.0}) {
        const double omega = pole.imag() + sign * place * std::abs(pole.real());
        if (pole.imag() >= 0.0 && omega > 0.0) {
          omegas.push_back(omega);
        }
      }
    }
  }
  for (int i = 0; i <= steps_in_band; ++i) {
    omegas.push_back(static_cast<double>(i) / steps_in_band);
  }
  const int steps = static_cast<int>(2.0 * decades * steps_a_decade);
  for (int i = 0; i <= steps; ++i) {
    omegas.push_back(std::pow(10.0, -decades + 2.0 * decades * i / steps));
  }
  std::sort(omegas.begin(), omegas.end());
  omegas.erase(std::unique(omegas.begin(), omegas.end()), omegas.end());
  omegas.push_back(std::numeric_limits<double>::infinity());
  return omegas;
}

class Search {
 public:
  Search(const ScaledModel& model, const Harm& harm, bool symmetric, double margin)
      : model_(model), harm_(harm), planes_(model, harm, symmetric, margin), grid_(grid_of(model)) {}

  NearestPassive run(std::size_t most) {
    NearestPassive best{model_, false, std::numeric_limits<double>::infinity(), 0.0, 0};
    Matrix x = harm_.centre();
    for (std::size_t round = 1; round <= most; ++round) {
      best.rounds = round;
      const Left left = cut(x);
      if (left.band <= 0.0 && left.outside <= 0.0 && take(x, best)) {
        return best;
      }
      if (planes_.empty()) {
        return best;
      }
      x = planes_.solve(0.0, 0.0, band);
      best.bound = planes_.bound();
      const double error = harm_.in_band(x);
      const Left after = violations(x);
      const Matrix inside = planes_.solve(restoration * std::max(0.0, after.band),
                                          restoration * std::max(0.0, after.outside), band);
      if (harm_.in_band(inside) <= (1.0 + worth_restoring) * error && take(inside, best)) {
        return best;
      }
      cut(inside);
      planes_.drop_idle();
    }
    return best;
  }

 private:
  static constexpr double band = 1.0;
  struct Left {
    double band = -std::numeric_limits<double>::infinity();
    double outside = -std::numeric_limits<double>::infinity();
  };

  ScaledModel with(const Matrix& x) const {
    ScaledModel changed = model_;
    changed.x = x;
    return changed;
  }

  /// Certifies X, and keeps it if it is the best so far; witnesses are cut off.
  bool take(const Matrix& x, NearestPassive& best) {
    const ScaledModel changed = with(x);
    const Certificate certificate = certify(changed, model_.scattering ? 1.0 : 0.0, Thoroughness::yes_or_no);
    if (!certificate.holds) {
      if (certificate.witness) {
        grid_.insert(std::upper_bound(grid_.begin(), grid_.end(), *certificate.witness),
                     *certificate.witness);
        for (const Peak& peak : planes_.peaks_at(x, *certificate.witness)) {
          planes_.add(peak);
        }
      }
      return false;
    }
    const double error = harm_.in_band(x);
    if (error < best.error) {
      best.model = changed;
      best.error = error;
      best.certified = true;
    }
    return true;
  }

  std::vector<double> measures(const Matrix& x) const {
    const ScaledModel changed = with(x);
    std::vector<double> values;
    for (const double omega : grid_) {
      values.push_back(measure_at(changed, omega));
    }
    return values;
  }

  Left violations(const Matrix& x) const {
    const std::vector<double> values = measures(x);
    Left left;
    for (std::size_t i = 0; i < grid_.size(); ++i) {
      double& side = grid_[i] <= band ? left.band : left.outside;
      side = std::max(side, values[i] - planes_.limit());
    }
    return left;
  }

  /// Adds a plane for every singular value above the limit at the local maxima of the largest.
  Left cut(const Matrix& x) {
    const std::vector<double> values = measures(x);
    Left left;
    const ScaledModel changed = with(x);
    for (std::size_t i = 0; i < grid_.size(); ++i) {
      double& side = grid_[i] <= band ? left.band : left.outside;
      side = std::max(side, values[i] - planes_.limit());
      const bool rises = i == 0 || values[i] >= values[i - 1];
      const bool falls = i + 1 == grid_.size() || values[i] > values[i + 1];
      if (!(values[i] > planes_.limit() && rises && falls)) {
        continue;
      }
      const double omega = i + 1 == grid_.size() ? grid_[i] : refined(changed, i);
      for (const Peak& peak : planes_.peaks_at(x, omega)) {
        planes_.add(peak);
      }
    }
    return left;
  }

  /// The local maximum about a place of the grid.
  double refined(const ScaledModel& model, std::size_t place) const {
    double left = place == 0 ? grid_[0] : grid_[place - 1];
    double right = grid_[std::min(place + 1, grid_.size() - 2)];
    double first = right - golden * (right - left);
    double second = left + golden * (right - left);
    double of_first = measure_at(model, first);
    double of_second = measure_at(model, second);
    for (int i = 0; i < sections; ++i) {
      if (of_first > of_second) {
        right = second;
        second = first;
        of_second = of_first;
        first = right - golden * (right - left);
        of_first = measure_at(model, first);
      } else {
        left = first;
        first = second;
        of_first = of_second;
        second = left + golden * (right - left);
        of_second = measure_at(model, second);
      }
    }
    const double best = of_first > of_second ? first : second;
    return std::max(of_first, of_second) > measure_at(model, grid_[place]) ? best : grid_[place];
  }

  const ScaledModel& model_;
  const Harm& harm_;
  Planes planes_;
  std::vector<double> grid_;
};

}  // namespace

NearestPassive nearest_passive(const ScaledModel& model, const Harm& harm, bool symmetric, double margin,
                               std::size_t most) {
  return Search(model, harm, symmetric, margin).run(most);
}

}  // namespace polefit
