/// What the tests of complex matrices share; products are summed in long double, so that what is seen is the
/// error of the results and not of the test.
#pragma once

#include <complex>

#include "matrices.hpp"
#include "numerics/complex_matrix.hpp"

namespace numerics::test_matrices {

inline ComplexMatrix random_complex(std::size_t rows, std::size_t columns, RandomNumbers& numbers) {
  ComplexMatrix a(rows, columns);
  a.re = random_matrix(rows, columns, numbers);
  a.im = random_matrix(rows, columns, numbers);
  return a;
}

inline ComplexMatrix complex_identity(std::size_t order) {
  ComplexMatrix a(order, order);
  a.re = identity(order);
  return a;
}

inline ComplexMatrix adjoint(const ComplexMatrix& a) {
  ComplexMatrix result(a.columns(), a.rows());
  for (std::size_t j = 0; j < a.columns(); ++j) {
    for (std::size_t i = 0; i < a.rows(); ++i) {
      result.set(j, i, std::conj(a(i, j)));
    }
  }
  return result;
}

inline ComplexMatrix product(const ComplexMatrix& a, const ComplexMatrix& b) {
  ComplexMatrix result(a.rows(), b.columns());
  for (std::size_t j = 0; j < b.columns(); ++j) {
    for (std::size_t i = 0; i < a.rows(); ++i) {
      std::complex<long double> sum;
      for (std::size_t k = 0; k < a.columns(); ++k) {
        sum += std::complex<long double>(a(i, k)) * std::complex<long double>(b(k, j));
      }
      result.set(i, j, std::complex<double>(sum));
    }
  }
  return result;
}

inline ComplexMatrix difference(ComplexMatrix a, const ComplexMatrix& b) {
  const auto subtract = [](std::vector<double>& from, const std::vector<double>& what) {
    std::transform(from.begin(), from.end(), what.begin(), from.begin(), std::minus<>());
  };
  subtract(a.re.elements, b.re.elements);
  subtract(a.im.elements, b.im.elements);
  return a;
}

/// The root of the sum of the squares.
inline double norm_of(const ComplexMatrix& a) { return std::hypot(norm(a.re.elements), norm(a.im.elements)); }

inline ComplexMatrix times_power_of_two(ComplexMatrix a, int exponent) {
  for (std::vector<double>* part : {&a.re.elements, &a.im.elements}) {
    for (double& element : *part) {
      element = std::ldexp(element, exponent);
    }
  }
  return a;
}

inline std::vector<double> times_power_of_two(std::vector<double> values, int exponent) {
  for (double& value : values) {
    value = std::ldexp(value, exponent);
  }
  return values;
}

/// The matrix with each column multiplied by its value.
inline ComplexMatrix columns_times(ComplexMatrix a, const std::vector<double>& values) {
  for (std::size_t j = 0; j < a.columns(); ++j) {
    for (std::size_t i = 0; i < a.rows(); ++i) {
      a.set(i, j, values[j] * a(i, j));
    }
  }
  return a;
}

/// Elements below the diagonal as they come, those above it conjugate to the bit.
inline ComplexMatrix made_hermitian(ComplexMatrix a) {
  for (std::size_t j = 0; j < a.columns(); ++j) {
    a.im(j, j) = 0.0;
    for (std::size_t i = j + 1; i < a.rows(); ++i) {
      a.set(j, i, std::conj(a(i, j)));
    }
  }
  return a;
}

/// A random unitary matrix: random columns made orthonormal, twice so that rounding is all that is left.
inline ComplexMatrix random_unitary(std::size_t n, RandomNumbers& numbers) {
  ComplexMatrix q = random_complex(n, n, numbers);
  for (std::size_t j = 0; j < n; ++j) {
    for (int round = 0; round < 2; ++round) {
      for (std::size_t k = 0; k < j; ++k) {
        std::complex<long double> sum;
        for (std::size_t i = 0; i < n; ++i) {
          sum += std::complex<long double>(std::conj(q(i, k))) * std::complex<long double>(q(i, j));
        }
        for (std::size_t i = 0; i < n; ++i) {
          q.set(i, j, q(i, j) - std::complex<double>(sum) * q(i, k));
        }
      }
      const double length = std::hypot(column_norm(q.re, j), column_norm(q.im, j));
      for (std::size_t i = 0; i < n; ++i) {
        q.set(i, j, q(i, j) / length);
      }
    }
  }
  return q;
}

/// q diag(values) q^H.
inline ComplexMatrix with_eigenvalues(const std::vector<double>& values, const ComplexMatrix& q) {
  return made_hermitian(product(columns_times(q, values), adjoint(q)));
}

/// How far the columns are from orthonormal: | q^H q - I |.
inline double skew(const ComplexMatrix& q) {
  return norm_of(difference(product(adjoint(q), q), complex_identity(q.columns())));
}

}  // namespace numerics::test_matrices
