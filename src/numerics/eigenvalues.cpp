// Ours takes 0.3 to 0.7 of the time of LAPACK's, and 0.3 to 0.8 of Eigen's, which does not balance, for 20 to
// 160 rows (scripts/benchmark factorisations); the installed LAPACK also serves one thread at a time.

#include "numerics/eigenvalues.hpp"

#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>
#include <limits>
#include <numeric>
#include <utility>

#include "numerics/reflection.hpp"
#include "numerics/tile_products.hpp"

namespace numerics {
namespace {

using Values = std::vector<std::complex<double>>;

constexpr double eps = std::numeric_limits<double>::epsilon();

/// Whether row or column i has nothing beside its diagonal element in the rows and columns that are left.
bool alone(const Matrix& a, const std::vector<std::size_t>& left, std::size_t i) {
  const auto none = [&](const auto& element) {
    return std::all_of(left.begin(), left.end(), [&](std::size_t k) { return k == i || element(k) == 0.0; });
  };
  return none([&](std::size_t k) { return a(k, i); }) || none([&](std::size_t k) { return a(i, k); });
}

/// What is left of a when rows and columns that are alone go, again and again; their diagonal elements are
/// eigenvalues and join the values. They would spoil the balance of what is left.
Matrix connected_part(const Matrix& a, Values& values) {
  std::vector<std::size_t> left(a.rows);
  std::iota(left.begin(), left.end(), std::size_t{0});
  std::vector<bool> gone(a.rows);
  for (bool changed = true; changed;) {
    const std::size_t before = left.size();
    for (const std::size_t i : std::vector<std::size_t>(left)) {
      if (alone(a, left, i)) {
        gone[i] = true;
        left.erase(std::find(left.begin(), left.end(), i));
      }
    }
    changed = left.size() < before;
  }
  for (std::size_t i = 0; i < a.rows; ++i) {
    if (gone[i]) {
      values.emplace_back(a(i, i));
    }
  }
  Matrix part(left.size(), left.size());
  for (std::size_t j = 0; j < left.size(); ++j) {
    for (std::size_t i = 0; i < left.size(); ++i) {
      part(i, j) = a(left[i], left[j]);
    }
  }
  return part;
}

/// The exponent of the largest modulus; 0 for a matrix of zeros.
int exponent_of(const Matrix& a) {
  double most = 0.0;
  for (const double element : a.elements) {
    most = std::max(most, std::abs(element));
  }
  return most > 0.0 ? std::ilogb(most) : 0;
}

/// a in the unit 2^exponent, with rows of zeros below it up to a whole group.
Matrix scaled(const Matrix& a, int exponent) {
  // Two factors, since one alone may be out of range.
  const double first = std::ldexp(1.0, -exponent / 2);
  const double second = std::ldexp(1.0, -exponent - (-exponent / 2));
  Matrix h(padded_rows(a.rows), a.columns);
  for (std::size_t j = 0; j < a.columns; ++j) {
    std::transform(a.column(j), a.column(j) + a.rows, h.column(j),
                   [=](double x) { return x * first * second; });
  }
  return h;
}

/// The sum of the moduli of `count` elements, `step` apart.
double sum_of_moduli(std::size_t count, const double* x, std::size_t step) {
  std::array<double, 4> part{};
  std::size_t k = 0;
  for (; k + part.size() <= count; k += part.size()) {
    for (std::size_t l = 0; l < part.size(); ++l) {
      part[l] += std::abs(x[(k + l) * step]);
    }
  }
  for (; k < count; ++k) {
    part[0] += std::abs(x[k * step]);
  }
  return (part[0] + part[2]) + (part[1] + part[3]);
}

/// The power of two which row i is to be divided by and column i multiplied with, so that their sums of
/// moduli, the diagonal left out, come within a factor of two of each other; 1 when that would gain too
/// little.
double balancing_factor(double column, double row) {
  constexpr double worthwhile = 0.95;  // as published
  if (column == 0.0 || row == 0.0) {
    return 1.0;
  }
  const double before = column + row;
  double factor = 1.0;
  while (column < row / 2.0) {
    factor *= 2.0;
    column *= 4.0;
  }
  while (column >= row * 2.0) {
    factor /= 2.0;
    column /= 4.0;
  }
  return (column + row) / factor < worthwhile * before ? factor : 1.0;
}

/// The sums of moduli of all rows and columns without the diagonal.
struct Sums {
  explicit Sums(const Matrix& h) : rows(h.columns), columns(h.columns) {
    for (std::size_t j = 0; j < h.columns; ++j) {
      const double* const x = h.column(j);
      double* const sums = rows.data();
      for (std::size_t i = 0; i < h.columns; ++i) {
        sums[i] += i == j ? 0.0 : std::abs(x[i]);
      }
      columns[j] = sum_of_moduli(j, x, 1) + sum_of_moduli(h.columns - j - 1, x + j + 1, 1);
    }
  }
  std::vector<double> rows;
  std::vector<double> columns;
};

void balance(Matrix& h) {
  constexpr int most_sweeps = 1000;  // a few are usual; elements at the end of the range are rounded in them
  const std::size_t n = h.columns;
  bool changed = true;
  for (int sweep = 0; changed && sweep < most_sweeps; ++sweep) {
    changed = false;
    const Sums sums(h);
    for (std::size_t i = 0; i < n; ++i) {
      if (balancing_factor(sums.columns[i], sums.rows[i]) == 1.0) {
        continue;
      }
      // Others may have changed in between.
      double* const row = h.elements.data() + i;
      const double diagonal = std::exchange(h(i, i), 0.0);
      const double factor = balancing_factor(sum_of_moduli(n, h.column(i), 1), sum_of_moduli(n, row, h.rows));
      if (factor != 1.0) {
        changed = true;
        const double inverse = 1.0 / factor;
        for (std::size_t j = 0; j < n; ++j) {
          row[j * h.rows] *= inverse;
        }
        scale(n, factor, h.column(i));
      }
      h(i, i) = diagonal;
    }
  }
}

/// H = Q^T H Q with zeros below the first subdiagonal.
void reduce_to_hessenberg(Matrix& h, VectorUnit unit) {
  const std::size_t n = h.columns;
  for (std::size_t k = 0; k + 2 < n; ++k) {
    double* const x = h.column(k) + k + 1;
    const std::size_t below = n - k - 1;
    const Reflection reflection = in_vector_form(
        unit, [=](auto width) __attribute__((always_inline)) { return reflection_of<width()>(below, x); });
    const double tau = reflection.tau;
    if (tau == 0.0) {
      continue;
    }
    // v and -H v, and what both of them are taken away with: one after the other, since a single update for
    // both sides, though faster, loses digits of the small eigenvalues beside large ones.
    Matrix v(h.rows, 2);
    v(k + 1, 0) = 1.0;
    std::copy(x + 1, x + below, v.column(0) + k + 2);
    *x = reflection.beta;
    std::fill(x + 1, x + below, 0.0);
    const auto right = part_of(h, 0, k + 1, h.rows, below);
    subtract_product(constant(right), part_of(std::as_const(v), k + 1, 0, below, 1),
                     part_of(v, 0, 1, h.rows, 1), unit);
    Matrix w(1, below);
    std::transform(v.column(0) + k + 1, v.column(0) + n, w.column(0), [=](double y) { return -tau * y; });
    subtract_product(part_of(std::as_const(v), 0, 1, h.rows, 1), part_of(std::as_const(w), 0, 0, 1, below),
                     right, unit);
    const std::size_t top = (k + 1) / row_group * row_group;
    const auto lower = part_of(h, top, k + 1, h.rows - top, below);
    const auto reflected = part_of(std::as_const(v), top, 0, h.rows - top, 1);
    std::fill_n(w.column(0), below, 0.0);
    add_transposed_product(reflected, constant(lower), part_of(w, 0, 0, 1, below), unit);
    scale(below, tau, w.column(0));
    subtract_product(reflected, part_of(std::as_const(w), 0, 0, 1, below), lower, unit);
  }
}

using Pair = std::array<std::complex<double>, 2>;

/// The eigenvalues of [a, b; c, d].
Pair eigenvalues_of(double a, double b, double c, double d) {
  constexpr double smallest_size = 1e-140;  // its square does not vanish
  if (b == 0.0 || c == 0.0) {
    return {a, d};
  }
  const double half = 0.5 * (a - d);
  const double larger = std::abs(b) > std::abs(c) ? b : c;
  const double smaller = std::abs(b) > std::abs(c) ? c : b;
  const double size = std::max(std::abs(half), std::abs(larger));
  const int exponent = size > smallest_size ? 0 : std::ilogb(size);
  const double unit_half = std::ldexp(half, -exponent);
  const double square =
      unit_half * unit_half + std::ldexp(larger, -exponent) * std::ldexp(smaller, -exponent);
  const double root = std::ldexp(std::sqrt(std::abs(square)), exponent);
  if (square < 0.0) {
    return {std::complex<double>(d + half, root), std::complex<double>(d + half, -root)};
  }
  const double sum = half < 0.0 ? half - root : half + root;
  return {d + sum, sum == 0.0 ? d : d - larger / sum * smaller};
}

/// Rows and columns first .. last of a Hessenberg matrix, before which a subdiagonal element is negligible.
struct Window {
  std::size_t first;
  std::size_t last;
};

/// Where a QR step begins, and the first column of the product of the shifted matrices there.
struct Start {
  std::size_t row;
  std::array<double, 3> column;
};

/// I - tau v v^T for three elements with v = (1, v1, v2).
struct SmallReflection {
  double v1 = 0.0;
  double v2 = 0.0;
  double tau = 0.0;
  double beta = 0.0;
};

SmallReflection reflection_of(double x, double y, double z) {
  constexpr double smallest = 1e-280;
  const double squares = x * x + (y * y + z * z);
  if (!(squares > smallest)) {
    const double most = std::max({std::abs(x), std::abs(y), std::abs(z)});
    if (most == 0.0) {
      return {.v1 = 0.0, .v2 = 0.0, .tau = 0.0, .beta = 0.0};
    }
    const int exponent = std::ilogb(most);
    std::array<double, 3> u{std::ldexp(x, -exponent), std::ldexp(y, -exponent), std::ldexp(z, -exponent)};
    const double beta = std::copysign(std::sqrt(u[0] * u[0] + (u[1] * u[1] + u[2] * u[2])), -u[0]);
    return {.v1 = u[1] / (u[0] - beta),
            .v2 = u[2] / (u[0] - beta),
            .tau = (beta - u[0]) / beta,
            .beta = std::ldexp(beta, exponent)};
  }
  const double beta = std::copysign(std::sqrt(squares), -x);
  const double factor = 1.0 / (x - beta);
  return {.v1 = y * factor, .v2 = z * factor, .tau = (beta - x) / beta, .beta = beta};
}

/// The reflection on rows k, k + 1, k + 2 of columns first .. past - 1.
void reflect_rows(Matrix& h, const SmallReflection& q, std::size_t k, std::size_t first, std::size_t past) {
  const double t1 = q.tau * q.v1;
  const double t2 = q.tau * q.v2;
  double* x = h.elements.data() + k + first * h.rows;
  for (std::size_t j = first; j < past; ++j, x += h.rows) {
    const double sum = x[0] + q.v1 * x[1] + q.v2 * x[2];
    x[0] -= sum * q.tau;
    x[1] -= sum * t1;
    x[2] -= sum * t2;
  }
}

/// The reflection on columns k, k + 1, k + 2 of rows first .. past - 1, of which there is an even number.
/// Wider registers would not be felt: the reflections themselves and the rows take the time.
void reflect_columns(Matrix& h, const SmallReflection& q, std::size_t k, std::size_t first,
                     std::size_t past) {
  using Vector = Register<2>::Type;
  const double t1 = q.tau * q.v1;
  const double t2 = q.tau * q.v2;
  double* const c0 = h.column(k);
  double* const c1 = c0 + h.rows;
  double* const c2 = c1 + h.rows;
  for (std::size_t i = first; i < past; i += 2) {
    Vector x0;
    Vector x1;
    Vector x2;
    load(x0, c0 + i);
    load(x1, c1 + i);
    load(x2, c2 + i);
    const Vector sum = x0 + q.v1 * x1 + q.v2 * x2;
    store(Vector(x0 - sum * q.tau), c0 + i);
    store(Vector(x1 - sum * t1), c1 + i);
    store(Vector(x2 - sum * t2), c2 + i);
  }
}

std::size_t even(std::size_t row) { return row / 2 * 2; }

/// The last reflection of a step, on two rows and columns.
void reflect_last(Matrix& h, const Window& window, const SmallReflection& q) {
  const std::size_t k = window.last - 1;
  const double t1 = q.tau * q.v1;
  for (std::size_t j = k; j <= window.last; ++j) {
    const double sum = h(k, j) + q.v1 * h(k + 1, j);
    h(k, j) -= sum * q.tau;
    h(k + 1, j) -= sum * t1;
  }
  for (std::size_t i = window.first; i <= window.last; ++i) {
    const double sum = h(i, k) + q.v1 * h(i, k + 1);
    h(i, k) -= sum * q.tau;
    h(i, k + 1) -= sum * t1;
  }
}

/// One QR step with two shifts in a window. What the next reflection hangs on is done first, so that the rest
/// goes on while that is computed. Columns are changed in whole pairs of rows: above the window no element
/// counts any more, and below the bulge there are zeros.
void step(Matrix& h, const Window& window, const Start& start) {
  const std::size_t top = even(window.first);
  const std::size_t past = window.last + 1;
  SmallReflection q = reflection_of(start.column[0], start.column[1], start.column[2]);
  if (start.row > window.first) {
    h(start.row, start.row - 1) *= 1.0 - q.tau;
  }
  for (std::size_t k = start.row; k + 1 < window.last; ++k) {
    const std::size_t near_row = std::max(top, even(k));
    reflect_rows(h, q, k, k, k + 3);
    reflect_columns(h, q, k, near_row, std::min(k + 4, past));
    const bool three = k + 2 < window.last;
    double* const x = h.column(k) + k + 1;
    const SmallReflection next = reflection_of(x[0], x[1], three ? x[2] : 0.0);
    std::fill_n(x, three ? 3 : 2, 0.0);
    x[0] = next.beta;
    reflect_rows(h, q, k, k + 3, past);
    reflect_columns(h, q, k, top, near_row);
    q = next;
  }
  reflect_last(h, window, q);
}

/// Steps after which other shifts are tried.
constexpr int patience = 10;

/// Whether the subdiagonal element in row k may be taken for 0 in the trial-th step (with the second
/// condition of Ahues, Tisseur, "A new deflation criterion for the QR algorithm", LAPACK Working Note 122,
/// 1997, as long as there is patience: where elements near the end of the range hold the steps up, it may
/// never be met).
bool negligible(const Matrix& h, std::size_t k, int trial) {
  const std::size_t n = h.columns;
  // The largest element is about 1; what is smaller than this loses its digits in products.
  const double vanishing = std::numeric_limits<double>::min() / eps * static_cast<double>(n);
  const double below = std::abs(h(k, k - 1));
  const double above = std::abs(h(k - 1, k));
  const double here = std::abs(h(k, k));
  if (below <= vanishing) {
    return true;
  }
  double size = std::abs(h(k - 1, k - 1)) + here;
  if (size == 0.0) {
    size = (k > 1 ? std::abs(h(k - 1, k - 2)) : 0.0) + (k + 1 < n ? std::abs(h(k + 1, k)) : 0.0);
  }
  if (!(below <= eps * size)) {
    return false;
  }
  if (trial > patience) {
    return true;
  }
  const double difference = std::abs(h(k - 1, k - 1) - h(k, k));
  const double more = std::max(here, difference);
  const double less = std::min(here, difference);
  const double unit = more + std::max(below, above);
  return std::min(below, above) * (std::max(below, above) / unit) <=
         std::max(vanishing, eps * (less * (more / unit)));
}

/// The shifts of the trial-th step in a window.
Pair shifts_of(const Matrix& h, const Window& window, int trial) {
  const std::size_t last = window.last;
  if (trial % patience == 0) {
    // Shifts from elsewhere, which end a cycle: the published ones.
    const bool from_below = trial % (2 * patience) == 0;
    const std::size_t k = from_below ? last : window.first + 2;
    const double size = std::abs(h(k, k - 1)) + std::abs(h(k - 1, k - 2));
    const double centre = 0.75 * size + (from_below ? h(last, last) : h(window.first, window.first));
    return eigenvalues_of(centre, -0.4375 * size, size, centre);
  }
  Pair pair = eigenvalues_of(h(last - 1, last - 1), h(last - 1, last), h(last, last - 1), h(last, last));
  if (pair[0].imag() == 0.0) {
    // Of two real ones, twice the one which is closer to the last element.
    const double corner = h(last, last);
    const bool second = std::abs(pair[1].real() - corner) < std::abs(pair[0].real() - corner);
    pair[0] = pair[1] = second ? pair[1] : pair[0];
  }
  return pair;
}

/// The lowest row that a step may begin in: where two subdiagonal elements together are negligible.
Start start_of(const Matrix& h, const Window& window, const Pair& shifts) {
  for (std::size_t m = window.last - 2;; --m) {
    const double here = h(m, m);
    const double below = h(m + 1, m);
    const double from_second = here - shifts[1].real();
    const double unit = 1.0 / (std::abs(from_second) + std::abs(shifts[1].imag()) + std::abs(below));
    const double share = below * unit;
    const std::array<double, 3> x{share * h(m, m + 1) + (here - shifts[0].real()) * (from_second * unit) -
                                      shifts[0].imag() * (shifts[1].imag() * unit),
                                  share * ((here - shifts[0].real()) + (h(m + 1, m + 1) - shifts[1].real())),
                                  share * h(m + 2, m + 1)};
    if (m == window.first) {
      return {m, x};
    }
    // In the same unit, in which no product vanishes.
    const double diagonal = std::abs(h(m - 1, m - 1)) + std::abs(here) + std::abs(h(m + 1, m + 1));
    const double before = std::abs(h(m, m - 1)) * unit;
    if (before * (std::abs(x[1]) + std::abs(x[2])) <= eps * std::abs(x[0]) * (diagonal * unit)) {
      return {m, x};
    }
  }
}

/// The eigenvalues of a Hessenberg matrix, which is used up; false when the steps do not converge.
bool find_eigenvalues(Matrix& h, Values& values) {
  constexpr int most_steps = 300;  // for one or two eigenvalues; a few are usual
  std::size_t past = h.columns;
  int trial = 0;
  while (past > 0) {
    Window window{past - 1, past - 1};
    while (window.first > 0 && !negligible(h, window.first, trial)) {
      --window.first;
    }
    if (window.first > 0) {
      // For good, since from now on the rows and columns beside the window are not kept up with it.
      h(window.first, window.first - 1) = 0.0;
    }
    const std::size_t size = past - window.first;
    if (size == 1) {
      values[window.first] = h(window.first, window.first);
    } else if (size == 2) {
      const std::size_t i = window.first;
      const Pair pair = eigenvalues_of(h(i, i), h(i, i + 1), h(i + 1, i), h(i + 1, i + 1));
      values[i] = pair[0];
      values[i + 1] = pair[1];
    } else {
      if (++trial > most_steps) {
        return false;
      }
      step(h, window, start_of(h, window, shifts_of(h, window, trial)));
      continue;
    }
    past = window.first;
    trial = 0;
  }
  return true;
}

}  // namespace

std::optional<Values> eigenvalues(const Matrix& a, VectorUnit unit) {
  assert(a.rows == a.columns);
  const auto finite = [](double x) { return std::isfinite(x); };
  if (!std::all_of(a.elements.begin(), a.elements.end(), finite)) {
    return std::nullopt;
  }
  Values isolated;
  const Matrix part = connected_part(a, isolated);
  const int exponent = exponent_of(part);
  Matrix h = scaled(part, exponent);
  balance(h);
  reduce_to_hessenberg(h, unit);
  Values values(part.columns);
  if (!find_eigenvalues(h, values)) {
    return std::nullopt;
  }
  for (std::complex<double>& value : values) {
    value = {std::ldexp(value.real(), exponent), std::ldexp(value.imag(), exponent)};
    if (!std::isfinite(value.real()) || !std::isfinite(value.imag())) {
      return std::nullopt;
    }
  }
  values.insert(values.begin(), isolated.begin(), isolated.end());
  return values;
}

}  // namespace numerics
