/// The least squares fit of a pole set once more, in long double and as plainly as it can be written.
#pragma once

#include <cmath>
#include <complex>
#include <cstddef>
#include <vector>

#include "polefit/problem/pole_basis.hpp"
#include "polefit/problem/problem.hpp"

namespace polefit::plain {

using Real = long double;
using LongComplex = std::complex<long double>;
using Column = std::vector<Real>;

inline Real dot(const Column& a, const Column& b) {
  Real sum = 0.0L;
  for (std::size_t i = 0; i < a.size(); ++i) {
    sum += a[i] * b[i];
  }
  return sum;
}

/// a - factor b.
inline void subtract(Column& a, Real factor, const Column& b) {
  for (std::size_t i = 0; i < a.size(); ++i) {
    a[i] -= factor * b[i];
  }
}

/// The poles, pairs side by side, in long double.
using LongPoles = std::vector<LongComplex>;

inline LongPoles long_poles(const Poles& poles) { return {poles.begin(), poles.end()}; }

/// Weighted columns of response r: of a pair those of the residues 1, 1 and j, -j, of a real pole that of the
/// residue 1; then the constant and the proportional term.
inline std::vector<Column> basis(const Problem& problem, const LongPoles& poles, std::size_t r) {
  const std::size_t m = problem.samples;
  std::vector<Column> columns;
  const auto add = [&](const auto& function) {
    Column column(2 * m);
    for (std::size_t k = 0; k < m; ++k) {
      const Real weight = problem.sample_weight(r, k);
      const LongComplex value = function(LongComplex(0.0L, problem.omega[k]));
      column[k] = weight * value.real();
      column[m + k] = weight * value.imag();
    }
    columns.push_back(std::move(column));
  };
  const LongComplex one(1.0L);
  const LongComplex j(0.0L, 1.0L);
  for (std::size_t i = 0; i < poles.size(); ++i) {
    const LongComplex a = poles[i];
    if (a.imag() == 0.0L) {
      add([&](LongComplex s) { return one / (s - a); });
    } else {
      add([&](LongComplex s) { return one / (s - a) + one / (s - std::conj(a)); });
      add([&](LongComplex s) { return j / (s - a) - j / (s - std::conj(a)); });
      ++i;
    }
  }
  if (problem.constant) {
    add([&](LongComplex) { return one; });
  }
  if (problem.proportional) {
    add([](LongComplex s) { return s; });
  }
  return columns;
}

/// Of response r: what the fit is made of and what it leaves.
struct Fit {
  std::vector<Column> orthonormal;  ///< the scaled columns over delta I, made orthonormal
  std::vector<Real> scale;          ///< of the columns
  std::vector<Real> coefficients;   ///< of the scaled columns
  Column left;                      ///< of the response over zeros
  Real squares = 0.0L;              ///< of `left`
};

/// By Gram and Schmidt, each column made orthogonal twice.
inline Fit fit(const Problem& problem, const LongPoles& poles, Real delta, std::size_t r) {
  std::vector<Column> columns = basis(problem, poles, r);
  const std::size_t n = columns.size();
  const std::size_t m = problem.samples;
  Fit result;
  std::vector<Column> triangle(n, Column(n));  // by columns
  for (std::size_t j = 0; j < n; ++j) {
    Column& column = columns[j];
    result.scale.push_back(1.0L / std::sqrt(dot(column, column)));
    for (Real& element : column) {
      element *= result.scale[j];
    }
    column.resize(2 * m + n);
    column[2 * m + j] = delta;
    for (int pass = 0; pass < 2; ++pass) {
      for (std::size_t i = 0; i < j; ++i) {
        const Real part = dot(result.orthonormal[i], column);
        triangle[j][i] += part;
        subtract(column, part, result.orthonormal[i]);
      }
    }
    triangle[j][j] = std::sqrt(dot(column, column));
    for (Real& element : column) {
      element /= triangle[j][j];
    }
    result.orthonormal.push_back(column);
  }
  result.left.resize(2 * m + n);
  for (std::size_t k = 0; k < m; ++k) {
    const LongComplex value(problem.value(r, k));
    const Real factor = static_cast<Real>(problem.response_scale[r]) * problem.sample_weight(r, k);
    result.left[k] = factor * value.real();
    result.left[m + k] = factor * value.imag();
  }
  std::vector<Real> parts(n);
  for (int pass = 0; pass < 2; ++pass) {
    for (std::size_t j = 0; j < n; ++j) {
      const Real part = dot(result.orthonormal[j], result.left);
      parts[j] += part;
      subtract(result.left, part, result.orthonormal[j]);
    }
  }
  result.coefficients.resize(n);
  for (std::size_t j = n; j-- > 0;) {
    Real sum = parts[j];
    for (std::size_t i = j + 1; i < n; ++i) {
      sum -= triangle[i][j] * result.coefficients[i];
    }
    result.coefficients[j] = sum / triangle[j][j];
  }
  result.squares = dot(result.left, result.left);
  return result;
}

/// Of all responses.
inline Real squares(const Problem& problem, const LongPoles& poles, Real delta) {
  Real sum = 0.0L;
  for (std::size_t r = 0; r < problem.responses; ++r) {
    sum += fit(problem, poles, delta, r).squares;
  }
  return sum;
}

}  // namespace polefit::plain
