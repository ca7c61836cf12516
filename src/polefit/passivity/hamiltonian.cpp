#include "polefit/passivity/hamiltonian.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <numeric>
#include <span>
#include <utility>

#include "numerics/eigenvalues.hpp"
#include "numerics/orthogonal_factorisation.hpp"
#include "numerics/plain_products.hpp"
#include "numerics/upper_triangle.hpp"
#include "polefit/passivity/extreme_value.hpp"

namespace polefit {
namespace {

/// An eigenvalue whose real part is this part of it may be one on the axis.
constexpr double near_axis = 1e-6;

double norm_of(std::span<const double> values) {
  return std::sqrt(std::inner_product(values.begin(), values.end(), values.begin(), 0.0));
}

/// a + factor I.
Matrix shifted(Matrix a, double factor) {
  for (std::size_t i = 0; i < a.rows; ++i) {
    a(i, i) += factor;
  }
  return a;
}

/// Parts of the terms of a difference that have to be left of it: rounding then moves its inverse, and the
/// eigenvalues, by about as much as is taken for near to the axis.
constexpr double left_of_difference = 1e-10;

/// a^-1 b, a being a difference of terms of that size; nothing where a is made of their rounding.
std::optional<Matrix> solved(const Matrix& a, double size, Matrix b) {
  const numerics::OrthogonalFactorisation factorisation = numerics::factorise(a);
  double smallest = std::numeric_limits<double>::infinity();
  for (std::size_t i = 0; i < a.rows; ++i) {
    smallest = std::min(smallest, std::abs(factorisation.r(i, i)));
  }
  if (!(smallest > left_of_difference * size)) {
    return std::nullopt;
  }
  apply_transposed(factorisation, b);
  return numerics::solve_upper(factorisation.r, std::move(b));
}

struct StateMatrices {
  explicit StateMatrices(const ScaledModel& model)
      : a(model.poles.size() * model.ports, model.poles.size() * model.ports),
        b(model.poles.size() * model.ports, model.ports),
        c(model.ports, model.poles.size() * model.ports),
        d(model.ports, model.ports) {
    const std::size_t n = model.poles.size();
    for (std::size_t port = 0; port < model.ports; ++port) {
      const std::size_t first = port * n;
      for_each_group(
          model.poles,
          [&](std::size_t i) {
            a(first + i, first + i) = model.poles[i].real();
            b(first + i, port) = 1.0;
          },
          [&](std::size_t i) {
            a(first + i, first + i) = a(first + i + 1, first + i + 1) = model.poles[i].real();
            a(first + i, first + i + 1) = model.poles[i].imag();
            a(first + i + 1, first + i) = -model.poles[i].imag();
            b(first + i, port) = 2.0;
          });
      for (std::size_t row = 0; row < model.ports; ++row) {
        for (std::size_t i = 0; i < n; ++i) {
          c(row, first + i) = model.x(i, row + port * model.ports);
        }
        d(row, port) = model.x(n, row + port * model.ports);
      }
    }
  }
  Matrix a;
  Matrix b;
  Matrix c;
  Matrix d;
};

std::optional<Matrix> hamiltonian(const ScaledModel& model, double limit) {
  const StateMatrices state(model);
  const Matrix bt = transposed(state.b);
  const Matrix ct = transposed(state.c);
  const Matrix dt = transposed(state.d);
  std::optional<Matrix> of_c;  // what is taken from A, behind B
  std::optional<Matrix> of_b;  // above on the right, behind B
  std::optional<Matrix> below;
  double factor = 1.0;
  const double size = norm_of(state.d.elements);
  if (model.scattering) {
    const Matrix r = shifted(product(dt, state.d), -limit * limit);
    const Matrix t = shifted(product(state.d, dt), -limit * limit);
    const double terms = size * size + limit * limit;
    of_c = solved(r, terms, product(dt, state.c));
    of_b = solved(r, terms, bt);
    below = solved(t, terms, state.c);
    factor = limit;
  } else {
    Matrix r = shifted(state.d, 2.0 * limit * model.scale);
    for (std::size_t j = 0; j < r.columns; ++j) {
      for (std::size_t i = 0; i < r.rows; ++i) {
        r(i, j) += dt(i, j);
      }
    }
    const double terms = 2.0 * (size + std::abs(limit) * model.scale);
    of_c = solved(r, terms, state.c);
    of_b = solved(r, terms, bt);
    below = of_c;
  }
  if (!of_c || !of_b || !below) {
    return std::nullopt;
  }
  const Matrix taken = product(state.b, *of_c);
  const Matrix right = product(state.b, *of_b);
  const Matrix left = product(ct, *below);
  const std::size_t n = state.a.rows;
  Matrix m(2 * n, 2 * n);
  for (std::size_t j = 0; j < n; ++j) {
    for (std::size_t i = 0; i < n; ++i) {
      m(i, j) = state.a(i, j) - taken(i, j);
      m(n + j, n + i) = -m(i, j);
      m(i, n + j) = -factor * right(i, j);
      m(n + i, j) = factor * left(i, j);
    }
  }
  return m;
}

/// What rounding can do to the measure at a frequency, beside its own.
double rounding_at(const ScaledModel& model, double omega) {
  constexpr double each = 8.0;  // a term: the fraction, its product, the sum
  const std::vector<std::complex<double>> phi = basis_at(model, omega);
  double terms = 0.0;
  for (std::size_t k = 0; k < phi.size(); ++k) {
    double squares = 0.0;
    for (std::size_t j = 0; j < model.x.columns; ++j) {
      squares += model.x(k, j) * model.x(k, j);
    }
    terms += std::abs(phi[k]) * std::sqrt(squares);
  }
  return each * std::numeric_limits<double>::epsilon() *
         (terms / model.scale + static_cast<double>(model.ports));
}

/// From a frequency at which the measure is above the limit, upwards (1) or downwards (-1), to where it is so
/// no more.
double end_of_violation(const ScaledModel& model, double limit, double omega, double direction) {
  double above = omega;
  double below = omega;
  double distance = 1e-6;
  while (below == above) {
    const double next = omega * std::exp(direction * distance);
    distance *= 2.0;
    if (next == 0.0 || std::isinf(next)) {
      return next;
    }
    below = next;
    above = measure_at(model, next) > limit ? next : above;
  }
  constexpr int halvings = 60;  // from any distance to rounding
  for (int i = 0; i < halvings; ++i) {
    const double middle = std::sqrt(above) * std::sqrt(below);
    (measure_at(model, middle) > limit ? above : below) = middle;
  }
  return below;
}

/// A violation that a scan finds by more than rounding can do: eigenvalues as far apart as poles of many
/// decades have none on the axis to tell of a shallow one.
std::optional<CrossedInterval> overlooked(const ScaledModel& model, double limit) {
  const Extreme extreme = Scan(model).largest();
  if (!std::isfinite(extreme.omega) || !(extreme.omega > 0.0) ||
      !(extreme.measure > limit + rounding_at(model, extreme.omega))) {
    return std::nullopt;
  }
  return CrossedInterval{end_of_violation(model, limit, extreme.omega, -1.0),
                         end_of_violation(model, limit, extreme.omega, 1.0)};
}

}  // namespace

std::optional<std::vector<double>> hamiltonian_crossings(const ScaledModel& model, double limit) {
  const std::optional<Matrix> matrix = hamiltonian(model, limit);
  const auto values = matrix ? numerics::eigenvalues(*matrix) : std::nullopt;
  if (!values) {
    return std::nullopt;
  }
  std::vector<double> crossings;
  for (const std::complex<double> value : *values) {
    if (value.imag() >= 0.0 && std::abs(value.real()) <= near_axis * std::abs(value)) {
      crossings.push_back(value.imag());
    }
  }
  std::sort(crossings.begin(), crossings.end());
  return crossings;
}

std::optional<HamiltonianDecision> decide_by_hamiltonian(const ScaledModel& model, double limit) {
  const std::optional<std::vector<double>> crossings = hamiltonian_crossings(model, limit);
  if (!crossings) {
    return std::nullopt;
  }
  HamiltonianDecision decision;
  bool below = false;
  ScaledModel by_scale = model;  // as crossings are told
  by_scale.by_norm = false;
  std::optional<Scan> scan;
  for (std::size_t i = 0; i <= crossings->size(); ++i) {
    const double low = i == 0 ? 0.0 : (*crossings)[i - 1];
    const double high = i < crossings->size() ? (*crossings)[i] : std::numeric_limits<double>::infinity();
    bool above = false;
    const auto look = [&](double place) {
      const double excess = measure_at(by_scale, place) - limit;
      const double rounding = rounding_at(by_scale, place);
      if (excess > rounding && model.by_norm) {
        if (!scan) {
          scan.emplace(model);
        }
        above = above || scan->largest_within(low, high).measure > limit;
      } else {
        above = above || excess > rounding;
      }
      below = below || excess < -rounding;
    };
    look(std::isinf(high) ? 2.0 * std::max(low, 0.5) : 0.5 * (low + high));
    // The value there has no part in resonances whose terms cancel.
    if (std::isinf(high)) {
      look(high);
    }
    if (above && !decision.violating.empty() && decision.violating.back().highest == low) {
      decision.violating.back().highest = high;
    } else if (above) {
      decision.violating.push_back({low, high});
    }
  }
  decision.holds = decision.violating.empty();
  if (decision.holds && !(crossings->empty() && below)) {
    return std::nullopt;
  }
  if (decision.holds) {
    if (const auto violation = overlooked(model, limit)) {
      decision.violating.push_back(*violation);
      decision.holds = false;
    }
  }
  return decision;
}

}  // namespace polefit
