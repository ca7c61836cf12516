/// A relocation by normal equations.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <memory>

#include "cauchy_products.hpp"
#include "dense.hpp"
#include "dmatrix/block_products.hpp"
#include "parallel.hpp"
#include "relocation.hpp"

namespace polefit {
namespace {

using s_solver::column_step;
using s_solver::MatrixView;

/// Below these reciprocal conditions the normal equations are left for the orthogonal factorisation. The hard
/// set of the tests comes out right with anything from 0 to 1e-5 and from 0 to 1e-9, since a run whose last
/// relocation was not safe ends with an orthogonal one.
constexpr double least_condition_basis = 1e-9;
constexpr double least_condition_sigma = 1e-12;

/// What one thread works in.
struct Scratch {
  SumMemory sum_memory;
  Sums sums;
  std::vector<double> table;
  std::vector<double> combined;
  std::vector<double> packed;
};

/// The Cholesky factor of the lower triangle of a, whose rows and columns are multiplied with `scale` before,
/// to a diagonal of ones. False when a is not positive definite.
bool scaled_cholesky(Matrix& a, std::vector<double>& scale, double& condition) {
  scale.resize(a.rows);
  for (std::size_t i = 0; i < a.rows; ++i) {
    if (!(a(i, i) > 0.0)) {
      return false;
    }
    scale[i] = 1.0 / std::sqrt(a(i, i));
  }
  for (std::size_t j = 0; j < a.columns; ++j) {
    for (std::size_t i = j; i < a.rows; ++i) {
      a(i, j) *= scale[i] * scale[j];
    }
  }
  return cholesky(a, condition);
}

/// The scaled inverse of the Cholesky factor of the basis' normal matrix, its rows filled up for
/// combine_columns_lower.
bool invert_basis(const Matrix& g11, Matrix& inverse, double& condition) {
  const std::size_t n = g11.rows;
  Matrix factor = g11;
  std::vector<double> scale;
  if (!scaled_cholesky(factor, scale, condition)) {
    return false;
  }
  inverse = Matrix(rounded_up(n, s_solver::left_inverse_rows), n);
  for (std::size_t j = 0; j < n; ++j) {
    for (std::size_t i = j; i < n; ++i) {
      double sum = i == j ? 1.0 : 0.0;
      for (std::size_t m = j; m < i; ++m) {
        sum -= factor(i, m) * inverse(m, j);
      }
      inverse(i, j) = sum / factor(i, i);
    }
  }
  for (std::size_t j = 0; j < n; ++j) {
    for (std::size_t i = 0; i < n; ++i) {
      inverse(i, j) *= scale[j];
    }
  }
  return true;
}

/// gram = what the unknowns of one chunk's responses take away from the equations for sigma, in the lower
/// triangle.
void eliminate(const Matrix& inverse, const ProductTable& table, Scratch& scratch,
               std::vector<double>& gram) {
  const s_solver::VectorUnit unit = s_solver::widest_vector_unit();
  const std::size_t padded = rounded_up(table.columns(), column_step);
  const std::size_t rows = inverse.rows * lanes;
  scratch.table.resize(table.rows() * table.columns() * lanes);
  scratch.combined.resize(rows * table.columns());
  scratch.packed.resize(rows * padded);
  gram.assign(padded * padded, 0.0);

  table.fill(scratch.sums, scratch.table.data());
  const auto inverse_rows = static_cast<std::int64_t>(inverse.rows);
  const MatrixView<const double> factors(inverse.elements.data(), inverse_rows,
                                         static_cast<std::int64_t>(inverse.columns), inverse_rows);
  for (std::size_t j = 0; j < table.columns(); ++j) {
    s_solver::combine_columns_lower(
        factors,
        {scratch.table.data() + j * table.rows() * lanes, static_cast<std::int64_t>(lanes),
         static_cast<std::int64_t>(table.rows()), static_cast<std::int64_t>(lanes)},
        scratch.combined.data() + j * rows, unit);
  }
  const auto size = static_cast<std::int64_t>(padded);
  s_solver::add_gram_matrix({scratch.combined.data(), static_cast<std::int64_t>(rows),
                             static_cast<std::int64_t>(table.columns()), static_cast<std::int64_t>(rows)},
                            {gram.data(), size, size, size}, scratch.packed.data(), unit);
}

/// Solves (s + row row^T) y = goal row for the positive semidefinite s, whose lower triangle is used.
bool solve_relaxed(const Matrix& s, const std::vector<double>& row, double goal, Sigma& sigma) {
  const std::size_t n = s.rows;
  Matrix t(n, n);
  for (std::size_t j = 0; j < n; ++j) {
    for (std::size_t i = j; i < n; ++i) {
      t(i, j) = s(i, j) + row[i] * row[j];
    }
  }
  std::vector<double> scale;
  if (!scaled_cholesky(t, scale, sigma.condition_sigma)) {
    return false;
  }
  std::vector<double>& y = sigma.unknowns;
  y.resize(n);
  for (std::size_t i = 0; i < n; ++i) {
    double sum = goal * row[i] * scale[i];
    for (std::size_t m = 0; m < i; ++m) {
      sum -= t(i, m) * y[m];
    }
    y[i] = sum / t(i, i);
  }
  for (std::size_t i = n; i-- > 0;) {
    double sum = y[i];
    for (std::size_t m = i + 1; m < n; ++m) {
      sum -= t(m, i) * y[m];
    }
    y[i] = sum / t(i, i);
  }
  for (std::size_t i = 0; i < n; ++i) {
    y[i] *= scale[i];
  }
  double squares = 0.0;
  for (std::size_t j = 0; j < n; ++j) {
    squares += s(j, j) * y[j] * y[j];
    for (std::size_t i = j + 1; i < n; ++i) {
      squares += 2.0 * s(i, j) * y[i] * y[j];
    }
  }
  sigma.residual = std::sqrt(std::max(0.0, squares));
  return true;
}

}  // namespace

struct CauchyRelocation::Memory {
  std::vector<Scratch> scratch;                 // of each thread
  std::vector<std::vector<double>> products;    // of each chunk of lanes
  std::vector<std::vector<double>> eliminated;  // likewise
  std::array<std::vector<double>, 2> shared;
};

CauchyRelocation::CauchyRelocation(const Problem& problem, int threads)
    : problem_(problem), threads_(threads), memory_(std::make_unique<Memory>()) {
  memory_->scratch.resize(std::min(static_cast<std::size_t>(threads), all_chunks(problem)));
}

CauchyRelocation::~CauchyRelocation() = default;

bool CauchyRelocation::solve(const Poles& poles, Sigma& sigma) {
  const Problem& problem = problem_;
  std::vector<Scratch>& scratch = memory_->scratch;
  std::vector<std::vector<double>>& products = memory_->products;
  std::vector<std::vector<double>>& eliminated = memory_->eliminated;
  std::array<std::vector<double>, 2>& shared = memory_->shared;
  if (!problem.response_weights.empty() ||
      !std::all_of(poles.begin(), poles.end(), [](Complex pole) { return pole.real() < 0.0; })) {
    return false;
  }
  const std::size_t n = poles.size();
  const std::size_t chunks = all_chunks(problem);
  products.resize(chunks);
  in_parallel(threads_, chunks, [&](std::size_t part, std::size_t begin, std::size_t end) {
    add_sums(problem, poles, begin, end, scratch[part].sum_memory, products);
  });

  // The three lanes that are no response's may end in two chunks.
  Sums& sums = scratch.front().sums;
  sums.resize(n);
  const std::vector<Complex> q = reciprocal_sums(poles);
  const ProductTable whole(poles, q, true, true);
  const std::size_t first_shared = problem.responses / lanes;
  for (std::size_t chunk = first_shared; chunk < chunks; ++chunk) {
    take_sums(products[chunk].data(), n, sums);
    shared[chunk - first_shared].resize(whole.rows() * whole.columns() * lanes);
    whole.fill(sums, shared[chunk - first_shared].data());
  }
  const auto element = [&](SharedLane of, std::size_t i, std::size_t j) {
    const std::size_t lane = problem.responses % lanes + of;
    return shared[lane / lanes][(j * whole.rows() + i) * lanes + lane % lanes];
  };

  const ProductTable table(poles, q, problem.constant, problem.proportional);
  const std::size_t left = table.rows();
  Matrix g11(left, left);
  for (std::size_t j = 0; j < left; ++j) {
    // Row and column of each in the whole table: the poles, then 1, then s.
    const std::size_t column = j < n || problem.constant ? j : j + 1;
    for (std::size_t i = j; i < left; ++i) {
      const std::size_t row = i < n || problem.constant ? i : i + 1;
      if (column == n + 1) {
        double squares = 0.0;
        for (std::size_t k = 0; k < problem.samples; ++k) {
          const double weighted = problem.weight[k] * problem.omega[k];
          squares += weighted * weighted;
        }
        g11(i, j) = squares;
      } else {
        g11(i, j) = element(squared_weights, row, column);
      }
      g11(j, i) = g11(i, j);
    }
  }
  Matrix inverse;
  if (!invert_basis(g11, inverse, sigma.condition_basis) ||
      !(sigma.condition_basis >= least_condition_basis)) {
    return false;
  }

  const std::size_t right = n + 1;
  const std::size_t padded = rounded_up(right, column_step);
  eliminated.resize(response_chunks(problem));
  in_parallel(threads_, response_chunks(problem), [&](std::size_t part, std::size_t begin, std::size_t end) {
    Sums& own = scratch[part].sums;
    own.resize(n);
    for (std::size_t chunk = begin; chunk < end; ++chunk) {
      take_sums(products[chunk].data(), n, own);
      own.clear_from(problem.responses - std::min(problem.responses, chunk * lanes));
      eliminate(inverse, table, scratch[part], eliminated[chunk]);
    }
  });

  Matrix s(right, right);
  for (std::size_t j = 0; j < right; ++j) {
    for (std::size_t i = j; i < right; ++i) {
      double sum = 0.0;
      for (const std::vector<double>& chunk : eliminated) {
        sum += chunk[i + j * padded];
      }
      s(i, j) = element(powers, i, j) - sum;
    }
  }
  const double gamma = problem.norm / static_cast<double>(problem.samples);
  std::vector<double> row(right);
  for (std::size_t j = 0; j < right; ++j) {
    row[j] = gamma * element(ones, n, j);
  }
  if (!solve_relaxed(s, row, problem.norm, sigma) || !(sigma.condition_sigma >= least_condition_sigma)) {
    return false;
  }
  sigma.residual /= problem.norm;
  return true;
}

}  // namespace polefit
