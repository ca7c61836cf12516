#include "numerics/singular_values.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <numeric>
#include <utility>

#include "numerics/hermitian_eigenvalues.hpp"
#include "numerics/power_of_two.hpp"
#include "numerics/tile_products.hpp"

// Loops over the registers of a tile, which must be unrolled for the tile to stay in registers.
#define NUMERICS_UNROLL _Pragma("GCC unroll 8")

namespace numerics {
namespace {

constexpr double eps = std::numeric_limits<double>::epsilon();

/// The square of a column that counts for nothing beside the largest element, which is about 1. Products of
/// two such squares, and what is negligible beside these, keep their digits.
constexpr double least_square = 1e-120;

/// More columns than this are turned by the eigenvectors of a^H a first: with that 8 columns take 0.8 of the
/// time, 20 take 0.55; 4 would take 1.3. The values alone of 20 take half of that by its eigenvalues.
constexpr std::size_t few_columns = 6;

/// Columns in whole groups of rows, with zeros below.
struct Columns {
  Columns(std::size_t row_count, std::size_t column_count)
      : rows(row_count), parts(padded_rows(row_count), column_count) {}
  double* re(std::size_t j) { return parts.re.column(j); }
  double* im(std::size_t j) { return parts.im.column(j); }
  std::size_t padded() const { return parts.rows(); }

  std::size_t rows;
  ComplexMatrix parts;
};

/// x^H x, y^H y and x^H y.
struct Products {
  double x;
  double y;
  double re;
  double im;
};

template <std::size_t width>
[[gnu::always_inline]] inline Products products_of(Columns& b, std::size_t i, std::size_t j) {
  using Vector = typename Register<width>::Type;
  constexpr std::size_t registers = sum_parts / width;
  using Sum = std::array<Vector, registers>;
  Sum sum_x{};
  Sum sum_y{};
  Sum sum_re{};
  Sum sum_im{};
  const double* const x_re = b.re(i);
  const double* const x_im = b.im(i);
  const double* const y_re = b.re(j);
  const double* const y_im = b.im(j);
  for (std::size_t k = 0; k < b.padded(); k += row_group) {
    NUMERICS_UNROLL
    for (std::size_t l = 0; l < registers; ++l) {
      Vector a;
      Vector c;
      Vector d;
      Vector e;
      load(a, x_re + k + l * width);
      load(c, x_im + k + l * width);
      load(d, y_re + k + l * width);
      load(e, y_im + k + l * width);
      sum_x[l] += a * a + c * c;
      sum_y[l] += d * d + e * e;
      sum_re[l] += a * d + c * e;
      sum_im[l] += a * e - c * d;
    }
  }
  const auto added = [](const Sum& sum) __attribute__((always_inline)) {
    std::array<double, sum_parts> part;
    for (std::size_t l = 0; l < registers; ++l) {
      store(sum[l], part.data() + l * width);
    }
    return sum_of_parts(part.data());
  };
  return {added(sum_x), added(sum_y), added(sum_re), added(sum_im)};
}

/// Columns x and y become c x - s y and s x + c y after y is multiplied by the conjugate of a unit.
struct Turn {
  double c;
  double s;
  double unit_re;
  double unit_im;
};

template <std::size_t width>
[[gnu::always_inline]] inline void turn(Columns& b, std::size_t i, std::size_t j, const Turn& t) {
  using Vector = typename Register<width>::Type;
  double* const x_re = b.re(i);
  double* const x_im = b.im(i);
  double* const y_re = b.re(j);
  double* const y_im = b.im(j);
  for (std::size_t k = 0; k < b.padded(); k += width) {
    Vector a;
    Vector c;
    Vector d;
    Vector e;
    load(a, x_re + k);
    load(c, x_im + k);
    load(d, y_re + k);
    load(e, y_im + k);
    const Vector re = d * t.unit_re + e * t.unit_im;
    const Vector im = e * t.unit_re - d * t.unit_im;
    store(Vector(t.c * a - t.s * re), x_re + k);
    store(Vector(t.c * c - t.s * im), x_im + k);
    store(Vector(t.s * a + t.c * re), y_re + k);
    store(Vector(t.s * c + t.c * im), y_im + k);
  }
}

/// Turns the columns of b in pairs until they are orthogonal, those of v with them. `place` is where they
/// stand, the longest first; their squared norms join `squares`. False when that takes too many rounds.
template <std::size_t width>
[[gnu::always_inline]] inline bool orthogonalise(Columns& b, Columns& v, std::vector<std::size_t>& place,
                                                 std::vector<double>& squares) {
  constexpr int most_rounds = 60;  // two to six are usual
  const std::size_t n = place.size();
  // What a product of orthogonal columns may be by rounding.
  const double small = 2.0 * eps * std::sqrt(static_cast<double>(b.rows));
  bool changed = n > 1;
  for (int round = 0; changed; ++round) {
    if (round == most_rounds) {
      return false;
    }
    changed = false;
    for (std::size_t p = 0; p + 1 < n; ++p) {
      for (std::size_t q = p + 1; q < n; ++q) {
        Products product = products_of<width>(b, place[p], place[q]);
        if (product.x < product.y) {
          // What comes to stand at p has not met all that this round has put before q.
          changed = true;
          std::swap(place[p], place[q]);
          std::swap(product.x, product.y);
          product.im = -product.im;
        }
        const double square = product.re * product.re + product.im * product.im;
        if (!(product.y > least_square) || !(square > small * small * product.x * product.y)) {
          continue;
        }
        changed = true;
        const double modulus = std::sqrt(square);
        const double zeta = (product.x - product.y) / (2.0 * modulus);
        const double t = -1.0 / (zeta + std::sqrt(1.0 + zeta * zeta));
        const double c = 1.0 / std::sqrt(1.0 + t * t);
        const Turn by{c, t * c, product.re / modulus, product.im / modulus};
        turn<width>(b, place[p], place[q], by);
        if (v.rows > 0) {
          turn<width>(v, place[p], place[q], by);
        }
      }
    }
  }
  for (std::size_t j = 0; j < n; ++j) {
    squares[j] = products_of<width>(b, place[j], place[j]).x;
  }
  return true;
}

MatrixView<const double> view(const Matrix& a) { return part_of(a, 0, 0, a.rows, a.columns); }
MatrixView<double> view(Matrix& a) { return part_of(a, 0, 0, a.rows, a.columns); }

/// b^H b.
ComplexMatrix square_of(const Columns& b, VectorUnit unit) {
  const std::size_t n = b.parts.columns();
  const Matrix& re = b.parts.re;
  const Matrix& im = b.parts.im;
  ComplexMatrix square(n, n);
  add_transposed_product(view(re), view(re), view(square.re), unit);
  add_transposed_product(view(im), view(im), view(square.re), unit);
  add_transposed_product(view(re), view(im), view(square.im), unit);
  Matrix other(n, n);
  add_transposed_product(view(im), view(re), view(other), unit);
  std::transform(square.im.elements.begin(), square.im.elements.end(), other.elements.begin(),
                 square.im.elements.begin(), std::minus<>());
  return square;
}

/// b times the eigenvectors of b^H b, and these in v; false when they are not found.
bool turn_by_eigenvectors(Columns& b, Columns& v, VectorUnit unit) {
  const std::optional<HermitianEigenvalues> found = hermitian_eigenvalues(square_of(b, unit), true, unit);
  if (!found) {
    return false;
  }
  const std::size_t n = b.parts.columns();
  const Matrix& re = b.parts.re;
  const Matrix& im = b.parts.im;
  // The longest columns first; and negative, since products are subtracted.
  ComplexMatrix vectors(n, n);
  ComplexMatrix negative(n, n);
  for (std::size_t j = 0; j < n; ++j) {
    std::copy_n(found->vectors.re.column(n - 1 - j), n, vectors.re.column(j));
    std::copy_n(found->vectors.im.column(n - 1 - j), n, vectors.im.column(j));
    std::transform(vectors.re.column(j), vectors.re.column(j) + n, negative.re.column(j), std::negate<>());
    std::transform(vectors.im.column(j), vectors.im.column(j) + n, negative.im.column(j), std::negate<>());
  }
  ComplexMatrix turned(b.padded(), n);
  subtract_product(view(re), constant(view(negative.re)), view(turned.re), unit);
  subtract_product(view(im), constant(view(vectors.im)), view(turned.re), unit);
  subtract_product(view(re), constant(view(negative.im)), view(turned.im), unit);
  subtract_product(view(im), constant(view(negative.re)), view(turned.im), unit);
  b.parts = std::move(turned);
  for (std::size_t j = 0; j < n; ++j) {
    std::copy_n(vectors.re.column(j), n, v.re(j));
    std::copy_n(vectors.im.column(j), n, v.im(j));
  }
  return true;
}

/// The columns in their places, each multiplied by its factor.
ComplexMatrix in_order(Columns& b, const std::vector<std::size_t>& place,
                       const std::vector<double>& factors) {
  ComplexMatrix result(b.rows, place.size());
  for (std::size_t j = 0; j < place.size(); ++j) {
    const double factor = factors[j];
    const auto times = [factor](double x) { return factor * x; };
    std::transform(b.re(place[j]), b.re(place[j]) + b.rows, result.re.column(j), times);
    std::transform(b.im(place[j]), b.im(place[j]) + b.rows, result.im.column(j), times);
  }
  return result;
}

std::uint64_t largest_of(const ComplexMatrix& a) {
  std::uint64_t most = 0;
  for (const std::vector<double>* part : {&a.re.elements, &a.im.elements}) {
    for (const double element : *part) {
      most = std::max(most, modulus_bits(element));
    }
  }
  return most;
}

/// The values alone, as roots of the eigenvalues of b^H b.
std::optional<SingularValues> roots_of_eigenvalues(const Columns& b, const PowerOfTwo& up, VectorUnit unit) {
  const std::optional<HermitianEigenvalues> found = hermitian_eigenvalues(square_of(b, unit), false, unit);
  if (!found) {
    return std::nullopt;
  }
  SingularValues result;
  for (const double square : found->values) {
    result.values.push_back(up.times(square > least_square ? std::sqrt(square) : 0.0));
  }
  std::reverse(result.values.begin(), result.values.end());
  return result;
}

/// Values by turning columns, and the vectors unless v has no columns.
std::optional<SingularValues> by_turns(Columns& b, Columns& v, const PowerOfTwo& up, VectorUnit unit) {
  const std::size_t n = b.parts.columns();
  std::vector<std::size_t> place(n);
  std::iota(place.begin(), place.end(), std::size_t{0});
  SingularValues result;
  result.values.resize(n);
  if (!in_vector_form(
          unit, [&](auto width) __attribute__((always_inline)) {
            return orthogonalise<width()>(b, v, place, result.values);
          })) {
    return std::nullopt;
  }
  std::vector<double> inverse(n);
  for (std::size_t j = 0; j < n; ++j) {
    const double value = result.values[j] > least_square ? std::sqrt(result.values[j]) : 0.0;
    inverse[j] = value > 0.0 ? 1.0 / value : 0.0;
    result.values[j] = up.times(value);
  }
  if (v.rows > 0) {
    result.left = in_order(b, place, inverse);
    result.right = in_order(v, place, std::vector<double>(n, 1.0));
  }
  return result;
}

}  // namespace

std::optional<SingularValues> singular_values(const ComplexMatrix& a, bool with_vectors, VectorUnit unit) {
  const std::uint64_t largest = largest_of(a);
  if (!finite_bits(largest)) {
    return std::nullopt;
  }
  const int exponent = exponent_of_bits(largest);
  const PowerOfTwo down(-exponent);
  const PowerOfTwo up(exponent);
  // The columns to be turned are no more than the rows: else they are those of a^H.
  const bool wide = a.columns() > a.rows();
  const std::size_t m = wide ? a.columns() : a.rows();
  const std::size_t n = wide ? a.rows() : a.columns();
  Columns b(m, n);
  for (std::size_t j = 0; j < n; ++j) {
    for (std::size_t i = 0; i < m; ++i) {
      b.re(j)[i] = down.times(wide ? a.re(j, i) : a.re(i, j));
      b.im(j)[i] = down.times(wide ? -a.im(j, i) : a.im(i, j));
    }
  }
  std::optional<SingularValues> result;
  if (n > few_columns && !with_vectors) {
    result = roots_of_eigenvalues(b, up, unit);
  } else {
    Columns v(with_vectors ? n : 0, with_vectors ? n : 0);
    for (std::size_t j = 0; j < v.rows; ++j) {
      v.re(j)[j] = 1.0;
    }
    if (n > few_columns && !turn_by_eigenvectors(b, v, unit)) {
      return std::nullopt;
    }
    result = by_turns(b, v, up, unit);
  }
  if (!result || (!result->values.empty() && !std::isfinite(result->values.front()))) {
    return std::nullopt;
  }
  if (wide) {
    std::swap(result->left, result->right);
  }
  return result;
}

}  // namespace numerics
