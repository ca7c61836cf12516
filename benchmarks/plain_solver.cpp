/// The yardstick: the same algorithm written plainly, as one would from the formulas in an afternoon.
///
/// Whole arrays, an explicit transpose, products as loops over columns, the language's own complex division,
/// stream input and output. It reads and writes the files of S_Solver in the same places, with constant and
/// proportional term and complex starting poles over a linear band, and shares only the eigenvalue routine
/// and the placement of the starting poles.

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <utility>
#include <vector>

#include "numerics/angular_frequency.hpp"
#include "s_solver/dmatrix/deig.hpp"
#include "s_solver/driver/starting_poles.hpp"

namespace {

using Complex = std::complex<double>;

struct Matrix {
  Matrix(std::size_t row_count, std::size_t column_count)
      : rows(row_count), columns(column_count), elements(row_count * column_count) {}
  double& operator()(std::size_t i, std::size_t j) { return elements[i + j * rows]; }
  double operator()(std::size_t i, std::size_t j) const { return elements[i + j * rows]; }

  std::size_t rows;
  std::size_t columns;
  std::vector<double> elements;
};

Matrix transpose(const Matrix& a) {
  Matrix result(a.columns, a.rows);
  for (std::size_t j = 0; j < a.columns; ++j) {
    for (std::size_t i = 0; i < a.rows; ++i) {
      result(j, i) = a(i, j);
    }
  }
  return result;
}

/// Column by column, so that the innermost loop runs along the memory of both matrices.
Matrix operator*(const Matrix& a, const Matrix& b) {
  Matrix c(a.rows, b.columns);
  for (std::size_t j = 0; j < b.columns; ++j) {
    double* const to = &c(0, j);
    for (std::size_t k = 0; k < a.columns; ++k) {
      const double factor = b(k, j);
      const double* const from = &a.elements[k * a.rows];
      for (std::size_t i = 0; i < a.rows; ++i) {
        to[i] += factor * from[i];
      }
    }
  }
  return c;
}

/// Gauss-Jordan elimination with row pivoting on [a, 1].
Matrix inverse_of(Matrix a) {
  const std::size_t n = a.rows;
  Matrix inverse(n, n);
  for (std::size_t i = 0; i < n; ++i) {
    inverse(i, i) = 1.0;
  }
  for (std::size_t k = 0; k < n; ++k) {
    std::size_t pivot = k;
    for (std::size_t i = k + 1; i < n; ++i) {
      pivot = std::abs(a(i, k)) > std::abs(a(pivot, k)) ? i : pivot;
    }
    for (std::size_t j = 0; j < n; ++j) {
      std::swap(a(k, j), a(pivot, j));
      std::swap(inverse(k, j), inverse(pivot, j));
    }
    const double scale = 1.0 / a(k, k);
    for (std::size_t j = 0; j < n; ++j) {
      a(k, j) *= scale;
      inverse(k, j) *= scale;
    }
    for (std::size_t i = 0; i < n; ++i) {
      const double factor = a(i, k);
      for (std::size_t j = 0; i != k && j < n; ++j) {
        a(i, j) -= factor * a(k, j);
        inverse(i, j) -= factor * inverse(k, j);
      }
    }
  }
  return inverse;
}

std::vector<double> least_squares(const Matrix& a, const std::vector<double>& b) {
  const Matrix at = transpose(a);
  const Matrix left_inverse = inverse_of(at * a) * at;
  std::vector<double> x(a.columns);
  for (std::size_t k = 0; k < a.rows; ++k) {
    for (std::size_t i = 0; i < a.columns; ++i) {
      x[i] += left_inverse(i, k) * b[k];
    }
  }
  return x;
}

struct Model {
  std::vector<Complex> a;
  std::vector<Complex> c;
  double d = 0.0;
  double h = 0.0;
};

/// The columns of the poles, of 1 and of s, and those of the poles times -f if `weighted`.
Matrix system_of(const std::vector<Complex>& a, const std::vector<Complex>& s, const std::vector<Complex>& f,
                 bool weighted) {
  const std::size_t nf = s.size();
  Matrix system(2 * nf, a.size() * (weighted ? 2 : 1) + 2);
  const auto put = [&](std::size_t k, std::size_t column, Complex value) {
    system(k, column) = value.real();
    system(nf + k, column) = value.imag();
  };
  for (std::size_t i = 0; i < a.size(); ++i) {
    for (std::size_t k = 0; k < nf; ++k) {
      Complex phi;
      if (a[i].imag() == 0.0) {
        phi = 1.0 / (s[k] - a[i]);
      } else if (i % 2 == 0) {
        phi = 1.0 / (s[k] - a[i]) + 1.0 / (s[k] - a[i + 1]);
      } else {
        phi = Complex(0.0, 1.0) / (s[k] - a[i - 1]) - Complex(0.0, 1.0) / (s[k] - a[i]);
      }
      put(k, i, phi);
      if (weighted) {
        put(k, a.size() + 2 + i, -f[k] * phi);
      }
    }
  }
  for (std::size_t k = 0; k < nf; ++k) {
    put(k, a.size(), 1.0);
    put(k, a.size() + 1, s[k]);
  }
  return system;
}

std::vector<Complex> residues_from(const std::vector<Complex>& a, const double* x) {
  std::vector<Complex> c(a.size());
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (a[i].imag() == 0.0) {
      c[i] = x[i];
    } else if (i % 2 == 0) {
      c[i] = {x[i], x[i + 1]};
    } else {
      c[i] = std::conj(c[i - 1]);
    }
  }
  return c;
}

/// Pairs first, as the placement and the eigenvalue routine do not promise it; a pair then begins at an even
/// index.
void pairs_first(std::vector<Complex>& a) {
  std::stable_partition(a.begin(), a.end(), [](Complex pole) { return pole.imag() != 0.0; });
}

void relocate(std::vector<Complex>& a, const std::vector<Complex>& s, const std::vector<Complex>& f,
              const std::vector<double>& b) {
  const std::size_t order = a.size();
  const std::vector<double> x = least_squares(system_of(a, s, f, true), b);
  const std::vector<Complex> c_hat = residues_from(a, &x[order + 2]);
  Matrix state(order, order);
  for (std::size_t i = 0; i < order; ++i) {
    if (a[i].imag() == 0.0) {
      state(i, i) += a[i].real();
      for (std::size_t j = 0; j < order; ++j) {
        state(i, j) -= x[order + 2 + j];
      }
    } else if (i % 2 == 0) {
      state(i, i) += a[i].real();
      state(i, i + 1) += a[i].imag();
      state(i + 1, i) -= a[i].imag();
      state(i + 1, i + 1) += a[i].real();
      for (std::size_t j = 0; j < order; ++j) {
        state(i, j) -= 2.0 * x[order + 2 + j];
      }
    }
  }
  const auto size = static_cast<int>(order);
  s_solver::deig(state.elements.data(), size, a.data(), size);
  for (Complex& pole : a) {
    pole.real(-std::abs(pole.real()));
  }
  pairs_first(a);
}

Complex evaluate(const Model& model, Complex s) {
  Complex sum = model.h * s + model.d;
  for (std::size_t i = 0; i < model.a.size(); ++i) {
    sum += model.c[i] / (s - model.a[i]);
  }
  return sum;
}

void write_results(const Model& model, const std::vector<Complex>& s, const std::vector<Complex>& f,
                   const std::vector<Complex>& f_fit) {
  std::ofstream coefficients("../tmp_S_Par/plain.coe");
  coefficients << std::setprecision(17) << model.a.size() << '\n' << model.d << '\n' << model.h << '\n';
  for (std::size_t i = 0; i < model.a.size(); ++i) {
    coefficients << model.a[i].real() << ' ' << model.a[i].imag() << ' ' << model.c[i].real() << ' '
                 << model.c[i].imag() << '\n';
  }
  std::ofstream plot("../tmp_S_Par/plain.out");
  plot << std::scientific << std::uppercase << std::setprecision(6);
  for (std::size_t k = 0; k < s.size(); ++k) {
    for (const double value : {s[k].imag() / numerics::two_pi, f[k].real(), f[k].imag(), std::abs(f[k]),
                               f_fit[k].real(), f_fit[k].imag(), std::abs(f_fit[k])}) {
      plot << std::setw(16) << value;
    }
    plot << '\n';
  }
}

}  // namespace

int main() {
  std::vector<Complex> s;
  std::vector<Complex> f;
  std::ifstream samples("../tmp_S_Par/f_data.in");
  double frequency = 0.0;
  double re = 0.0;
  double im = 0.0;
  while (samples >> frequency >> re >> im) {
    s.emplace_back(0.0, frequency * numerics::two_pi);
    f.emplace_back(re, im);
  }
  int order = 0;
  int max_iterations = 0;
  std::ifstream("../tmp_S_Par/f_data.ini") >> order >> max_iterations;

  Model model;
  model.a.resize(static_cast<std::size_t>(order));
  s_solver::place_starting_poles(order, s.front().imag() / numerics::two_pi,
                                 s.back().imag() / numerics::two_pi, 0, 1, model.a.data());
  pairs_first(model.a);
  std::vector<double> b;
  std::transform(f.begin(), f.end(), std::back_inserter(b), [](Complex value) { return value.real(); });
  std::transform(f.begin(), f.end(), std::back_inserter(b), [](Complex value) { return value.imag(); });

  std::vector<Complex> f_fit(f.size());
  for (int iteration = 1; iteration <= max_iterations; ++iteration) {
    relocate(model.a, s, f, b);
    const std::vector<double> x = least_squares(system_of(model.a, s, f, false), b);
    model.c = residues_from(model.a, x.data());
    model.d = x[model.a.size()];
    model.h = x[model.a.size() + 1];
    double sum = 0.0;
    for (std::size_t k = 0; k < f.size(); ++k) {
      f_fit[k] = evaluate(model, s[k]);
      sum += std::norm(f[k] - f_fit[k]);
    }
    const double error = std::sqrt(sum / static_cast<double>(f.size()));
    std::cout << " Iteration: " << iteration << "  error= " << std::setprecision(17) << error << '\n';
    if (error < 1e-6) {
      break;
    }
  }
  write_results(model, s, f, f_fit);
}
