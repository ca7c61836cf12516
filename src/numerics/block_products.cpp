#include "numerics/block_products.hpp"

#include <algorithm>
#include <array>
#include <cassert>
#include <cstddef>

#include "numerics/vector_form.hpp"

// Loops over the registers of a tile, which must be unrolled for the tile to stay in registers.
#define NUMERICS_UNROLL _Pragma("GCC unroll 8")

namespace numerics {
namespace {

/// Columns that are packed together.
constexpr std::size_t panel = column_step;

static_assert(column_step % left_inverse_rows == 0);

/// A matrix whose sizes count as the registers do, from 0 up.
struct Block {
  explicit Block(const MatrixView<const double>& view)
      : data(view.data()),
        rows(static_cast<std::size_t>(view.rows())),
        columns(static_cast<std::size_t>(view.columns())),
        ld(static_cast<std::size_t>(view.leading_dimension())) {}
  const double* column(std::size_t j) const { return data + j * ld; }

  const double* data;
  std::size_t rows;
  std::size_t columns;
  std::size_t ld;
};

/// products(i) += the product of column i of a and the vector b, for `columns` columns without gaps.
template <std::size_t width, std::size_t columns>
[[gnu::always_inline]] inline void add_column_products(const double* a, const double* b, std::size_t rows,
                                                       double* products) {
  using Vector = typename Register<width>::Type;
  constexpr std::size_t registers = sum_parts / width;
  std::array<std::array<Vector, registers>, columns> sum{};
  for (std::size_t k = 0; k < rows; k += sum_parts) {
    NUMERICS_UNROLL
    for (std::size_t m = 0; m < registers; ++m) {
      Vector right;
      load(right, b + k + m * width);
      NUMERICS_UNROLL
      for (std::size_t i = 0; i < columns; ++i) {
        Vector left;
        load(left, a + i * rows + k + m * width);
        sum[i][m] += left * right;
      }
    }
  }
  for (std::size_t i = 0; i < columns; ++i) {
    std::array<double, sum_parts> part;
    for (std::size_t m = 0; m < registers; ++m) {
      store(sum[i][m], part.data() + m * width);
    }
    products[i] += sum_of_parts(part.data());
  }
}

/// The columns of a from `first` on that make a panel, row by row, and zeros for those that are not there.
void pack(const Block& a, std::size_t first, double* packed) {
  const std::size_t present = std::min(panel, a.columns - first);
  std::array<const double*, panel> column;
  for (std::size_t c = 0; c < panel; ++c) {
    column[c] = a.column(first + std::min(c, present - 1));
  }
  for (std::size_t k = 0; k < a.rows; ++k) {
    for (std::size_t c = 0; c < panel; ++c) {
      packed[k * panel + c] = column[c][k];
    }
  }
  for (std::size_t k = 0; present < panel && k < a.rows; ++k) {
    std::fill(packed + k * panel + present, packed + (k + 1) * panel, 0.0);
  }
}

/// gram(j, i) += the product of column i of the panel `left` and column j of the panel `right`, `at_once` of
/// the i at a time.
template <std::size_t width, std::size_t at_once>
[[gnu::always_inline]] inline void add_panel_products(const double* left, const double* right,
                                                      std::size_t rows, double* gram, std::size_t ldg) {
  using Vector = typename Register<width>::Type;
  constexpr std::size_t registers = panel / width;
  for (std::size_t first = 0; first < panel; first += at_once) {
    std::array<std::array<Vector, registers>, at_once> sum;
    NUMERICS_UNROLL
    for (std::size_t i = 0; i < at_once; ++i) {
      NUMERICS_UNROLL
      for (std::size_t m = 0; m < registers; ++m) {
        load(sum[i][m], gram + (first + i) * ldg + m * width);
      }
    }
    for (std::size_t k = 0; k < rows; ++k) {
      std::array<Vector, registers> row;
      NUMERICS_UNROLL
      for (std::size_t m = 0; m < registers; ++m) {
        load(row[m], right + k * panel + m * width);
      }
      NUMERICS_UNROLL
      for (std::size_t i = 0; i < at_once; ++i) {
        const double factor = left[k * panel + first + i];
        NUMERICS_UNROLL
        for (std::size_t m = 0; m < registers; ++m) {
          sum[i][m] += factor * row[m];
        }
      }
    }
    NUMERICS_UNROLL
    for (std::size_t i = 0; i < at_once; ++i) {
      NUMERICS_UNROLL
      for (std::size_t m = 0; m < registers; ++m) {
        store(sum[i][m], gram + (first + i) * ldg + m * width);
      }
    }
  }
}

template <std::size_t width, std::size_t at_once>
[[gnu::always_inline]] inline void add_gram(const Block& a, double* gram, std::size_t ldg, double* packed) {
  const std::size_t panels = (a.columns + panel - 1) / panel;
  const std::size_t size = a.rows * panel;
  for (std::size_t j = 0; j < panels; ++j) {
    pack(a, j * panel, packed + j * size);
    for (std::size_t i = 0; i <= j; ++i) {
      add_panel_products<width, at_once>(packed + i * size, packed + j * size, a.rows,
                                         gram + j * panel + i * panel * ldg, ldg);
    }
  }
}

/// Two sets of packed columns.
struct PackedPair {
  const double* left;
  std::size_t left_groups;
  const double* right;
  std::size_t right_groups;
  std::size_t rows;
};

template <std::size_t width, std::size_t at_once>
[[gnu::always_inline]] inline void add_packed(const PackedPair& pair, double* product, std::size_t ldp) {
  const std::size_t size = pair.rows * panel;
  for (std::size_t j = 0; j < pair.right_groups; ++j) {
    for (std::size_t i = 0; i < pair.left_groups; ++i) {
      add_panel_products<width, at_once>(pair.left + i * size, pair.right + j * size, pair.rows,
                                         product + j * panel + i * panel * ldp, ldp);
    }
  }
}

/// Rows i .. i + left_inverse_rows - 1 of the left inverse, one after the other.
template <std::size_t width, std::size_t registers>
[[gnu::always_inline]] inline void form_left_inverse(const Block& inverse, const Block& a, std::size_t i,
                                                     double* left_inverse) {
  using Vector = typename Register<width>::Type;
  for (std::size_t k = 0; k < a.rows; k += registers * width) {
    std::array<std::array<Vector, registers>, left_inverse_rows> sum{};
    for (std::size_t j = 0; j < a.columns; ++j) {
      std::array<Vector, registers> row;
      NUMERICS_UNROLL
      for (std::size_t m = 0; m < registers; ++m) {
        load(row[m], a.column(j) + k + m * width);
      }
      NUMERICS_UNROLL
      for (std::size_t q = 0; q < left_inverse_rows; ++q) {
        const double factor = inverse.column(j)[i + q];
        NUMERICS_UNROLL
        for (std::size_t m = 0; m < registers; ++m) {
          sum[q][m] += factor * row[m];
        }
      }
    }
    NUMERICS_UNROLL
    for (std::size_t q = 0; q < left_inverse_rows; ++q) {
      NUMERICS_UNROLL
      for (std::size_t m = 0; m < registers; ++m) {
        store(sum[q][m], left_inverse + q * a.rows + k + m * width);
      }
    }
  }
}

template <std::size_t width, std::size_t registers>
[[gnu::always_inline]] inline void combine(const Block& factors, const Block& a, double* out) {
  Block used = a;
  for (std::size_t i = 0; i < factors.rows; i += left_inverse_rows) {
    used.columns = std::min(a.columns, i + left_inverse_rows);
    form_left_inverse<width, registers>(factors, used, i, out + i * a.rows);
  }
}

template <std::size_t width, std::size_t registers>
[[gnu::always_inline]] inline void add_product(const Block& inverse, const Block& a, std::size_t count,
                                               const double* b, double* x, double* left_inverse) {
  for (std::size_t i = 0; i < a.columns; i += left_inverse_rows) {
    form_left_inverse<width, registers>(inverse, a, i, left_inverse);
    // An infinite inverse makes what is filled up undefined.
    for (std::size_t q = 0; q < left_inverse_rows; ++q) {
      std::fill(left_inverse + q * a.rows + count, left_inverse + (q + 1) * a.rows, 0.0);
    }
    add_column_products<width, left_inverse_rows>(left_inverse, b, a.rows, x + i);
  }
}

// The sizes of the tiles are those that were fastest of a few: what is summed, and what it is summed from,
// just fits the registers of the unit.
template <std::size_t width>
inline constexpr std::size_t columns_at_once = width;
template <std::size_t width>
inline constexpr std::size_t registers_at_once = width == 2 ? 4 : 2;

}  // namespace

std::int64_t rows_per_block(std::int64_t columns) {
  constexpr std::int64_t elements = 32768;  // a quarter of a megabyte
  constexpr std::int64_t fewest = 256;
  constexpr std::int64_t most = 512;
  return std::clamp(elements / columns / row_step * row_step, fewest, most);
}

void add_gram_matrix(const MatrixView<const double>& a, const MatrixView<double>& gram, double* packed,
                     VectorUnit unit) {
  assert(a.rows() % row_step == 0 && gram.rows() % column_step == 0);
  const Block block(a);
  const auto ldg = static_cast<std::size_t>(gram.leading_dimension());
  in_vector_form(
      unit, [&](auto width) __attribute__((always_inline)) {
        add_gram<width(), columns_at_once<width()>>(block, gram.data(), ldg, packed);
      });
}

void add_left_inverse_product(const MatrixView<const double>& inverse, const MatrixView<const double>& a,
                              std::int64_t count, const double* b, double* x, double* left_inverse,
                              VectorUnit unit) {
  assert(a.rows() % row_step == 0 && inverse.rows() % left_inverse_rows == 0);
  const Block block(a);
  const Block factors(inverse);
  const auto present = static_cast<std::size_t>(count);
  in_vector_form(
      unit, [&](auto width) __attribute__((always_inline)) {
        add_product<width(), registers_at_once<width()>>(factors, block, present, b, x, left_inverse);
      });
}

void pack_columns(const MatrixView<const double>& a, double* packed) {
  const Block block(a);
  for (std::size_t first = 0; first < block.columns; first += panel) {
    pack(block, first, packed + first * block.rows);
  }
}

void add_packed_products(const double* left, int left_groups, const double* right, int right_groups, int rows,
                         const MatrixView<double>& product, VectorUnit unit) {
  const PackedPair pair{left, static_cast<std::size_t>(left_groups), right,
                        static_cast<std::size_t>(right_groups), static_cast<std::size_t>(rows)};
  const auto ldp = static_cast<std::size_t>(product.leading_dimension());
  in_vector_form(
      unit, [&](auto width) __attribute__((always_inline)) {
        add_packed<width(), columns_at_once<width()>>(pair, product.data(), ldp);
      });
}

void combine_columns_lower(const MatrixView<const double>& factors, const MatrixView<const double>& a,
                           double* out, VectorUnit unit) {
  assert(a.rows() % row_step == 0 && factors.rows() % left_inverse_rows == 0);
  const Block block(a);
  const Block combination(factors);
  in_vector_form(
      unit, [&](auto width) __attribute__((always_inline)) {
        combine<width(), registers_at_once<width()>>(combination, block, out);
      });
}

}  // namespace numerics
