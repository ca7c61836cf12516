#include "numerics/positive_definite.hpp"

#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>
#include <vector>

#include "numerics/power_of_two.hpp"
#include "numerics/tile_products.hpp"

// Loops over the registers of a tile, which must be unrolled for the tile to stay in registers.
#define NUMERICS_UNROLL _Pragma("GCC unroll 8")

namespace numerics {
namespace {

/// Columns that are made together: what they lose to all columns before them is summed in registers.
constexpr std::size_t panel = 4;

/// The matrix and then its factor. Columns have whole groups of rows, and are whole panels; beyond those of
/// the matrix there are zeros. What comes to stand above the diagonal counts for nothing.
struct Factor {
  explicit Factor(std::size_t order)
      : n(order),
        ld(padded_rows(order)),
        columns((order + panel - 1) / panel * panel),
        room(2 * ld * columns + 2 * panel * columns),
        re(room.data()),
        im(re + ld * columns),
        factors(im + ld * columns) {}

  std::size_t n;
  std::size_t ld;
  std::size_t columns;
  std::vector<double> room;
  double* re;
  double* im;
  double* factors;  ///< both parts of the panel's rows of the columns before it, one column after the other
};

/// `registers` registers of rows from i on of the panel at column j lose their products with the columns
/// before it.
template <std::size_t width, std::size_t registers>
[[gnu::always_inline]] inline void update_tile(const Factor& factor, std::size_t j, std::size_t i) {
  using Vector = typename Register<width>::Type;
  const std::size_t ld = factor.ld;
  std::array<std::array<Vector, registers>, panel> rest_re;
  std::array<std::array<Vector, registers>, panel> rest_im;
  NUMERICS_UNROLL
  for (std::size_t c = 0; c < panel; ++c) {
    NUMERICS_UNROLL
    for (std::size_t m = 0; m < registers; ++m) {
      load(rest_re[c][m], factor.re + (j + c) * ld + i + m * width);
      load(rest_im[c][m], factor.im + (j + c) * ld + i + m * width);
    }
  }
  for (std::size_t k = 0; k < j; ++k) {
    std::array<Vector, registers> l_re;
    std::array<Vector, registers> l_im;
    NUMERICS_UNROLL
    for (std::size_t m = 0; m < registers; ++m) {
      load(l_re[m], factor.re + k * ld + i + m * width);
      load(l_im[m], factor.im + k * ld + i + m * width);
    }
    const double* const f = factor.factors + 2 * panel * k;
    NUMERICS_UNROLL
    for (std::size_t c = 0; c < panel; ++c) {
      NUMERICS_UNROLL
      for (std::size_t m = 0; m < registers; ++m) {
        rest_re[c][m] -= l_re[m] * f[2 * c];
        rest_re[c][m] -= l_im[m] * f[2 * c + 1];
        rest_im[c][m] -= l_im[m] * f[2 * c];
        rest_im[c][m] += l_re[m] * f[2 * c + 1];
      }
    }
  }
  NUMERICS_UNROLL
  for (std::size_t c = 0; c < panel; ++c) {
    NUMERICS_UNROLL
    for (std::size_t m = 0; m < registers; ++m) {
      store(rest_re[c][m], factor.re + (j + c) * ld + i + m * width);
      store(rest_im[c][m], factor.im + (j + c) * ld + i + m * width);
    }
  }
}

/// The panel at column j loses what the columns before it make.
template <std::size_t width>
[[gnu::always_inline]] inline void update_panel(const Factor& factor, std::size_t j) {
  for (std::size_t k = 0; k < j; ++k) {
    for (std::size_t c = 0; c < panel; ++c) {
      factor.factors[2 * (panel * k + c)] = factor.re[k * factor.ld + j + c];
      factor.factors[2 * (panel * k + c) + 1] = factor.im[k * factor.ld + j + c];
    }
  }
  // As many as the registers of the unit hold.
  constexpr std::size_t registers = width == 8 ? 2 : 1;
  std::size_t i = j / row_group * row_group;
  for (; i + registers * width <= factor.ld; i += registers * width) {
    update_tile<width, registers>(factor, j, i);
  }
  for (; i < factor.ld; i += width) {
    update_tile<width, 1>(factor, j, i);
  }
}

/// The columns of the factor in the panel at column j; false at a pivot that is not positive.
[[gnu::always_inline]] inline bool factorise_panel(const Factor& factor, std::size_t j) {
  const std::size_t ld = factor.ld;
  const std::size_t first = j / row_group * row_group;
  const std::size_t past = std::min(j + panel, factor.n);
  for (std::size_t c = j; c < past; ++c) {
    double* const re = factor.re + c * ld;
    double* const im = factor.im + c * ld;
    if (!(re[c] > 0.0)) {
      return false;
    }
    const double inverse = 1.0 / std::sqrt(re[c]);
    for (std::size_t i = first; i < ld; ++i) {
      re[i] *= inverse;
      im[i] *= inverse;
    }
    for (std::size_t other = c + 1; other < past; ++other) {
      double* const rest_re = factor.re + other * ld;
      double* const rest_im = factor.im + other * ld;
      const double f_re = re[other];
      const double f_im = im[other];
      for (std::size_t i = first; i < ld; ++i) {
        rest_re[i] -= re[i] * f_re;
        rest_re[i] -= im[i] * f_im;
        rest_im[i] -= im[i] * f_re;
        rest_im[i] += re[i] * f_im;
      }
    }
  }
  return true;
}

}  // namespace

bool is_positive_definite(const ComplexMatrix& a, double shift, VectorUnit unit) {
  assert(a.rows() == a.columns());
  const std::uint64_t largest = std::max(largest_of_lower_triangle(a), modulus_bits(shift));
  if (!finite_bits(largest)) {
    return false;
  }
  const std::size_t n = a.rows();
  const PowerOfTwo down(-exponent_of_bits(largest));
  const Factor factor(n);
  for (std::size_t j = 0; j < n; ++j) {
    double* const re = factor.re + j * factor.ld;
    double* const im = factor.im + j * factor.ld;
    re[j] = down.times(a.re(j, j)) - down.times(shift);
    for (std::size_t i = j + 1; i < n; ++i) {
      re[i] = down.times(a.re(i, j));
      im[i] = down.times(a.im(i, j));
    }
  }
  return in_vector_form(
      unit, [&factor](auto width) __attribute__((always_inline)) {
        for (std::size_t j = 0; j < factor.n; j += panel) {
          update_panel<width()>(factor, j);
          if (!factorise_panel(factor, j)) {
            return false;
          }
        }
        return true;
      });
}

}  // namespace numerics
