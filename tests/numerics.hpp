/// What the numerical tests share: repeatable random numbers, norms and samples of rational functions.
#pragma once

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

namespace testing_support {

using Complex = std::complex<double>;

/// The distance from 1 to the next double, 2^-52.
inline constexpr double eps = std::numeric_limits<double>::epsilon();
inline constexpr double quiet_nan = std::numeric_limits<double>::quiet_NaN();
inline constexpr double infinity = std::numeric_limits<double>::infinity();

/// Numbers spread evenly over -1..1, the same on every system.
class RandomNumbers {
 public:
  explicit RandomNumbers(std::uint64_t seed) : generator_(seed) {}
  double operator()() {
    return std::ldexp(static_cast<double>(static_cast<std::int64_t>(generator_())), -63);
  }
  double between(double low, double high) { return low + (high - low) * (0.5 + 0.5 * (*this)()); }
  /// Both parts over -1..1.
  Complex complex() {
    const double imaginary = (*this)();
    return {(*this)(), imaginary};
  }
  int below(int bound) { return static_cast<int>(generator_() % static_cast<std::uint64_t>(bound)); }
  std::vector<double> values(int count) {
    std::vector<double> result(static_cast<std::size_t>(count));
    for (double& value : result) {
      value = (*this)();
    }
    return result;
  }

 private:
  std::mt19937_64 generator_;
};

/// A column-major matrix that owns its elements, without gaps between its columns; (i, j) counts from 0.
struct Matrix {
  Matrix(int row_count, int column_count, double value = 0.0)
      : rows(row_count),
        columns(column_count),
        elements(static_cast<std::size_t>(row_count) * static_cast<std::size_t>(column_count), value) {}
  /// Row by row, as matrices are written on paper.
  Matrix(int row_count, int column_count, const std::vector<double>& by_rows)
      : Matrix(row_count, column_count) {
    for (int i = 0; i < rows; ++i) {
      for (int j = 0; j < columns; ++j) {
        (*this)(i, j) = by_rows.at(static_cast<std::size_t>(i) * static_cast<std::size_t>(columns) +
                                   static_cast<std::size_t>(j));
      }
    }
  }
  static Matrix random(int row_count, int column_count, RandomNumbers& numbers) {
    Matrix matrix(row_count, column_count);
    for (double& element : matrix.elements) {
      element = numbers();
    }
    return matrix;
  }
  static Matrix identity(int order) {
    Matrix matrix(order, order);
    for (int i = 0; i < order; ++i) {
      matrix(i, i) = 1.0;
    }
    return matrix;
  }
  /// This matrix as the leading part of one with declared size nmax x nmax that holds `outside` elsewhere.
  Matrix declared(int nmax, double outside) const {
    Matrix large(nmax, nmax, outside);
    for (int j = 0; j < columns; ++j) {
      for (int i = 0; i < rows; ++i) {
        large(i, j) = (*this)(i, j);
      }
    }
    return large;
  }
  Matrix leading(int row_count, int column_count) const {
    Matrix part(row_count, column_count);
    for (int j = 0; j < column_count; ++j) {
      for (int i = 0; i < row_count; ++i) {
        part(i, j) = (*this)(i, j);
      }
    }
    return part;
  }
  Matrix transposed() const {
    Matrix result(columns, rows);
    for (int j = 0; j < columns; ++j) {
      for (int i = 0; i < rows; ++i) {
        result(j, i) = (*this)(i, j);
      }
    }
    return result;
  }

  double& operator()(int i, int j) { return elements.at(index(i, j)); }
  double operator()(int i, int j) const { return elements.at(index(i, j)); }
  double* data() { return elements.data(); }
  const double* data() const { return elements.data(); }
  bool operator==(const Matrix&) const = default;

  int rows;
  int columns;
  std::vector<double> elements;

 private:
  std::size_t index(int i, int j) const {
    return static_cast<std::size_t>(i) + static_cast<std::size_t>(j) * static_cast<std::size_t>(rows);
  }
};

inline Matrix operator*(const Matrix& a, const Matrix& b) {
  Matrix product(a.rows, b.columns);
  for (int i = 0; i < a.rows; ++i) {
    for (int j = 0; j < b.columns; ++j) {
      for (int k = 0; k < a.columns; ++k) {
        product(i, j) += a(i, k) * b(k, j);
      }
    }
  }
  return product;
}

inline Matrix operator-(Matrix a, const Matrix& b) {
  for (std::size_t i = 0; i < a.elements.size(); ++i) {
    a.elements[i] -= b.elements.at(i);
  }
  return a;
}

/// Square root of the sum of squares.
inline double norm(const std::vector<double>& values) {
  double sum = 0.0;
  for (const double value : values) {
    sum += value * value;
  }
  return std::sqrt(sum);
}
inline double norm(const Matrix& matrix) { return norm(matrix.elements); }

/// A^T (A x - b) of a least-squares solution x, in units of eps max(m, n) |A| (|A| |x| + |b|): of order 1
/// for the solution of a problem that differs from the given one by rounding only.
inline double normal_equation_residual(const Matrix& a, const std::vector<double>& x,
                                       const std::vector<double>& b) {
  std::vector<double> residual(b.size());
  for (int i = 0; i < a.rows; ++i) {
    double sum = -b[static_cast<std::size_t>(i)];
    for (int j = 0; j < a.columns; ++j) {
      sum += a(i, j) * x[static_cast<std::size_t>(j)];
    }
    residual[static_cast<std::size_t>(i)] = sum;
  }
  std::vector<double> gradient(x.size());
  for (int j = 0; j < a.columns; ++j) {
    for (int i = 0; i < a.rows; ++i) {
      gradient[static_cast<std::size_t>(j)] += a(i, j) * residual[static_cast<std::size_t>(i)];
    }
  }
  return norm(gradient) / (eps * std::max(a.rows, a.columns) * norm(a) * (norm(a) * norm(x) + norm(b)));
}

/// A rational function d + h s + sum c_i / (s - a_i), evaluated by plain complex arithmetic.
struct RationalFunction {
  std::vector<Complex> a;
  std::vector<Complex> c;
  double d = 0.0;
  double h = 0.0;

  Complex operator()(Complex s) const {
    Complex sum = d + h * s;
    for (std::size_t i = 0; i < a.size(); ++i) {
      sum += c.at(i) / (s - a[i]);
    }
    return sum;
  }
  std::vector<Complex> at(const std::vector<Complex>& points) const {
    std::vector<Complex> samples;
    samples.reserve(points.size());
    for (const Complex s : points) {
      samples.push_back((*this)(s));
    }
    return samples;
  }
};

/// The points j omega for `count` values of omega evenly from `first` to `last`.
inline std::vector<Complex> imaginary_points(int count, double first, double last) {
  std::vector<Complex> points;
  points.reserve(static_cast<std::size_t>(count));
  for (int k = 0; k < count; ++k) {
    points.emplace_back(0.0, count == 1 ? first : first + (last - first) * k / (count - 1));
  }
  return points;
}

}  // namespace testing_support
