#include "polefit/passivity/hamiltonian.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <utility>

#include "numerics/eigenvalues.hpp"
#include "numerics/orthogonal_factorisation.hpp"
#include "numerics/plain_products.hpp"
#include "numerics/upper_triangle.hpp"

namespace polefit {
namespace {

/// An eigenvalue whose real part is this part of it may be one on the axis.
constexpr double near_axis = 1e-6;

/// a + factor I.
Matrix shifted(Matrix a, double factor) {
  for (std::size_t i = 0; i < a.rows; ++i) {
    a(i, i) += factor;
  }
  return a;
}

/// a^-1 b; nothing where a is singular to rounding.
std::optional<Matrix> solved(const Matrix& a, Matrix b) {
  const numerics::OrthogonalFactorisation factorisation = numerics::factorise(a);
  double smallest = std::numeric_limits<double>::infinity();
  double largest = 0.0;
  for (std::size_t i = 0; i < a.rows; ++i) {
    smallest = std::min(smallest, std::abs(factorisation.r(i, i)));
    largest = std::max(largest, std::abs(factorisation.r(i, i)));
  }
  if (!(smallest > static_cast<double>(a.rows) * std::numeric_limits<double>::epsilon() * largest)) {
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
  if (model.scattering) {
    const Matrix r = shifted(product(dt, state.d), -limit * limit);
    const Matrix t = shifted(product(state.d, dt), -limit * limit);
    of_c = solved(r, product(dt, state.c));
    of_b = solved(r, bt);
    below = solved(t, state.c);
    factor = limit;
  } else {
    Matrix r = shifted(state.d, 2.0 * limit * model.scale);
    for (std::size_t j = 0; j < r.columns; ++j) {
      for (std::size_t i = 0; i < r.rows; ++i) {
        r(i, j) += dt(i, j);
      }
    }
    of_c = solved(r, state.c);
    of_b = solved(r, bt);
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

}  // namespace polefit
