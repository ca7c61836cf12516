/// Dense linear algebra: orthogonal factorisations of our own, small decompositions by the installed LAPACK.
/// All of it may be called from several threads at once.
#pragma once

#include <complex>
#include <cstddef>
#include <vector>

namespace polefit {

/// A column-major matrix that owns its elements, without gaps; (i, j) counts from 0.
struct Matrix {
  Matrix() = default;
  Matrix(std::size_t row_count, std::size_t column_count)
      : rows(row_count), columns(column_count), elements(row_count * column_count) {}
  double& operator()(std::size_t i, std::size_t j) { return elements[i + j * rows]; }
  double operator()(std::size_t i, std::size_t j) const { return elements[i + j * rows]; }
  double* column(std::size_t j) { return elements.data() + j * rows; }
  const double* column(std::size_t j) const { return elements.data() + j * rows; }

  std::size_t rows = 0;
  std::size_t columns = 0;
  std::vector<double> elements;
};

/// An orthogonal factorisation a = Q R, with the reflections I - tau v v^T whose product Q is (Householder,
/// "Unitary triangularization of a nonsymmetric matrix", J. ACM 5(4), 1958).
struct Factorisation {
  Matrix a;  ///< R in the upper triangle; below, each v without its leading 1
  std::vector<double> tau;
};

/// Householder factorisation; a.rows >= a.columns.
Factorisation factorise(Matrix a);

/// b = Q^T b for all columns of b.
void apply_transposed(const Factorisation& factorisation, Matrix& b);

/// The triangle R of a factorisation of columns of norm 1 or parts of such, factorised once more with its
/// columns in an order of falling size. Without that, a column that is a combination of others would take an
/// equation with it that the columns behind it need.
struct OrderedTriangle {
  Factorisation factorisation;
  std::vector<std::size_t> place;  ///< of each of its columns in R
  std::size_t rank = 0;            ///< columns that are not negligible
};

OrderedTriangle ordered_triangle(const Factorisation& factorisation);

/// Solves R x = b(0 .. columns - 1, column) for all columns of b, in place; unknowns of negligible columns
/// are 0.
void solve_triangular(const OrderedTriangle& triangle, Matrix& b);

/// Reciprocal of the condition of the upper triangle, estimated.
double triangle_condition(const Factorisation& factorisation);

/// A symmetric positive definite matrix a by the inverse of its Cholesky factor, of rows and columns scaled
/// to a diagonal of ones: a^-1 = D W^T W D with D = diag(scale).
struct InverseFactor {
  std::vector<double> scale;
  Matrix w;                ///< lower triangular
  double condition = 0.0;  ///< reciprocal, of the scaled matrix in the norm of largest column sums
};

/// Of the matrix whose lower triangle a has; false when it is not positive definite.
bool invert_positive(Matrix a, InverseFactor& inverse);

/// The eigenvalues; pairs side by side, positive imaginary part first, exactly conjugate. Throws Error
/// (numerical_breakdown).
std::vector<std::complex<double>> eigenvalues(Matrix a);

}  // namespace polefit
