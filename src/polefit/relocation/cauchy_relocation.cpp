/// A relocation by normal equations.
///
/// Of N poles and R responses, with T = N + the number of terms, phi the basis functions of the poles, then 1
/// and s as far as there are such terms, w the weights and f_r the response (times its scale):
///
///   letter   shape            in the code        meaning
///   G        T x T            g11                basis' normal matrix, sum w^2 Re(conj(phi_i) phi_j)
///   W        T x T, lower     BasisInverse       G^-1 = W^T W
///   B_r      T x (N + 1)      Scratch::table     sum -w^2 Re(conj(phi_i) f_r phi_j), j of sigma: poles, 1
///   A        (N + 1) square   lane `powers`      sum over all r of w^2 |f_r|^2 Re(conj(phi_i) phi_j)
///   E_k      (N + 1) square   eliminated_        sum over the responses r of chunk k of (W B_r)^T (W B_r)
///   S        (N + 1) square   s                  A - sum E_k: the equations for sigma, without all other
///                                                unknowns; |S^(1/2) y|^2 is the square of the residual
///   row      N + 1            row                gamma sum Re phi_j, which is to be `goal`
///   y        N + 1            unknowns           of sigma
///
/// Sums are over the samples. Lanes and chunks are explained in cauchy_products.hpp. E_k has its rows filled
/// up to a multiple of column_step; in tables that have lanes, element (i, j) has one value for each of them.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>
#include <optional>
#include <utility>

#include "numerics/block_products.hpp"
#include "numerics/inverse_factor.hpp"
#include "numerics/matrix_view.hpp"
#include "numerics/parallel.hpp"
#include "polefit/relocation/cauchy_products.hpp"
#include "polefit/relocation/relocation.hpp"

namespace polefit {
namespace {

using numerics::column_step;
using numerics::InverseFactor;
using numerics::Matrix;

/// Below these reciprocal conditions the normal equations are left for the orthogonal factorisation. The hard
/// set of the tests comes out right with anything from 0 to 1e-5 and from 0 to 1e-9, since a run whose last
/// relocation was not safe ends with an orthogonal one.
constexpr double least_condition_basis = 1e-9;
constexpr double least_condition_sigma = 1e-12;
/// Of a relocation with a ridge.
constexpr double largest_ridge = 1e-8;
constexpr double ridge_step = 100.0;

/// What one thread works in.
struct Scratch {
  SumMemory sum_memory;
  Sums sums;
  Sums weights;
  std::vector<double> table;
  std::vector<double> weight_table;
  std::vector<double> combined;
  std::vector<double> packed;
};

/// The inverse of a basis' normal matrix.
struct BasisInverse {
  Matrix w;                ///< with its scale, the rows filled up for combine_columns_lower
  double condition = 0.0;  ///< reciprocal
};

/// The inverse of a + diag(ridge a); nothing when it is not positive definite with the largest ridge either,
/// or, without one, when its condition is below `least`.
std::optional<InverseFactor> inverse_of(const Matrix& a, double ridge, double least) {
  if (ridge == 0.0) {
    std::optional<InverseFactor> factor = numerics::invert_positive(a);
    return factor && factor->condition >= least ? std::move(factor) : std::nullopt;
  }
  double part = ridge;
  while (part <= largest_ridge) {
    Matrix raised = a;
    for (std::size_t i = 0; i < a.rows; ++i) {
      raised(i, i) *= 1.0 + part;
    }
    std::optional<InverseFactor> factor = numerics::invert_positive(std::move(raised));
    if (factor) {
      return factor;
    }
    part *= ridge_step;
  }
  return std::nullopt;
}

/// Nothing when the matrix is too ill-conditioned.
std::optional<BasisInverse> invert_basis(const Matrix& g11, double ridge) {
  const std::size_t n = g11.rows;
  const std::optional<InverseFactor> factor = inverse_of(g11, ridge, least_condition_basis);
  if (!factor) {
    return std::nullopt;
  }
  BasisInverse inverse{Matrix(rounded_up(n, numerics::left_inverse_rows), n), factor->condition};
  for (std::size_t j = 0; j < n; ++j) {
    for (std::size_t i = j; i < n; ++i) {
      inverse.w(i, j) = factor->w(i, j) * factor->scale[j];
    }
  }
  return inverse;
}

numerics::MatrixView<const double> view_of(const Matrix& a) {
  const auto rows = static_cast<std::int64_t>(a.rows);
  return {a.elements.data(), rows, static_cast<std::int64_t>(a.columns), rows};
}

/// Adds a^T a, for a as many columns as a table and `rows` rows.
void add_gram(const std::vector<double>& a, std::size_t rows, std::size_t columns, Scratch& scratch,
              std::vector<double>& gram) {
  const std::size_t padded = rounded_up(columns, column_step);
  scratch.packed.resize(rows * padded);
  const auto size = static_cast<std::int64_t>(padded);
  const auto lines = static_cast<std::int64_t>(rows);
  numerics::add_gram_matrix({a.data(), lines, static_cast<std::int64_t>(columns), lines},
                            {gram.data(), size, size, size}, scratch.packed.data(),
                            numerics::widest_vector_unit());
}

/// Adds what the unknowns of one chunk's responses, whose table is filled, take away from the equations for
/// sigma, to the lower triangle.
void eliminate(const Matrix& inverse, const ProductTable& table, Scratch& scratch,
               std::vector<double>& gram) {
  const std::size_t rows = inverse.rows * lanes;
  scratch.combined.resize(rows * table.columns());
  for (std::size_t j = 0; j < table.columns(); ++j) {
    numerics::combine_columns_lower(
        view_of(inverse),
        {scratch.table.data() + j * table.rows() * lanes, static_cast<std::int64_t>(lanes),
         static_cast<std::int64_t>(table.rows()), static_cast<std::int64_t>(lanes)},
        scratch.combined.data() + j * rows, numerics::widest_vector_unit());
  }
  add_gram(scratch.combined, rows, table.columns(), scratch, gram);
}

/// The same of the response in lane l, which has a basis of its own.
void eliminate_lane(const Matrix& inverse, const ProductTable& table, std::size_t l, Scratch& scratch,
                    std::vector<double>& gram) {
  // The rows of the table as columns: they are as long as a column of lanes is elsewhere.
  Matrix rows(rounded_up(table.columns(), numerics::row_step), table.rows());
  for (std::size_t j = 0; j < table.columns(); ++j) {
    for (std::size_t i = 0; i < table.rows(); ++i) {
      rows(j, i) = scratch.table[(j * table.rows() + i) * lanes + l];
    }
  }
  Matrix combined(rows.rows, inverse.rows);
  numerics::combine_columns_lower(view_of(inverse), view_of(rows), combined.elements.data(),
                                  numerics::widest_vector_unit());
  const std::size_t height = rounded_up(inverse.rows, numerics::row_step);
  scratch.combined.assign(height * table.columns(), 0.0);
  for (std::size_t j = 0; j < table.columns(); ++j) {
    for (std::size_t i = 0; i < inverse.rows; ++i) {
      scratch.combined[j * height + i] = combined(j, i);
    }
  }
  add_gram(scratch.combined, height, table.columns(), scratch, gram);
}

/// A solution of the equations for sigma.
struct RelaxedSolution {
  std::vector<double> unknowns;
  double residual = 0.0;   ///< square root of y^T s y
  double condition = 0.0;  ///< reciprocal
};

/// The square root of y^T s y for the positive semidefinite s, whose lower triangle is used.
double seminorm(const Matrix& s, const std::vector<double>& y) {
  double squares = 0.0;
  for (std::size_t j = 0; j < s.rows; ++j) {
    squares += s(j, j) * y[j] * y[j];
    for (std::size_t i = j + 1; i < s.rows; ++i) {
      squares += 2.0 * s(i, j) * y[i] * y[j];
    }
  }
  return std::sqrt(std::max(0.0, squares));
}

/// Solves (s + row row^T) y = goal row for the positive semidefinite s, whose lower triangle is used. Nothing
/// when that is too ill-conditioned.
std::optional<RelaxedSolution> solve_relaxed(const Matrix& s, const std::vector<double>& row, double goal,
                                             double ridge) {
  const std::size_t n = s.rows;
  Matrix t(n, n);
  for (std::size_t j = 0; j < n; ++j) {
    for (std::size_t i = j; i < n; ++i) {
      t(i, j) = s(i, j) + row[i] * row[j];
    }
  }
  const std::optional<InverseFactor> factor = inverse_of(t, ridge, least_condition_sigma);
  if (!factor) {
    return std::nullopt;
  }
  const InverseFactor& inverse = *factor;
  std::vector<double> half(n);
  for (std::size_t j = 0; j < n; ++j) {
    const double right = goal * row[j] * inverse.scale[j];
    for (std::size_t i = j; i < n; ++i) {
      half[i] += inverse.w(i, j) * right;
    }
  }
  std::vector<double> y(n);
  for (std::size_t j = 0; j < n; ++j) {
    for (std::size_t i = j; i < n; ++i) {
      y[j] += inverse.w(i, j) * half[i];
    }
    y[j] *= inverse.scale[j];
  }
  const double residual = seminorm(s, y);
  return RelaxedSolution{.unknowns = std::move(y), .residual = residual, .condition = inverse.condition};
}

/// Tables of what a relocation needs for all responses alike.
struct Tables {
  Tables(const Problem& problem_of, const Poles& poles_of)
      : problem(problem_of),
        poles(poles_of),
        q(reciprocal_sums(poles_of)),
        whole(poles_of, q, true, true),
        wanted(poles_of, q, problem_of.constant, problem_of.proportional) {}
  Tables(const Tables&) = delete;
  Tables& operator=(const Tables&) = delete;

  /// The basis' normal matrix, its lower triangle: `values` is the whole table for squared weights, of which
  /// lane l is meant, and square(k) the squared weight of sample k.
  template <class Square>
  Matrix basis_gram(const std::vector<double>& values, std::size_t l, const Square& square) const {
    const std::size_t n = poles.size();
    // Row and column in the whole table: the poles, then 1, then s.
    const auto place = [&](std::size_t i) { return i < n || problem.constant ? i : i + 1; };
    Matrix g11(wanted.rows(), wanted.rows());
    for (std::size_t j = 0; j < g11.rows; ++j) {
      for (std::size_t i = j; i < g11.rows && place(j) <= n; ++i) {
        g11(i, j) = values[(place(j) * whole.rows() + place(i)) * lanes + l];
      }
    }
    for (std::size_t k = 0; problem.proportional && k < problem.samples; ++k) {
      g11(g11.rows - 1, g11.rows - 1) += square(k) * problem.omega[k] * problem.omega[k];
    }
    return g11;
  }

  const Problem& problem;
  const Poles& poles;
  const std::vector<Complex> q;
  const ProductTable whole;
  const ProductTable wanted;
};

/// What the sums lose where V and X cancel: the largest moduli of what a product of a basis function with
/// itself is made of, over that product. Poles far below the band, or with a damping far below the distance
/// of the samples, have basis functions much smaller than the sums from which their products come.
///
/// sums, values   of lane l of the whole table
double largest_loss(const Tables& tables, const Sums& sums, const std::vector<double>& values,
                    std::size_t l) {
  const std::size_t n = tables.poles.size();
  const auto part = [&](std::size_t i, std::size_t j) {
    const double v = std::hypot(sums.v[j].re[l], sums.v[j].im[l]);
    const double x = std::hypot(sums.x[i].re[l], sums.x[i].im[l]);
    return (v + x) * std::abs(tables.q[i + j * n]);
  };
  const auto product = [&](std::size_t i) { return values[(i * tables.whole.rows() + i) * lanes + l]; };
  double loss = 1.0;
  for_each_group(
      tables.poles, [&](std::size_t i) { loss = std::max(loss, part(i, i) / std::abs(product(i))); },
      [&](std::size_t i) {
        const double parts = part(i, i) + part(i, i + 1) + part(i + 1, i) + part(i + 1, i + 1);
        loss = std::max({loss, parts / std::abs(product(i)), parts / std::abs(product(i + 1))});
      });
  return loss;
}

/// The table of one chunk's responses.
void fill_table(const Tables& tables, const std::vector<double>& product, std::size_t chunk,
                Scratch& scratch) {
  const std::size_t responses = std::min(lanes, tables.problem.responses - chunk * lanes);
  scratch.sums.resize(tables.poles.size());
  take_sums(product.data(), tables.poles.size(), scratch.sums);
  scratch.sums.clear_from(responses);
  const std::size_t filled = rounded_up(responses, column_step);
  const std::size_t size = tables.wanted.rows() * tables.wanted.columns() * lanes;
  if (filled < lanes) {
    scratch.table.assign(size, 0.0);
  }
  scratch.table.resize(size);
  tables.wanted.fill(scratch.sums, filled, scratch.table.data());
}

/// The lanes from `first` on, up to `count`, of the raw sums.
void gather(const std::vector<std::vector<double>>& products, std::size_t first, std::size_t count,
            std::size_t poles, Sums& of_chunk, Sums& sums) {
  for (std::size_t lane = first; lane < first + count; ++lane) {
    if (lane == first || lane % lanes == 0) {
      take_sums(products[lane / lanes].data(), poles, of_chunk);
    }
    sums.copy_lane(of_chunk, lane % lanes, lane - first);
  }
}

/// Eliminates the unknowns of one chunk's responses, each of which has weights of its own; returns the least
/// condition, 0 when there is an equation system without one.
double eliminate_with_own_weights(const Tables& tables, const std::vector<std::vector<double>>& products,
                                  std::size_t chunk, double ridge, Scratch& scratch,
                                  std::vector<double>& gram) {
  const Problem& problem = tables.problem;
  const std::size_t first = chunk * lanes;
  const std::size_t count = std::min(lanes, problem.responses - first);
  scratch.weights.resize(tables.poles.size());
  gather(products, own_weights_lane(problem, first), count, tables.poles.size(), scratch.sums,
         scratch.weights);
  scratch.weights.clear_from(count);
  scratch.weight_table.resize(tables.whole.rows() * tables.whole.columns() * lanes);
  tables.whole.fill(scratch.weights, lanes, scratch.weight_table.data());
  double least = 1.0;
  for (std::size_t l = 0; l < count; ++l) {
    if (scratch.weights.g.re[l] == 0.0) {
      continue;  // nothing of it counts
    }
    const Matrix g11 = tables.basis_gram(scratch.weight_table, l, [&](std::size_t k) {
      const double weight = problem.sample_weight(first + l, k);
      return weight * weight;
    });
    const std::optional<BasisInverse> inverse = invert_basis(g11, ridge);
    if (!inverse) {
      return 0.0;
    }
    least = std::min(least, inverse->condition);
    eliminate_lane(inverse->w, tables.wanted, l, scratch, gram);
  }
  return least;
}

}  // namespace

/// The equations of one relocation after the other, and the memory in which they are made.
class CauchyRelocation::Equations {
 public:
  Equations(const Problem& problem, int threads) : problem_(problem), threads_(threads) {
    scratch_.resize(std::min(static_cast<std::size_t>(threads), all_chunks(problem)));
  }

  std::optional<Sigma> solve(const Poles& poles, double ridge) {
    ridge_ = ridge;
    sum_samples(poles);
    const Tables tables(problem_, poles);
    fill_shared_table(tables);
    const double loss = largest_loss(tables, shared_sums_, shared_, ones);
    const double condition_basis = eliminate_responses(tables);
    if (!(condition_basis > 0.0) || (ridge == 0.0 && !(condition_basis >= least_condition_basis * loss))) {
      return std::nullopt;
    }
    const Matrix s = remaining_equations(tables);
    std::optional<RelaxedSolution> solution = solve_relaxed(s, constraint(tables), problem_.norm, ridge);
    if (!solution) {
      return std::nullopt;
    }
    return Sigma{.unknowns = std::move(solution->unknowns),
                 .residual = solution->residual / problem_.norm,
                 .error = std::sqrt(std::max(0.0, s(poles.size(), poles.size()))) / problem_.norm,
                 .condition_basis = condition_basis,
                 .condition_sigma = solution->condition,
                 .loss = loss};
  }

 private:
  /// The raw sums of every chunk.
  void sum_samples(const Poles& poles) {
    products_.resize(all_chunks(problem_));
    numerics::in_parallel(threads_, products_.size(),
                          [&](std::size_t part, std::size_t begin, std::size_t end) {
                            add_sums(problem_, poles, begin, end, scratch_[part].sum_memory, products_);
                          });
  }

  /// The whole table of the shared lanes.
  void fill_shared_table(const Tables& tables) {
    const std::size_t n = tables.poles.size();
    shared_sums_.resize(n);
    scratch_.front().sums.resize(n);
    gather(products_, first_shared_lane(problem_), shared_lanes, n, scratch_.front().sums, shared_sums_);
    shared_.resize(tables.whole.rows() * tables.whole.columns() * lanes);
    tables.whole.fill(shared_sums_, rounded_up(shared_lanes, column_step), shared_.data());
  }
  double shared(const Tables& tables, SharedLane of, std::size_t i, std::size_t j) const {
    return shared_[(j * tables.whole.rows() + i) * lanes + of];
  }

  /// E of every chunk; returns the least condition of a basis, 0 when one of them was not to be inverted.
  double eliminate_responses(const Tables& tables) {
    std::optional<BasisInverse> common;
    if (!problem_.has_own_weights()) {
      common = invert_basis(
          tables.basis_gram(shared_, squared_weights,
                            [&](std::size_t k) { return problem_.weight[k] * problem_.weight[k]; }),
          ridge_);
      if (!common) {
        return 0.0;
      }
    }
    eliminated_.resize(response_chunks(problem_));
    conditions_.assign(eliminated_.size(), 0.0);
    numerics::in_parallel(threads_, eliminated_.size(),
                          [&](std::size_t part, std::size_t begin, std::size_t end) {
                            for (std::size_t chunk = begin; chunk < end; ++chunk) {
                              conditions_[chunk] = eliminate_chunk(tables, common, chunk, scratch_[part]);
                            }
                          });
    return *std::min_element(conditions_.begin(), conditions_.end());
  }
  double eliminate_chunk(const Tables& tables, const std::optional<BasisInverse>& common, std::size_t chunk,
                         Scratch& scratch) {
    const std::size_t padded = padded_columns(tables);
    std::vector<double>& gram = eliminated_[chunk];
    gram.assign(padded * padded, 0.0);
    fill_table(tables, products_[chunk], chunk, scratch);
    if (!common) {
      return eliminate_with_own_weights(tables, products_, chunk, ridge_, scratch, gram);
    }
    eliminate(common->w, tables.wanted, scratch, gram);
    return common->condition;
  }

  /// S, its lower triangle.
  Matrix remaining_equations(const Tables& tables) const {
    const std::size_t padded = padded_columns(tables);
    Matrix s(tables.wanted.columns(), tables.wanted.columns());
    for (std::size_t j = 0; j < s.rows; ++j) {
      for (std::size_t i = j; i < s.rows; ++i) {
        double sum = 0.0;
        for (const std::vector<double>& chunk : eliminated_) {
          sum += chunk[i + j * padded];
        }
        s(i, j) = shared(tables, powers, i, j) - sum;
      }
    }
    return s;
  }

  /// The row of the relaxed constraint.
  std::vector<double> constraint(const Tables& tables) const {
    const std::size_t n = tables.poles.size();
    const double gamma = problem_.norm / static_cast<double>(problem_.samples);
    std::vector<double> row(n + 1);
    for (std::size_t j = 0; j < row.size(); ++j) {
      row[j] = gamma * shared(tables, ones, n, j);
    }
    return row;
  }

  static std::size_t padded_columns(const Tables& tables) {
    return rounded_up(tables.wanted.columns(), column_step);
  }

  const Problem& problem_;
  int threads_;
  double ridge_ = 0.0;
  std::vector<Scratch> scratch_;                 // of each thread
  std::vector<std::vector<double>> products_;    // of each chunk of lanes
  std::vector<std::vector<double>> eliminated_;  // of each chunk with responses
  std::vector<double> conditions_;               // likewise
  Sums shared_sums_;
  std::vector<double> shared_;
};

CauchyRelocation::CauchyRelocation(const Problem& problem, int threads)
    : equations_(std::make_unique<Equations>(problem, threads)) {}

CauchyRelocation::~CauchyRelocation() = default;

std::optional<Sigma> CauchyRelocation::solve(const Poles& poles, double ridge) {
  const bool stable = std::all_of(poles.begin(), poles.end(), [](Complex pole) { return pole.real() < 0.0; });
  return stable ? equations_->solve(poles, ridge) : std::nullopt;
}

}  // namespace polefit
