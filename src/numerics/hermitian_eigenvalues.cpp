#include "numerics/hermitian_eigenvalues.hpp"

#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>
#include <limits>
#include <numeric>
#include <utility>

#include "numerics/power_of_two.hpp"
#include "numerics/tile_products.hpp"
#include "numerics/vector_operations.hpp"

// Loops over the registers of a tile, which must be unrolled for the tile to stay in registers.
#define NUMERICS_UNROLL _Pragma("GCC unroll 8")

namespace numerics {
namespace {

constexpr double eps = std::numeric_limits<double>::epsilon();

/// Squares below this may have lost digits. The largest element is about 1: the roots of these count for
/// nothing beside it.
constexpr double least_square = 1e-280;

/// The root of x^2 + y^2.
[[gnu::always_inline]] inline double length(double x, double y) {
  const double squares = x * x + y * y;
  return squares > least_square ? std::sqrt(squares) : std::hypot(x, y);
}

/// The parts of a vector.
struct Parts {
  double* re;
  double* im;
};

/// What the matrix is reduced in. Columns have whole groups of rows, zeros below those of the matrix.
struct Work {
  Work(std::size_t order, bool with_vectors)
      : n(order),
        ld(padded_rows(order)),
        room((with_vectors ? 4 : 2) * n * ld + 4 * ld + 5 * n),
        a{room.data(), room.data() + n * ld},
        rest(a.im + n * ld),
        w{rest, rest + ld},
        p{rest + 2 * ld, rest + 3 * ld},
        d(rest + 4 * ld),
        e(d + n),
        phase{e + n, e + 2 * n},
        tau(e + 3 * n),
        x{tau + n, tau + n + n * ld} {}
  Parts column(std::size_t k) const { return {a.re + k * ld, a.im + k * ld}; }

  std::size_t n;
  std::size_t ld;
  std::vector<double> room;
  Parts a;       ///< both triangles; column k becomes the vector of the k-th reflection, zeros above it
  double* rest;  ///< behind a
  Parts w;
  Parts p;
  double* d;    ///< the diagonal of the tridiagonal matrix
  double* e;    ///< the moduli beside it
  Parts phase;  ///< what these are to be multiplied with
  double* tau;  ///< of the reflections
  Parts x;      ///< n vectors, when they are asked for
};

/// Columns j on lose v w^H + w v^H, the terms of which are added in an order that keeps the matrix hermitian
/// to the bit; p gains their products with the elements of `next` from j on. One pass serves both, since the
/// next vector needs a single column in advance. Rows from `first` on.
template <std::size_t width, std::size_t columns>
[[gnu::always_inline]] inline void update_and_multiply(const Work& work, const Parts& v, const Parts& next,
                                                       std::size_t j, std::size_t first) {
  using Vector = typename Register<width>::Type;
  const Parts w = work.w;
  const Parts p = work.p;
  for (std::size_t i = first; i < work.ld; i += width) {
    Vector v_re;
    Vector v_im;
    Vector w_re;
    Vector w_im;
    Vector p_re;
    Vector p_im;
    load(v_re, v.re + i);
    load(v_im, v.im + i);
    load(w_re, w.re + i);
    load(w_im, w.im + i);
    load(p_re, p.re + i);
    load(p_im, p.im + i);
    NUMERICS_UNROLL
    for (std::size_t m = 0; m < columns; ++m) {
      const std::size_t c = j + m;
      const Parts column = work.column(c);
      Vector re;
      Vector im;
      load(re, column.re + i);
      load(im, column.im + i);
      re -= (v_re * w.re[c] + w_re * v.re[c]) + (v_im * w.im[c] + w_im * v.im[c]);
      im -= (v_im * w.re[c] - w_re * v.im[c]) + (w_im * v.re[c] - v_re * w.im[c]);
      store(re, column.re + i);
      store(im, column.im + i);
      p_re += re * next.re[c] - im * next.im[c];
      p_im += re * next.im[c] + im * next.re[c];
    }
    store(p_re, p.re + i);
    store(p_im, p.im + i);
  }
}

/// The same for all columns from j on, as many at a time as the registers hold.
template <std::size_t width>
[[gnu::always_inline]] inline void update_and_multiply_all(const Work& work, const Parts& v,
                                                           const Parts& next, std::size_t j,
                                                           std::size_t first) {
  constexpr std::size_t wide = 4;
  for (; j + wide <= work.n; j += wide) {
    update_and_multiply<width, wide>(work, v, next, j, first);
  }
  for (; j < work.n; ++j) {
    update_and_multiply<width, 1>(work, v, next, j, first);
  }
}

/// Column j loses v w^H + w v^H.
[[gnu::always_inline]] inline void update_column(const Work& work, const Parts& v, std::size_t j,
                                                 std::size_t first) {
  const Parts w = work.w;
  const Parts column = work.column(j);
  const double v_re = v.re[j];
  const double v_im = v.im[j];
  const double w_re = w.re[j];
  const double w_im = w.im[j];
  for (std::size_t i = first; i < work.ld; ++i) {
    column.re[i] -= (v.re[i] * w_re + w.re[i] * v_re) + (v.im[i] * w_im + w.im[i] * v_im);
    column.im[i] -= (v.im[i] * w_re - w.re[i] * v_im) + (w.im[i] * v_re - v.re[i] * w_im);
  }
}

/// The squared norm of a vector's rows from `first` on.
template <std::size_t width>
[[gnu::always_inline]] inline double squares_of(const Work& work, const Parts& v, std::size_t first) {
  const std::size_t count = work.ld - first;
  return dot<width>(count, v.re + first, v.re + first) + dot<width>(count, v.im + first, v.im + first);
}

/// Makes column k the vector v of a reflection I - tau v v^H that leaves row k + 1 alone of what is below its
/// diagonal element; its tau, which is 0 when nothing stands farther below. v^H v is 2 / tau.
template <std::size_t width>
[[gnu::always_inline]] inline double make_reflection(const Work& work, std::size_t k, std::size_t first) {
  const Parts v = work.column(k);
  std::fill(v.re, v.re + k + 1, 0.0);
  std::fill(v.im, v.im + k + 1, 0.0);
  const double head_re = std::exchange(v.re[k + 1], 0.0);
  const double head_im = std::exchange(v.im[k + 1], 0.0);
  const double head_square = head_re * head_re + head_im * head_im;
  const bool some_head = head_square > least_square;
  const double head = some_head ? std::sqrt(head_square) : 0.0;
  const double unit_re = some_head ? head_re / head : 1.0;
  const double unit_im = some_head ? head_im / head : 0.0;
  const double tail_square = squares_of<width>(work, v, first);
  if (!(tail_square > least_square)) {
    std::fill(v.re + first, v.re + work.ld, 0.0);
    std::fill(v.im + first, v.im + work.ld, 0.0);
    work.e[k] = head;
    work.phase.re[k] = unit_re;
    work.phase.im[k] = unit_im;
    return 0.0;
  }
  const double norm = std::sqrt(tail_square + head_square);
  const double inverse = 1.0 / norm;
  scale(work.ld - first, inverse, v.re + first);
  scale(work.ld - first, inverse, v.im + first);
  const double one_and_share = 1.0 + head * inverse;
  v.re[k + 1] = unit_re * one_and_share;
  v.im[k + 1] = unit_im * one_and_share;
  work.e[k] = norm;
  work.phase.re[k] = -unit_re;
  work.phase.im[k] = -unit_im;
  return 1.0 / one_and_share;
}

/// w = tau p - (tau / 2) (v^H tau p) v: then A - v w^H - w v^H is the matrix reflected from both sides.
template <std::size_t width>
[[gnu::always_inline]] inline void make_update(const Work& work, const Parts& v, double tau,
                                               std::size_t first) {
  const Parts p = work.p;
  const Parts w = work.w;
  const std::size_t count = work.ld - first;
  const double product =
      dot<width>(count, v.re + first, p.re + first) + dot<width>(count, v.im + first, p.im + first);
  const double share = 0.5 * tau * (tau * product);
  for (std::size_t i = first; i < work.ld; ++i) {
    w.re[i] = tau * p.re[i] - share * v.re[i];
    w.im[i] = tau * p.im[i] - share * v.im[i];
  }
}

/// The first row of the group of a row.
[[gnu::always_inline]] inline std::size_t group_of(std::size_t row) { return row / row_group * row_group; }

/// Brings three or more rows to tridiagonal form.
template <std::size_t width>
[[gnu::always_inline]] inline void reduce_to_tridiagonal(const Work& work) {
  const std::size_t n = work.n;
  Parts before = work.w;  // zeros
  for (std::size_t k = 0; k + 2 < n; ++k) {
    const std::size_t first = group_of(k + 1);
    const Parts v = work.column(k);
    work.d[k] = v.re[k];
    work.tau[k] = make_reflection<width>(work, k, first);
    std::fill(work.p.re + first, work.p.re + work.ld, 0.0);
    std::fill(work.p.im + first, work.p.im + work.ld, 0.0);
    update_and_multiply_all<width>(work, before, v, k + 1, first);
    make_update<width>(work, v, work.tau[k], first);
    update_column(work, v, k + 1, first);
    before = v;
  }
  update_column(work, before, n - 1, group_of(n - 1));
  const Parts last = work.column(n - 2);
  const double re = last.re[n - 1];
  const double im = last.im[n - 1];
  const double square = re * re + im * im;
  const bool some = square > least_square;
  work.e[n - 2] = some ? std::sqrt(square) : 0.0;
  work.phase.re[n - 2] = some ? re / work.e[n - 2] : 1.0;
  work.phase.im[n - 2] = some ? im / work.e[n - 2] : 0.0;
  work.d[n - 2] = last.re[n - 2];
  work.d[n - 1] = work.column(n - 1).re[n - 1];
}

/// Columns x and y become c x - s y and s x + c y.
template <std::size_t width>
[[gnu::always_inline]] inline void rotate(std::size_t count, double c, double s, double* x, double* y) {
  using Vector = typename Register<width>::Type;
  for (std::size_t i = 0; i < count; i += width) {
    Vector left;
    Vector right;
    load(left, x + i);
    load(right, y + i);
    store(Vector(c * left - s * right), x + i);
    store(Vector(s * left + c * right), y + i);
  }
}

/// The tangent of the rotation that makes [a, b; b, d] the diagonal matrix of a + t b and d - t b; |t| <= 1.
[[gnu::always_inline]] inline double tangent(double a, double b, double d) {
  const double half = 0.5 * (a - d);
  const double root = length(half, b);
  return root == 0.0 ? 0.0 : b / (half + std::copysign(root, half));
}

/// Steps for one eigenvalue, of which two or three are usual.
constexpr int most_steps = 60;

/// The tridiagonal matrix' eigenvalues, in place of its diagonal; its vectors multiply those of x.re from the
/// right. False when the steps do not converge.
template <std::size_t width>
[[gnu::always_inline]] inline bool find_with_vectors(const Work& work) {
  const std::size_t n = work.n;
  double* const d = work.d;
  double* const e = work.e;
  const auto vector = [&](std::size_t i) { return work.x.re + i * work.ld; };
  int steps = 0;
  for (std::size_t top = 0; top + 1 < n;) {
    std::size_t last = top;
    while (last + 1 < n && std::abs(e[last]) > eps * (std::abs(d[last]) + std::abs(d[last + 1]))) {
      ++last;
    }
    if (last <= top + 1) {
      if (last == top + 1) {
        const double t = tangent(d[top], e[top], d[last]);
        d[top] += t * e[top];
        d[last] -= t * e[top];
        e[top] = 0.0;
        const double c = 1.0 / std::sqrt(1.0 + t * t);
        rotate<width>(work.ld, c, -(t * c), vector(top), vector(last));
      }
      top = last == top ? top + 1 : last + 1;
      steps = 0;
      continue;
    }
    if (++steps > most_steps) {
      return false;
    }
    const double half = 0.5 * (d[top + 1] - d[top]);
    const double shift = d[top] - e[top] * (e[top] / (half + std::copysign(length(half, e[top]), half)));
    double g = d[last] - shift;
    double s = 1.0;
    double c = 1.0;
    double moved = 0.0;  // what the diagonal element above gains
    std::size_t i = last;
    while (i > top) {
      --i;
      const double f = s * e[i];
      const double b = c * e[i];
      const double r = length(f, g);
      e[i + 1] = r;
      if (r == 0.0) {
        // The matrix falls apart here.
        d[i + 1] -= moved;
        break;
      }
      s = f / r;
      c = g / r;
      g = d[i + 1] - moved;
      const double turn = (d[i] - g) * s + 2.0 * c * b;
      moved = s * turn;
      d[i + 1] = g + moved;
      g = c * turn - b;
      rotate<width>(work.ld, c, s, vector(i), vector(i + 1));
      if (i == top) {
        d[top] -= moved;
        e[top] = g;
      }
    }
    e[last] = 0.0;
  }
  return true;
}

/// The same without vectors, by squares of what stands beside the diagonal.
[[gnu::always_inline]] inline bool find_values(const Work& work) {
  // Beside any square that is not negligible, this is.
  constexpr double vanishing = 1e-20 * least_square;
  const std::size_t n = work.n;
  double* const d = work.d;
  double* const e2 = work.e;
  std::transform(e2, e2 + n, e2, [](double x) { return x * x; });
  int steps = 0;
  for (std::size_t top = 0; top + 1 < n;) {
    const auto coupled = [&](std::size_t i) {
      const double small = eps * (std::abs(d[i]) + std::abs(d[i + 1]));
      return e2[i] > std::max(least_square, small * small);
    };
    std::size_t last = top;
    while (last + 1 < n && coupled(last)) {
      ++last;
    }
    if (last <= top + 1) {
      if (last == top + 1) {
        const double beside = std::sqrt(e2[top]);
        const double change = tangent(d[top], beside, d[last]) * beside;
        d[top] += change;
        d[last] -= change;
      }
      top = last == top ? top + 1 : last + 1;
      steps = 0;
      continue;
    }
    if (++steps > most_steps) {
      return false;
    }
    const double half = 0.5 * (d[top + 1] - d[top]);
    const double shift = d[top] - e2[top] / (half + std::copysign(std::sqrt(half * half + e2[top]), half));
    double gamma = d[last] - shift;
    double p = gamma * gamma;
    double c = 1.0;  // squares of cosine and sine
    double s = 0.0;
    for (std::size_t i = last; i-- > top;) {
      const double beside = e2[i];
      const double r = p + beside;
      e2[i + 1] = s * r;
      const double c_before = c;
      const double gamma_before = gamma;
      // gamma^2 / c, with a quotient that need not wait for c.
      const double inverse_c = r / p;
      c = p / r;
      s = beside / r;
      gamma = c * (d[i] - shift) - s * gamma_before;
      d[i + 1] = gamma_before + (d[i] - gamma);
      p = p > vanishing ? gamma * (gamma * inverse_c) : c_before * beside;
    }
    e2[top] = s * p;
    d[top] = shift + gamma;
  }
  return true;
}

/// Columns j on of x are reflected by the k-th reflection.
template <std::size_t width, std::size_t columns>
[[gnu::always_inline]] inline void reflect_vectors(const Work& work, std::size_t k, std::size_t j) {
  using Vector = typename Register<width>::Type;
  constexpr std::size_t registers = sum_parts / width;
  const std::size_t first = group_of(k + 1);
  const Parts v = work.column(k);
  double* const x_re = work.x.re + j * work.ld;
  double* const x_im = work.x.im + j * work.ld;
  std::array<std::array<Vector, registers>, columns> sum_re{};
  std::array<std::array<Vector, registers>, columns> sum_im{};
  for (std::size_t i = first; i < work.ld; i += row_group) {
    NUMERICS_UNROLL
    for (std::size_t l = 0; l < registers; ++l) {
      Vector v_re;
      Vector v_im;
      load(v_re, v.re + i + l * width);
      load(v_im, v.im + i + l * width);
      NUMERICS_UNROLL
      for (std::size_t m = 0; m < columns; ++m) {
        Vector re;
        Vector im;
        load(re, x_re + m * work.ld + i + l * width);
        load(im, x_im + m * work.ld + i + l * width);
        sum_re[m][l] += v_re * re + v_im * im;
        sum_im[m][l] += v_re * im - v_im * re;
      }
    }
  }
  for (std::size_t m = 0; m < columns; ++m) {
    std::array<double, sum_parts> part_re;
    std::array<double, sum_parts> part_im;
    for (std::size_t l = 0; l < registers; ++l) {
      store(sum_re[m][l], part_re.data() + l * width);
      store(sum_im[m][l], part_im.data() + l * width);
    }
    const double factor_re = work.tau[k] * sum_of_parts(part_re.data());
    const double factor_im = work.tau[k] * sum_of_parts(part_im.data());
    double* const to_re = x_re + m * work.ld;
    double* const to_im = x_im + m * work.ld;
    for (std::size_t i = first; i < work.ld; i += width) {
      Vector v_re;
      Vector v_im;
      Vector re;
      Vector im;
      load(v_re, v.re + i);
      load(v_im, v.im + i);
      load(re, to_re + i);
      load(im, to_im + i);
      store(Vector(re - (v_re * factor_re - v_im * factor_im)), to_re + i);
      store(Vector(im - (v_re * factor_im + v_im * factor_re)), to_im + i);
    }
  }
}

/// The vectors of the matrix from those of the real tridiagonal one in x.re.
template <std::size_t width>
[[gnu::always_inline]] inline void transform_back(const Work& work) {
  const std::size_t n = work.n;
  double re = 1.0;
  double im = 0.0;
  for (std::size_t i = 0; i < n; ++i) {
    const double next_re = re * work.phase.re[i] - im * work.phase.im[i];
    const double next_im = re * work.phase.im[i] + im * work.phase.re[i];
    work.phase.re[i] = std::exchange(re, next_re);
    work.phase.im[i] = std::exchange(im, next_im);
  }
  for (std::size_t j = 0; j < n; ++j) {
    double* const x_re = work.x.re + j * work.ld;
    double* const x_im = work.x.im + j * work.ld;
    for (std::size_t i = 0; i < n; ++i) {
      x_im[i] = work.phase.im[i] * x_re[i];
      x_re[i] *= work.phase.re[i];
    }
  }
  for (std::size_t k = n - 2; k-- > 0;) {
    if (work.tau[k] == 0.0) {
      continue;
    }
    constexpr std::size_t wide = width == 8 ? 4 : 1;
    std::size_t j = 0;
    for (; j + wide <= n; j += wide) {
      reflect_vectors<width, wide>(work, k, j);
    }
    for (; j < n; ++j) {
      reflect_vectors<width, 1>(work, k, j);
    }
  }
}

/// Both triangles in the unit.
void fill(const Work& work, const ComplexMatrix& a, const PowerOfTwo& unit) {
  for (std::size_t j = 0; j < work.n; ++j) {
    const Parts column = work.column(j);
    column.re[j] = unit.times(a.re(j, j));
    for (std::size_t i = j + 1; i < work.n; ++i) {
      const double re = unit.times(a.re(i, j));
      const double im = unit.times(a.im(i, j));
      column.re[i] = re;
      column.im[i] = im;
      work.a.re[j + i * work.ld] = re;
      work.a.im[j + i * work.ld] = -im;
    }
  }
}

/// The values in rising order, and the vectors with them.
HermitianEigenvalues sorted(const Work& work, bool with_vectors) {
  const std::size_t n = work.n;
  HermitianEigenvalues result;
  result.values.assign(work.d, work.d + n);
  if (!with_vectors) {
    std::sort(result.values.begin(), result.values.end());
    return result;
  }
  std::vector<std::size_t> order(n);
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::sort(order.begin(), order.end(), [&](std::size_t i, std::size_t j) { return work.d[i] < work.d[j]; });
  result.vectors = ComplexMatrix(n, n);
  for (std::size_t j = 0; j < n; ++j) {
    result.values[j] = work.d[order[j]];
    std::copy_n(work.x.re + order[j] * work.ld, n, result.vectors.re.column(j));
    std::copy_n(work.x.im + order[j] * work.ld, n, result.vectors.im.column(j));
  }
  return result;
}

std::optional<HermitianEigenvalues> by_reflections(const ComplexMatrix& a, const PowerOfTwo& unit,
                                                   bool with_vectors, VectorUnit vector_unit) {
  const Work work(a.rows(), with_vectors);
  fill(work, a, unit);
  if (with_vectors) {
    for (std::size_t i = 0; i < work.n; ++i) {
      work.x.re[i + i * work.ld] = 1.0;
    }
  }
  const bool found = in_vector_form(
      vector_unit, [&work, with_vectors ](auto width) __attribute__((always_inline)) {
        reduce_to_tridiagonal<width()>(work);
        if (!with_vectors) {
          return find_values(work);
        }
        const bool converged = find_with_vectors<width()>(work);
        transform_back<width()>(work);
        return converged;
      });
  if (!found) {
    return std::nullopt;
  }
  return sorted(work, with_vectors);
}

/// Two rows, by the one rotation that makes them diagonal.
HermitianEigenvalues of_two_rows(const ComplexMatrix& a, const PowerOfTwo& unit, bool with_vectors) {
  const double first = unit.times(a.re(0, 0));
  const double second = unit.times(a.re(1, 1));
  const double beside_re = unit.times(a.re(1, 0));
  const double beside_im = unit.times(a.im(1, 0));
  const double beside = length(beside_re, beside_im);
  const double t = tangent(first, beside, second);
  const double change = t * beside;
  HermitianEigenvalues result;
  result.values = {first + change, second - change};
  const bool rising = result.values[0] <= result.values[1];
  if (!rising) {
    std::swap(result.values[0], result.values[1]);
  }
  if (with_vectors) {
    const double c = 1.0 / std::sqrt(1.0 + t * t);
    const std::complex<double> s = beside == 0.0
                                       ? std::complex<double>()
                                       : t * c * std::complex<double>(beside_re / beside, beside_im / beside);
    result.vectors = ComplexMatrix(2, 2);
    const std::size_t j = rising ? 0 : 1;
    result.vectors.set(0, j, c);
    result.vectors.set(1, j, s);
    result.vectors.set(0, 1 - j, -std::conj(s));
    result.vectors.set(1, 1 - j, c);
  }
  return result;
}

HermitianEigenvalues of_one_row(const ComplexMatrix& a, const PowerOfTwo& unit, bool with_vectors) {
  HermitianEigenvalues result;
  result.values = {unit.times(a.re(0, 0))};
  if (with_vectors) {
    result.vectors = ComplexMatrix(1, 1);
    result.vectors.set(0, 0, 1.0);
  }
  return result;
}

}  // namespace

std::optional<HermitianEigenvalues> hermitian_eigenvalues(const ComplexMatrix& a, bool with_vectors,
                                                          VectorUnit unit) {
  assert(a.rows() == a.columns());
  const std::size_t n = a.rows();
  if (n == 0) {
    return HermitianEigenvalues();
  }
  const std::uint64_t largest = largest_of_lower_triangle(a);
  if (!finite_bits(largest)) {
    return std::nullopt;
  }
  const int exponent = exponent_of_bits(largest);
  const PowerOfTwo down(-exponent);
  std::optional<HermitianEigenvalues> result = n == 1   ? of_one_row(a, down, with_vectors)
                                               : n == 2 ? of_two_rows(a, down, with_vectors)
                                                        : by_reflections(a, down, with_vectors, unit);
  if (result) {
    const PowerOfTwo up(exponent);
    for (double& value : result->values) {
      value = up.times(value);
      if (!std::isfinite(value)) {
        return std::nullopt;
      }
    }
  }
  return result;
}

}  // namespace numerics
