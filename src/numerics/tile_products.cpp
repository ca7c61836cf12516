#include "numerics/tile_products.hpp"

#include <algorithm>
#include <array>
#include <cassert>

// Loops over the registers of a tile, which must be unrolled for the tile to stay in registers.
#define NUMERICS_UNROLL _Pragma("GCC unroll 8")

namespace numerics {
namespace {

/// A matrix whose sizes count as the registers do, from 0 up.
template <class T>
struct Block {
  explicit Block(const MatrixView<T>& view)
      : data(view.data()),
        rows(static_cast<std::size_t>(view.rows())),
        columns(static_cast<std::size_t>(view.columns())),
        ld(static_cast<std::size_t>(view.leading_dimension())) {}
  T* at(std::size_t i, std::size_t j) const { return data + i + j * ld; }

  T* data;
  std::size_t rows;
  std::size_t columns;
  std::size_t ld;
};

using Constant = Block<const double>;
using Variable = Block<double>;

/// Rows that are summed before the columns of a tile change, few enough for those to stay in the first-level
/// cache. With 256 factorising takes 7 % longer, with 128 20 %; 1024 are not felt.
constexpr std::size_t summed_rows = 512;

/// Rows of v that serve all columns of b before the next ones are taken, few enough for the second-level
/// cache; 64 and 256 are not felt.
constexpr std::size_t updated_rows = 128;

/// Columns of v in a tile of sums.
constexpr std::size_t tall = 4;

/// w(0.., 0..) += the product of `left` columns from v on and `right` columns from b on.
template <std::size_t width, std::size_t left, std::size_t right>
[[gnu::always_inline]] inline void sum_tile(const double* v, std::size_t ldv, const double* b,
                                            std::size_t ldb, std::size_t rows, double* w, std::size_t ldw) {
  using Vector = typename Register<width>::Type;
  std::array<double, sum_parts * left * right> part;
  for (std::size_t lane = 0; lane < sum_parts; lane += width) {
    std::array<std::array<Vector, left>, right> sum{};
    for (std::size_t k = lane; k < rows; k += sum_parts) {
      std::array<Vector, left> factor;
      NUMERICS_UNROLL
      for (std::size_t i = 0; i < left; ++i) {
        load(factor[i], v + i * ldv + k);
      }
      NUMERICS_UNROLL
      for (std::size_t j = 0; j < right; ++j) {
        Vector other;
        load(other, b + j * ldb + k);
        NUMERICS_UNROLL
        for (std::size_t i = 0; i < left; ++i) {
          sum[j][i] += factor[i] * other;
        }
      }
    }
    NUMERICS_UNROLL
    for (std::size_t j = 0; j < right; ++j) {
      NUMERICS_UNROLL
      for (std::size_t i = 0; i < left; ++i) {
        store(sum[j][i], part.data() + (j * left + i) * sum_parts + lane);
      }
    }
  }
  for (std::size_t j = 0; j < right; ++j) {
    for (std::size_t i = 0; i < left; ++i) {
      w[i + j * ldw] += sum_of_parts(part.data() + (j * left + i) * sum_parts);
    }
  }
}

/// The sums of `right` columns of b from column j on, as far as that goes; the next column.
template <std::size_t width, std::size_t right>
[[gnu::always_inline]] inline std::size_t sum_columns(const Constant& v, const Constant& b, const Variable& w,
                                                      std::size_t first, std::size_t rows, std::size_t j) {
  for (; j + right <= b.columns; j += right) {
    std::size_t i = 0;
    for (; i + tall <= v.columns; i += tall) {
      sum_tile<width, tall, right>(v.at(first, i), v.ld, b.at(first, j), b.ld, rows, w.at(i, j), w.ld);
    }
    for (; i < v.columns; ++i) {
      sum_tile<width, 1, right>(v.at(first, i), v.ld, b.at(first, j), b.ld, rows, w.at(i, j), w.ld);
    }
  }
  return j;
}

template <std::size_t width, std::size_t wide>
[[gnu::always_inline]] inline void add_sums(const Constant& v, const Constant& b, const Variable& w) {
  for (std::size_t first = 0; first < v.rows; first += summed_rows) {
    const std::size_t rows = std::min(summed_rows, v.rows - first);
    std::size_t j = sum_columns<width, wide>(v, b, w, first, rows, 0);
    j = sum_columns<width, 2>(v, b, w, first, rows, j);
    sum_columns<width, 1>(v, b, w, first, rows, j);
  }
}

/// `registers` registers of rows and `columns` columns from b on lose the product of v and w.
template <std::size_t width, std::size_t registers, std::size_t columns>
[[gnu::always_inline]] inline void update_tile(const double* v, std::size_t ldv, std::size_t terms,
                                               const double* w, std::size_t ldw, double* b, std::size_t ldb) {
  using Vector = typename Register<width>::Type;
  std::array<std::array<Vector, registers>, columns> rest;
  NUMERICS_UNROLL
  for (std::size_t j = 0; j < columns; ++j) {
    NUMERICS_UNROLL
    for (std::size_t m = 0; m < registers; ++m) {
      load(rest[j][m], b + j * ldb + m * width);
    }
  }
  for (std::size_t i = 0; i < terms; ++i) {
    std::array<Vector, registers> column;
    NUMERICS_UNROLL
    for (std::size_t m = 0; m < registers; ++m) {
      load(column[m], v + i * ldv + m * width);
    }
    NUMERICS_UNROLL
    for (std::size_t j = 0; j < columns; ++j) {
      const double factor = w[i + j * ldw];
      NUMERICS_UNROLL
      for (std::size_t m = 0; m < registers; ++m) {
        rest[j][m] -= factor * column[m];
      }
    }
  }
  NUMERICS_UNROLL
  for (std::size_t j = 0; j < columns; ++j) {
    NUMERICS_UNROLL
    for (std::size_t m = 0; m < registers; ++m) {
      store(rest[j][m], b + j * ldb + m * width);
    }
  }
}

/// The update of `columns` columns of b from column j on, as far as that goes; the next column.
template <std::size_t width, std::size_t columns>
[[gnu::always_inline]] inline std::size_t update_columns(const Constant& v, const Constant& w,
                                                         const Variable& b, std::size_t first,
                                                         std::size_t past, std::size_t j) {
  constexpr std::size_t registers = 4;
  constexpr std::size_t fewer = row_group / width;
  for (; j + columns <= b.columns; j += columns) {
    std::size_t k = first;
    for (; k + registers * width <= past; k += registers * width) {
      update_tile<width, registers, columns>(v.at(k, 0), v.ld, v.columns, w.at(0, j), w.ld, b.at(k, j), b.ld);
    }
    for (; k < past; k += row_group) {
      update_tile<width, fewer, columns>(v.at(k, 0), v.ld, v.columns, w.at(0, j), w.ld, b.at(k, j), b.ld);
    }
  }
  return j;
}

template <std::size_t width, std::size_t wide>
[[gnu::always_inline]] inline void update(const Constant& v, const Constant& w, const Variable& b) {
  for (std::size_t first = 0; first < v.rows; first += updated_rows) {
    const std::size_t past = std::min(first + updated_rows, v.rows);
    std::size_t j = update_columns<width, wide>(v, w, b, first, past, 0);
    j = update_columns<width, 2>(v, w, b, first, past, j);
    update_columns<width, 1>(v, w, b, first, past, j);
  }
}

/// Columns of b in a tile: what is summed, and what it is summed from, just fits the registers of the unit.
template <std::size_t width>
constexpr std::size_t widest_tile = width == 8 ? 6 : 2;

}  // namespace

void add_transposed_product(const MatrixView<const double>& v, const MatrixView<const double>& b,
                            const MatrixView<double>& w, VectorUnit unit) {
  assert(v.rows() == b.rows() && static_cast<std::size_t>(v.rows()) % row_group == 0);
  in_vector_form(
      unit,
      [ left = Constant(v), right = Constant(b), sums = Variable(w) ](auto width)
          __attribute__((always_inline)) { add_sums<width(), widest_tile<width()>>(left, right, sums); });
}

void subtract_product(const MatrixView<const double>& v, const MatrixView<const double>& w,
                      const MatrixView<double>& b, VectorUnit unit) {
  assert(v.rows() == b.rows() && static_cast<std::size_t>(v.rows()) % row_group == 0);
  in_vector_form(
      unit,
      [ left = Constant(v), factors = Constant(w), rest = Variable(b) ](auto width)
          __attribute__((always_inline)) { update<width(), widest_tile<width()>>(left, factors, rest); });
}

}  // namespace numerics
