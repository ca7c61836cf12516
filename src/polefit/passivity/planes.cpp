#include "polefit/passivity/planes.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <utility>

#include "numerics/hermitian_eigenvalues.hpp"
#include "polefit/passivity/extreme_value.hpp"

namespace polefit {
namespace {

using Complex = std::complex<double>;

constexpr int idle_rounds = 20;
/// And of more planes than so many.
constexpr std::size_t many_planes = 600;
constexpr int idle_rounds_of_many = 5;
constexpr int most_changes = 4000;
/// Of the largest distance and at least, up to which a model may be beyond a plane: that of rounding.
constexpr double relative_tolerance = 1e-10;
constexpr double least_tolerance = 1e-14;

/// Sum of x_i y_i, and of x_i times the conjugate of y_i.
std::pair<Complex, Complex> products(const std::vector<Complex>& x, const std::vector<Complex>& y) {
  double rr = 0.0;
  double ii = 0.0;
  double ri = 0.0;
  double ir = 0.0;
  for (std::size_t i = 0; i < x.size(); ++i) {
    rr += x[i].real() * y[i].real();
    ii += x[i].imag() * y[i].imag();
    ri += x[i].real() * y[i].imag();
    ir += x[i].imag() * y[i].real();
  }
  return {Complex(rr - ii, ri + ir), Complex(rr + ii, ir - ri)};
}

}  // namespace

std::vector<Peak> peaks_at(const ScaledModel& model, double omega, double limit, bool symmetric) {
  const ComplexMatrix h = value_at(model, omega);
  const std::size_t n = model.ports;
  const double unit = unit_of_value(model, h);
  const auto found = numerics::hermitian_eigenvalues(judged_matrix(model, h), true);
  std::vector<Peak> peaks;
  for (std::size_t c = n; found && c-- > 0;) {
    const double value = model.scattering ? std::sqrt(std::max(0.0, found->values[c])) : found->values[c];
    if (!(value > limit)) {
      break;
    }
    Peak peak{omega, value, std::vector<Complex>(n * n), model.scattering ? 0.0 : model.least / unit};
    for (std::size_t i = 0; i < n; ++i) {
      Complex u = found->vectors(i, c);
      if (model.scattering) {
        u = 0.0;
        for (std::size_t k = 0; k < n; ++k) {
          u += h(i, k) * found->vectors(k, c);
        }
        u /= value;
      }
      for (std::size_t j = 0; j < n; ++j) {
        const Complex element = std::conj(u) * found->vectors(j, c);
        peak.c[i + j * n] = model.scattering ? element : -element / unit;
      }
    }
    if (symmetric) {
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

double product(const Normal& a, const Normal& b) {
  const auto of_c = products(a.c, b.c);
  const auto of_p = products(a.p, b.p);
  return 0.5 * (of_c.first * of_p.first + of_c.second * of_p.second).real();
}

numerics::NonnegativeMinimum multipliers_of(const Matrix& products, const std::vector<double>& distances,
                                            const std::vector<double>& start) {
  const double largest = distances.empty() ? 0.0 : *std::max_element(distances.begin(), distances.end());
  return numerics::nonnegative_minimum(products, distances, start,
                                       std::max(least_tolerance, relative_tolerance * largest), most_changes);
}

Planes::Plane Planes::plane_of(const Peak& peak) const {
  Plane plane;
  plane.omega = peak.omega;
  const std::vector<Complex> phi = harm_.basis(peak.omega);
  plane.normal.p = harm_.lowered(phi);
  plane.offset = peak.offset;
  plane.distance = peak.offset - limit_;
  const Matrix& centre = harm_.centre();
  for (std::size_t j = 0; j < peak.c.size(); ++j) {
    plane.normal.c.push_back(peak.c[j] / harm_.weights()[j]);
    Complex value = harm_.offset()[j];
    for (std::size_t k = 0; k < phi.size(); ++k) {
      value += phi[k] * centre(k, j);
    }
    plane.distance += (peak.c[j] * value).real();
  }
  plane.length = std::sqrt(product(plane.normal, plane.normal));
  return plane;
}

void Planes::add(const std::vector<Peak>& peaks) {
  const std::size_t before = planes_.size();
  for (const Peak& peak : peaks) {
    Plane plane = plane_of(peak);
    // What no coefficient can change is no plane: the value at 0 Hz where that is kept.
    if (std::isfinite(plane.distance) && plane.length > std::numeric_limits<double>::min()) {
      planes_.push_back(std::move(plane));
      multipliers_.push_back(0.0);
    }
  }
  const std::size_t n = planes_.size();
  Matrix larger(n, n);
  for (std::size_t j = 0; j < before; ++j) {
    std::copy_n(products_.column(j), before, larger.column(j));
  }
  for (std::size_t j = before; j < n; ++j) {
    for (std::size_t i = 0; i <= j; ++i) {
      larger(i, j) = larger(j, i) =
          product(planes_[i].normal, planes_[j].normal) / (planes_[i].length * planes_[j].length);
    }
  }
  products_ = std::move(larger);
}

Matrix Planes::nearest_beyond(const std::vector<double>& distances) {
  numerics::NonnegativeMinimum found = multipliers_of(products_, distances, multipliers_);
  multipliers_ = std::move(found.x);
  operations_ += found.operations;
  for (std::size_t l = 0; l < planes_.size(); ++l) {
    planes_[l].held = planes_[l].held || multipliers_[l] > 0.0;
  }
  const Matrix& centre = harm_.centre();
  Matrix z(centre.rows, centre.columns);
  for (std::size_t l = 0; l < planes_.size(); ++l) {
    if (multipliers_[l] == 0.0) {
      continue;
    }
    const double factor = multipliers_[l] / planes_[l].length;
    for (std::size_t j = 0; j < z.columns; ++j) {
      const Complex c = factor * planes_[l].normal.c[j];
      for (std::size_t k = 0; k < z.rows; ++k) {
        const Complex p = planes_[l].normal.p[k];
        z(k, j) -= c.real() * p.real() - c.imag() * p.imag();
      }
    }
  }
  Matrix y = harm_.raised(std::move(z));
  for (std::size_t j = 0; j < y.columns; ++j) {
    for (std::size_t k = 0; k < y.rows; ++k) {
      y(k, j) = centre(k, j) + y(k, j) / harm_.weights()[j];
    }
  }
  return y;
}

std::vector<Peak> Planes::holding() const {
  std::vector<Peak> peaks;
  for (std::size_t l = 0; l < planes_.size(); ++l) {
    if (multipliers_[l] > 0.0) {
      Peak peak{planes_[l].omega, limit_, planes_[l].normal.c, planes_[l].offset};
      for (std::size_t j = 0; j < peak.c.size(); ++j) {
        peak.c[j] *= harm_.weights()[j];
      }
      peaks.push_back(std::move(peak));
    }
  }
  return peaks;
}

void Planes::drop_idle() {
  std::vector<std::size_t> kept;
  const int most = planes_.size() < many_planes ? idle_rounds : idle_rounds_of_many;
  for (std::size_t i = 0; i < planes_.size(); ++i) {
    planes_[i].idle = planes_[i].held ? 0 : planes_[i].idle + 1;
    planes_[i].held = false;
    if (planes_[i].idle < most) {
      kept.push_back(i);
    }
  }
  if (kept.size() == planes_.size()) {
    return;
  }
  Matrix products(kept.size(), kept.size());
  std::vector<Plane> planes;
  std::vector<double> multipliers;
  for (std::size_t j = 0; j < kept.size(); ++j) {
    for (std::size_t i = 0; i < kept.size(); ++i) {
      products(i, j) = products_(kept[i], kept[j]);
    }
    planes.push_back(std::move(planes_[kept[j]]));
    multipliers.push_back(multipliers_[kept[j]]);
  }
  products_ = std::move(products);
  planes_ = std::move(planes);
  multipliers_ = std::move(multipliers);
}

}  // namespace polefit
