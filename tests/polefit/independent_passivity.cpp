#include "independent_passivity.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

namespace polefit::independent {
namespace {

using Real = long double;
constexpr Real infinity = std::numeric_limits<Real>::infinity();

/// What each response is of the matrix: place[r] by rows.
std::vector<std::size_t> places_of(const Model& model) {
  std::vector<std::size_t> places;
  for (const MatrixElement& element : model.network->elements) {
    places.push_back((element.row - 1) * model.network->ports() + element.column - 1);
  }
  return places;
}

/// H^H H, or minus the Hermitian part.
Square judged(const Model& model, const Square& h) {
  const std::size_t n = model.network->ports();
  Square a(n * n);
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j <= i; ++j) {
      Complex value;
      if (model.network->parameter == 'S') {
        Real re = 0.0L;
        Real im = 0.0L;
        for (std::size_t k = 0; k < n; ++k) {
          const Complex left = h[k * n + i];
          const Complex right = h[k * n + j];
          re += left.real() * right.real() + left.imag() * right.imag();
          im += left.real() * right.imag() - left.imag() * right.real();
        }
        value = {re, im};
      } else {
        value = -0.5L * (h[i * n + j] + std::conj(h[j * n + i]));
      }
      a[i * n + j] = value;
      a[j * n + i] = std::conj(value);
    }
  }
  return a;
}

Real measure_of(const Model& model, const Square& a) {
  const Real largest = largest_eigenvalue(a, model.network->ports());
  return model.network->parameter == 'S' ? std::sqrt(largest < 0.0L ? 0.0L : largest) : largest;
}

/// Whether no eigenvalue reaches the limit: limit I - a has a factor of Cholesky. By rows, in place.
bool is_below(Square a, std::size_t n, Real limit) {
  for (std::size_t k = 0; k < n; ++k) {
    Real pivot = limit - a[k * n + k].real();
    for (std::size_t l = 0; l < k; ++l) {
      pivot -= std::norm(a[k * n + l]);
    }
    if (!(pivot > 0.0L)) {
      return false;
    }
    const Real root = std::sqrt(pivot);
    for (std::size_t i = k + 1; i < n; ++i) {
      Real re = -a[i * n + k].real();
      Real im = -a[i * n + k].imag();
      for (std::size_t l = 0; l < k; ++l) {
        const Complex u = a[i * n + l];
        const Complex v = a[k * n + l];
        re -= u.real() * v.real() + u.imag() * v.imag();
        im -= u.imag() * v.real() - u.real() * v.imag();
      }
      a[i * n + k] = Complex(re, im) / root;
    }
  }
  return true;
}

bool proportional_terms_are_passive(const Model& model) {
  const std::size_t n = model.network->ports();
  const std::vector<std::size_t> places = places_of(model);
  Square e(n * n);
  Real largest = 0.0L;
  for (std::size_t r = 0; r < places.size(); ++r) {
    e[places[r]] = model.proportionals[r];
    largest = std::max(largest, std::abs(e[places[r]]));
  }
  if (largest == 0.0L) {
    return true;
  }
  if (model.network->parameter == 'S') {
    return false;
  }
  constexpr Real rounding = 1e-12L;
  Square negative(n * n);
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j < n; ++j) {
      if (std::abs(e[i * n + j] - e[j * n + i]) > rounding * largest) {
        return false;
      }
      negative[i * n + j] = -0.5L * (e[i * n + j] + e[j * n + i]);
    }
  }
  return largest_eigenvalue(negative, n) <= rounding * largest;
}

std::vector<Real> frequencies(const Model& model, Real band) {
  constexpr int half = 10000;
  std::vector<Real> omegas;
  for (int i = 0; i < half; ++i) {
    omegas.push_back(1.5L * band * i / half);
    omegas.push_back(band * std::pow(10.0L, -6.0L + 12.0L * i / (half - 1)));
  }
  for (const std::complex<double> pole : model.poles) {
    const Real centre = std::abs(static_cast<Real>(pole.imag()));
    const Real width = std::abs(static_cast<Real>(pole.real()));
    omegas.push_back(centre);
    for (int i = -40; i <= 20; ++i) {
      const Real distance = width * std::pow(10.0L, 0.1L * i);
      omegas.push_back(centre + distance);
      omegas.push_back(std::abs(centre - distance));
    }
  }
  omegas.push_back(infinity);
  std::sort(omegas.begin(), omegas.end());
  omegas.erase(std::unique(omegas.begin(), omegas.end()), omegas.end());
  return omegas;
}

}  // namespace

Square value_at(const Model& model, Real omega) {
  const std::size_t n = model.network->ports();
  const std::vector<std::size_t> places = places_of(model);
  std::vector<Complex> fractions;
  for (const std::complex<double> pole : model.poles) {
    const Complex difference(-static_cast<Real>(pole.real()), omega - static_cast<Real>(pole.imag()));
    fractions.push_back(std::isinf(omega) ? Complex() : 1.0L / difference);
  }
  Square h(n * n);
  for (std::size_t r = 0; r < places.size(); ++r) {
    const auto residues = model.residues_of(r);
    Real re = model.constants[r];
    Real im = 0.0L;
    for (std::size_t i = 0; i < fractions.size(); ++i) {
      const Real c_re = residues[i].real();
      const Real c_im = residues[i].imag();
      re += c_re * fractions[i].real() - c_im * fractions[i].imag();
      im += c_re * fractions[i].imag() + c_im * fractions[i].real();
    }
    h[places[r]] = {re, im};
  }
  return h;
}

Real largest_eigenvalue(Square a, std::size_t n) {
  constexpr int most_sweeps = 60;
  constexpr Real eps = std::numeric_limits<Real>::epsilon();
  for (int sweep = 0; sweep < most_sweeps; ++sweep) {
    bool turned = false;
    for (std::size_t p = 0; p + 1 < n; ++p) {
      for (std::size_t q = p + 1; q < n; ++q) {
        const Real size = std::abs(a[p * n + q]);
        const Real own = std::abs(a[p * n + p].real()) + std::abs(a[q * n + q].real());
        if (!(size > 0.5L * eps * own)) {
          continue;
        }
        turned = true;
        // u_p = c e_p - s e^(-j phi) e_q, u_q = s e^(j phi) e_p + c e_q, with e^(j phi) that of the element.
        const Complex phase = a[p * n + q] / size;
        const Real theta = (a[q * n + q].real() - a[p * n + p].real()) / (2.0L * size);
        const Real t = (theta < 0.0L ? -1.0L : 1.0L) / (std::abs(theta) + std::hypot(theta, 1.0L));
        const Real c = 1.0L / std::hypot(t, 1.0L);
        const Complex s = t * c * phase;
        for (std::size_t k = 0; k < n; ++k) {
          const Complex left = a[k * n + p];
          const Complex right = a[k * n + q];
          a[k * n + p] = c * left - std::conj(s) * right;
          a[k * n + q] = s * left + c * right;
        }
        for (std::size_t k = 0; k < n; ++k) {
          const Complex upper = a[p * n + k];
          const Complex lower = a[q * n + k];
          a[p * n + k] = c * upper - s * lower;
          a[q * n + k] = std::conj(s) * upper + c * lower;
        }
        a[p * n + q] = a[q * n + p] = 0.0L;
      }
    }
    if (!turned) {
      break;
    }
  }
  Real largest = a[0].real();
  for (std::size_t i = 1; i < n; ++i) {
    largest = std::max(largest, a[i * n + i].real());
  }
  return largest;
}

Real measure_at(const Model& model, Real omega) {
  return measure_of(model, judged(model, value_at(model, omega)));
}

Worst worst_measure(const Model& model, double band_top) {
  if (!proportional_terms_are_passive(model)) {
    return {std::numeric_limits<double>::infinity(), std::numeric_limits<double>::infinity()};
  }
  const Real two_pi = 2.0L * std::acos(-1.0L);
  const std::vector<Real> omegas = frequencies(model, two_pi * band_top);
  const std::size_t n = model.network->ports();
  const bool scattering = model.network->parameter == 'S';
  Real best = -infinity;
  std::size_t place = 0;
  for (std::size_t i = 0; i < omegas.size(); ++i) {
    const Square a = judged(model, value_at(model, omegas[i]));
    // Eigenvalues are only looked for where they can be larger than the best.
    if (std::isfinite(best) && is_below(a, n, scattering ? best * best : best)) {
      continue;
    }
    const Real found = measure_of(model, a);
    if (!(found <= best)) {
      best = found;
      place = i;
    }
    if (std::isnan(found)) {
      return {std::numeric_limits<double>::quiet_NaN(), static_cast<double>(omegas[i])};
    }
  }
  Real worst = omegas[place];
  // Golden sections between the places on either side; beyond the last finite one nothing happens.
  Real low = place == 0 ? worst : omegas[place - 1];
  Real high = place + 1 < omegas.size() && std::isfinite(omegas[place + 1]) ? omegas[place + 1] : worst;
  constexpr int sections = 60;
  const Real golden = 0.5L * (std::sqrt(5.0L) - 1.0L);
  for (int i = 0; i < sections && std::isfinite(worst); ++i) {
    const Real first = high - golden * (high - low);
    const Real second = low + golden * (high - low);
    const Real of_first = measure_at(model, first);
    const Real of_second = measure_at(model, second);
    for (const auto& [omega, found] : {std::pair{first, of_first}, std::pair{second, of_second}}) {
      if (found > best) {
        best = found;
        worst = omega;
      }
    }
    (of_first > of_second ? high : low) = of_first > of_second ? second : first;
  }
  return {static_cast<double>(best), static_cast<double>(worst)};
}

}  // namespace polefit::independent
