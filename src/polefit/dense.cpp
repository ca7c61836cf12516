#include "polefit/dense.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <mutex>
#include <string>
#include <utility>

#include "numerics/vector_clones.hpp"
#include "polefit/error.hpp"

// The trailing lengths belong to the character arguments.
extern "C" {
void dtrcon_(const char* norm, const char* uplo, const char* diag, const int* n, const double* a,
             const int* lda, double* rcond, double* work, int* iwork, int* info, std::size_t, std::size_t,
             std::size_t);
void dgeev_(const char* jobvl, const char* jobvr, const int* n, double* a, const int* lda, double* wr,
            double* wi, double* vl, const int* ldvl, double* vr, const int* ldvr, double* work,
            const int* lwork, int* info, std::size_t, std::size_t);
}

namespace polefit {
namespace {

/// The installed BLAS under LAPACK serves one thread at a time.
std::mutex& one_at_a_time() {
  static std::mutex mutex;
  return mutex;
}

int size_of(std::size_t size) { return static_cast<int>(size); }

void expect(int info, const char* routine) {
  if (info != 0) {
    throw Error(ErrorKind::numerical_breakdown,
                std::string("the routine for ") + routine + " did not deliver");
  }
}

/// Calls routine(work, lwork) with the work array that it asks for.
template <class Routine>
void with_work(const Routine& routine) {
  double best = 0.0;
  routine(&best, -1);
  std::vector<double> work(static_cast<std::size_t>(std::max(1.0, best)));
  routine(work.data(), size_of(work.size()));
}

/// The sum of products, in eight parts.
NUMERICS_VECTOR_CLONES
double dot(std::size_t count, const double* __restrict x, const double* __restrict y) {
  constexpr std::size_t parts = 8;
  std::array<double, parts> part{};
  std::size_t k = 0;
  for (; k + parts <= count; k += parts) {
    for (std::size_t l = 0; l < parts; ++l) {
      part[l] += x[k + l] * y[k + l];
    }
  }
  for (std::size_t l = 0; k < count; ++k, ++l) {
    part[l] += x[k] * y[k];
  }
  return ((part[0] + part[4]) + (part[2] + part[6])) + ((part[1] + part[5]) + (part[3] + part[7]));
}

NUMERICS_VECTOR_CLONES
void scale(std::size_t count, double factor, double* __restrict x) {
  for (std::size_t k = 0; k < count; ++k) {
    x[k] *= factor;
  }
}

NUMERICS_VECTOR_CLONES
void subtract_multiple(std::size_t count, double factor, const double* __restrict from,
                       double* __restrict to) {
  for (std::size_t k = 0; k < count; ++k) {
    to[k] -= factor * from[k];
  }
}

/// x -= tau (1, v) (1, v)^T x; v and x but for its first element have `below` elements.
void reflect(std::size_t below, const double* v, double tau, double* x) {
  const double factor = tau * (x[0] + dot(below, v, x + 1));
  x[0] -= factor;
  subtract_multiple(below, factor, v, x + 1);
}

/// The exponent of the unit in which a vector's squares neither vanish nor overflow: 0 but for extreme ones.
int unit_exponent(std::size_t count, const double* x) {
  constexpr double smallest = 1e-280;
  constexpr double largest = 1e280;
  const double squares = dot(count, x, x);
  if (squares > smallest && squares < largest) {
    return 0;
  }
  double most = 0.0;
  for (std::size_t k = 0; k < count; ++k) {
    most = std::max(most, std::abs(x[k]));
  }
  return most > 0.0 && std::isfinite(most) ? std::ilogb(most) : 0;
}

/// Makes column j of a factorisation 0 below the diagonal.
void eliminate_below(Factorisation& factorisation, std::size_t j) {
  Matrix& q = factorisation.a;
  double* const v = q.column(j) + j;
  const std::size_t below = q.rows - j - 1;
  const int exponent = unit_exponent(below + 1, v);
  if (exponent != 0) {
    std::transform(v, v + below + 1, v, [&](double x) { return std::ldexp(x, -exponent); });
  }
  const double norm = std::hypot(v[0], std::sqrt(dot(below, v + 1, v + 1)));
  if (norm == 0.0) {
    return;
  }
  const double beta = v[0] < 0.0 ? norm : -norm;
  factorisation.tau[j] = (beta - v[0]) / beta;
  scale(below, 1.0 / (v[0] - beta), v + 1);
  v[0] = std::ldexp(beta, exponent);
  for (std::size_t i = j + 1; i < q.columns; ++i) {
    reflect(below, v + 1, factorisation.tau[j], q.column(i) + j);
  }
}

/// The Cholesky factor of the lower triangle of a, in its place; false when there is none.
bool cholesky(Matrix& a) {
  const std::size_t n = a.rows;
  for (std::size_t j = 0; j < n; ++j) {
    double* const column = a.column(j);
    if (!(column[j] > 0.0)) {
      return false;
    }
    column[j] = std::sqrt(column[j]);
    scale(n - j - 1, 1.0 / column[j], column + j + 1);
    for (std::size_t i = j + 1; i < n; ++i) {
      subtract_multiple(n - i, column[i], column + i, a.column(i) + i);
    }
  }
  return true;
}

/// The largest column sum of moduli of the symmetric matrix whose lower triangle is element(i, j).
template <class Element>
double largest_column_sum(std::size_t n, const Element& element) {
  std::vector<double> sums(n);
  for (std::size_t j = 0; j < n; ++j) {
    for (std::size_t i = j; i < n; ++i) {
      const double size = std::abs(element(i, j));
      sums[j] += size;
      sums[i] += i == j ? 0.0 : size;
    }
  }
  return n == 0 ? 0.0 : *std::max_element(sums.begin(), sums.end());
}

}  // namespace

Factorisation factorise(Matrix a) {
  Factorisation result{std::move(a), std::vector<double>()};
  result.tau.resize(result.a.columns);
  for (std::size_t j = 0; j < result.a.columns; ++j) {
    eliminate_below(result, j);
  }
  return result;
}

void apply_transposed(const Factorisation& factorisation, Matrix& b) {
  const Matrix& q = factorisation.a;
  for (std::size_t i = 0; i < b.columns; ++i) {
    for (std::size_t j = 0; j < q.columns; ++j) {
      reflect(q.rows - j - 1, q.column(j) + j + 1, factorisation.tau[j], b.column(i) + j);
    }
  }
}

OrderedTriangle ordered_triangle(const Factorisation& factorisation) {
  // In n eps: between 10 and 1000 times, the hard set of the tests comes out alike.
  constexpr double rounding = 100.0;

  const std::size_t n = factorisation.a.columns;
  const double negligible = static_cast<double>(n) * std::numeric_limits<double>::epsilon() * rounding;
  OrderedTriangle result;
  Matrix& r = result.factorisation.a;
  r = Matrix(n, n);
  for (std::size_t j = 0; j < n; ++j) {
    std::copy_n(factorisation.a.column(j), j + 1, r.column(j));
    result.place.push_back(j);
  }
  result.factorisation.tau.resize(n);
  for (std::size_t j = 0; j < n; ++j) {
    std::size_t largest = j;
    double most = -1.0;
    for (std::size_t i = j; i < n; ++i) {
      const double squares = dot(n - j, r.column(i) + j, r.column(i) + j);
      if (squares > most) {
        most = squares;
        largest = i;
      }
    }
    if (largest != j) {
      std::swap_ranges(r.column(j), r.column(j) + n, r.column(largest));
      std::swap(result.place[j], result.place[largest]);
    }
    eliminate_below(result.factorisation, j);
    if (result.rank == j && std::abs(r(j, j)) > negligible) {
      ++result.rank;
    }
  }
  return result;
}

void solve_triangular(const OrderedTriangle& triangle, Matrix& b) {
  const Matrix& r = triangle.factorisation.a;
  const std::size_t n = r.columns;
  Matrix x(n, b.columns);
  for (std::size_t column = 0; column < b.columns; ++column) {
    std::copy_n(b.column(column), n, x.column(column));
  }
  apply_transposed(triangle.factorisation, x);
  for (std::size_t column = 0; column < b.columns; ++column) {
    double* const y = x.column(column);
    std::fill(y + triangle.rank, y + n, 0.0);
    for (std::size_t j = triangle.rank; j-- > 0;) {
      y[j] /= r(j, j);
      subtract_multiple(j, y[j], r.column(j), y);
    }
    for (std::size_t j = 0; j < n; ++j) {
      b(triangle.place[j], column) = y[j];
    }
  }
}

double triangle_condition(const Factorisation& factorisation) {
  const int n = size_of(factorisation.a.columns);
  const int lda = size_of(factorisation.a.rows);
  std::vector<double> work(3 * factorisation.a.columns);
  std::vector<int> iwork(factorisation.a.columns);
  double condition = 0.0;
  int info = 0;
  const std::scoped_lock lock(one_at_a_time());
  dtrcon_("1", "U", "N", &n, factorisation.a.elements.data(), &lda, &condition, work.data(), iwork.data(),
          &info, 1, 1, 1);
  return condition;
}

bool invert_positive(Matrix a, InverseFactor& inverse) {
  const std::size_t n = a.rows;
  inverse.scale.resize(n);
  for (std::size_t i = 0; i < n; ++i) {
    if (!(a(i, i) > 0.0)) {
      return false;
    }
    inverse.scale[i] = 1.0 / std::sqrt(a(i, i));
  }
  for (std::size_t j = 0; j < n; ++j) {
    for (std::size_t i = j; i < n; ++i) {
      a(i, j) *= inverse.scale[i] * inverse.scale[j];
    }
  }
  const double norm = largest_column_sum(n, [&](std::size_t i, std::size_t j) { return a(i, j); });
  if (!cholesky(a)) {
    return false;
  }
  inverse.w = Matrix(n, n);
  for (std::size_t j = 0; j < n; ++j) {
    double* const w = inverse.w.column(j);
    w[j] = 1.0;
    for (std::size_t m = j; m < n; ++m) {
      w[m] /= a(m, m);
      subtract_multiple(n - m - 1, w[m], a.column(m) + m + 1, w + m + 1);
    }
  }
  const double inverse_norm = largest_column_sum(n, [&](std::size_t i, std::size_t j) {
    return dot(n - i, inverse.w.column(i) + i, inverse.w.column(j) + i);
  });
  inverse.condition = 1.0 / (norm * inverse_norm);
  return std::isfinite(inverse.condition);
}

std::vector<std::complex<double>> eigenvalues(Matrix a) {
  const int n = size_of(a.rows);
  std::vector<std::complex<double>> values(a.rows);
  if (n == 0) {
    return values;
  }
  if (!std::all_of(a.elements.begin(), a.elements.end(), [](double x) { return std::isfinite(x); })) {
    throw Error(ErrorKind::numerical_breakdown, "the relocation of the poles overflowed");
  }
  std::vector<double> re(a.rows);
  std::vector<double> im(a.rows);
  const int one = 1;
  int info = 0;
  const std::scoped_lock lock(one_at_a_time());
  with_work([&](double* work, int lwork) {
    dgeev_("N", "N", &n, a.elements.data(), &n, re.data(), im.data(), nullptr, &one, nullptr, &one, work,
           &lwork, &info, 1, 1);
  });
  expect(info, "eigenvalues");
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (im[i] == 0.0) {
      values[i] = re[i];
    } else {
      values[i] = {re[i], std::abs(im[i])};
      values[i + 1] = std::conj(values[i]);
      ++i;
    }
  }
  return values;
}

}  // namespace polefit
