#include "polefit/fitting/residues.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "numerics/ordered_triangle.hpp"
#include "numerics/orthogonal_factorisation.hpp"
#include "numerics/parallel.hpp"
#include "polefit/problem/weighted_basis.hpp"

namespace polefit {
namespace {

using numerics::OrderedTriangle;
using numerics::OrthogonalFactorisation;

/// Responses that are solved together, few enough that their right-hand sides are small beside the data.
constexpr std::size_t together = 32;

/// The unknowns that a constraint C x = f leaves: x = Q [z1; z2], where T^T z1 = f fixes z1.
class Constraint {
 public:
  /// Rows of the scaled basis at sample k; the imaginary one is left out where it is 0 or follows from the
  /// real one.
  Constraint(const Matrix& basis, const std::vector<double>& scale, std::size_t k) {
    const std::size_t m = basis.rows / 2;
    const std::size_t n = basis.columns;
    std::array<std::vector<double>, 2> rows;
    for (std::size_t part = 0; part < 2; ++part) {
      double largest = 0.0;
      for (std::size_t j = 0; j < n; ++j) {
        rows[part].push_back(basis(part * m + k, j) * scale[j]);
        largest = std::max(largest, std::abs(rows[part].back()));
      }
      if (largest > 0.0 && parts_.size() < n) {
        parts_.push_back(part);
      }
    }
    factorise_rows(rows);
    if (parts_.size() == 2 && !independent(rows[parts_[1]])) {
      parts_.pop_back();
      factorise_rows(rows);
    }
  }
  std::size_t count() const { return parts_.size(); }

  /// z1 for the value f.
  std::vector<double> fixed(Complex f) const {
    std::vector<double> z(count());
    for (std::size_t j = 0; j < count(); ++j) {
      double sum = parts_[j] == 0 ? f.real() : f.imag();
      for (std::size_t i = 0; i < j; ++i) {
        sum -= factorisation_.r(i, j) * z[i];
      }
      z[j] = sum / factorisation_.r(j, j);
    }
    return z;
  }
  /// Q, n x n.
  Matrix orthogonal() const {
    const std::size_t n = factorisation_.rows;
    Matrix q_transposed(n, n);
    for (std::size_t i = 0; i < n; ++i) {
      q_transposed(i, i) = 1.0;
    }
    apply_transposed(factorisation_, q_transposed);
    Matrix q(n, n);
    for (std::size_t j = 0; j < n; ++j) {
      for (std::size_t i = 0; i < n; ++i) {
        q(i, j) = q_transposed(j, i);
      }
    }
    return q;
  }

 private:
  void factorise_rows(const std::array<std::vector<double>, 2>& rows) {
    Matrix transposed(rows[0].size(), parts_.size());
    for (std::size_t j = 0; j < parts_.size(); ++j) {
      std::copy(rows[parts_[j]].begin(), rows[parts_[j]].end(), transposed.column(j));
    }
    factorisation_ = numerics::factorise(transposed);
  }
  /// Whether the second row is more than rounding of a multiple of the first one.
  bool independent(const std::vector<double>& row) const {
    constexpr double rounding = 100.0 * std::numeric_limits<double>::epsilon();
    double squares = 0.0;
    for (const double element : row) {
      squares += element * element;
    }
    return std::abs(factorisation_.r(1, 1)) > rounding * std::sqrt(squares);
  }

  std::vector<std::size_t> parts_;
  OrthogonalFactorisation factorisation_;
};

Matrix product(const Matrix& a, const Matrix& b) {
  Matrix c(a.rows, b.columns);
  for (std::size_t j = 0; j < b.columns; ++j) {
    for (std::size_t k = 0; k < a.columns; ++k) {
      const double factor = b(k, j);
      for (std::size_t i = 0; i < a.rows; ++i) {
        c(i, j) += factor * a(i, k);
      }
    }
  }
  return c;
}

/// a over ridge times the unit matrix; a itself without a ridge.
Matrix with_ridge(Matrix a, double ridge) {
  if (ridge == 0.0) {
    return a;
  }
  Matrix both(a.rows + a.columns, a.columns);
  for (std::size_t j = 0; j < a.columns; ++j) {
    std::copy_n(a.column(j), a.rows, both.column(j));
    both(a.rows + j, j) = ridge;
  }
  return both;
}

/// The factorised system of responses that share their weights.
class ResidueSystem {
 public:
  ResidueSystem(const Problem& problem, const Matrix& basis, std::size_t response,
                std::optional<std::size_t> exact_sample, double ridge)
      : problem_(problem), exact_sample_(exact_sample) {
    WeightedBasis weighted = weighted_basis(problem, basis, response);
    scale_ = weighted.scale;
    unknowns_ = basis.columns;
    if (!exact_sample_) {
      factorisation_ = numerics::factorise(with_ridge(std::move(weighted.columns), ridge));
      triangle_ = numerics::ordered_triangle(factorisation_.r);
      return;
    }
    const Constraint constraint(basis, scale_, *exact_sample_);
    fixed_.emplace(constraint);
    orthogonal_ = constraint.orthogonal();
    const Matrix turned = product(weighted.columns, orthogonal_);
    const std::size_t fixed = constraint.count();
    fixed_columns_ = Matrix(turned.rows, fixed);
    std::copy_n(turned.elements.begin(), fixed_columns_.elements.size(), fixed_columns_.elements.begin());
    Matrix free(turned.rows, turned.columns - fixed);
    std::copy(turned.column(fixed), turned.column(fixed) + free.elements.size(), free.elements.begin());
    factorisation_ = numerics::factorise(with_ridge(std::move(free), ridge));
    triangle_ = numerics::ordered_triangle(factorisation_.r);
  }

  /// The unscaled unknowns of responses begin .. end - 1, one column each.
  Matrix solve(std::size_t begin, std::size_t end) const {
    const std::size_t m = problem_.samples;
    Matrix b(factorisation_.rows, end - begin);
    Matrix z(unknowns_, end - begin);
    for (std::size_t r = begin; r < end; ++r) {
      double* const column = b.column(r - begin);
      for (std::size_t k = 0; k < m; ++k) {
        const double weight = problem_.sample_weight(r, k);
        const Complex f = problem_.value(r, k);
        column[k] = weight * f.real();
        column[m + k] = weight * f.imag();
      }
      if (exact_sample_) {
        const std::vector<double> fixed = fixed_->fixed(problem_.value(r, *exact_sample_));
        for (std::size_t j = 0; j < fixed.size(); ++j) {
          z(j, r - begin) = fixed[j];
          for (std::size_t k = 0; k < 2 * m; ++k) {
            column[k] -= fixed_columns_(k, j) * fixed[j];
          }
        }
      }
    }
    apply_transposed(factorisation_, b);
    solve_triangular(triangle_, b);
    const std::size_t fixed = unknowns_ - factorisation_.r.columns;
    for (std::size_t r = 0; r < b.columns; ++r) {
      std::copy_n(b.column(r), factorisation_.r.columns, z.column(r) + fixed);
    }
    Matrix x = exact_sample_ ? product(orthogonal_, z) : std::move(z);
    for (std::size_t r = 0; r < x.columns; ++r) {
      for (std::size_t j = 0; j < unknowns_; ++j) {
        x(j, r) *= scale_[j];
      }
    }
    return x;
  }

 private:
  const Problem& problem_;
  std::optional<std::size_t> exact_sample_;
  std::size_t unknowns_ = 0;
  std::vector<double> scale_;
  std::optional<Constraint> fixed_;
  Matrix orthogonal_;
  Matrix fixed_columns_;
  OrthogonalFactorisation factorisation_;
  OrderedTriangle triangle_;
};

}  // namespace

Model identify_residues(const Problem& problem, const Poles& poles, std::optional<std::size_t> exact_sample,
                        int threads, double ridge) {
  const std::size_t n = poles.size();
  Model model;
  for (const Complex pole : poles) {
    model.poles.push_back(pole * problem.scale);
  }
  model.residues.resize(n * problem.responses);
  model.constants.resize(problem.responses);
  model.proportionals.resize(problem.responses);
  if (n + problem.terms() == 0) {
    return model;
  }

  const Matrix basis = unweighted_basis(problem, poles);
  const bool shared = !problem.has_own_weights();
  std::optional<ResidueSystem> system;
  if (shared) {
    system.emplace(problem, basis, 0, exact_sample, ridge);
  }
  const auto store = [&](std::size_t begin, std::size_t end, const ResidueSystem& solved) {
    const Matrix x = solved.solve(begin, end);
    for (std::size_t r = begin; r < end; ++r) {
      Complex* const residues = model.residues.data() + r * n;
      residues_from_unknowns(poles, x.column(r - begin), residues);
      std::transform(residues, residues + n, residues, [&](Complex c) { return c * problem.scale; });
      std::size_t j = n;
      if (problem.constant) {
        model.constants[r] = x(j++, r - begin);
      }
      if (problem.proportional) {
        model.proportionals[r] = x(j, r - begin) / problem.scale;
      }
    }
  };
  const std::size_t step = shared ? together : 1;
  const std::size_t groups = (problem.responses + step - 1) / step;
  numerics::in_parallel(threads, groups, [&](std::size_t, std::size_t begin, std::size_t end) {
    for (std::size_t group = begin; group < end; ++group) {
      const std::size_t first = group * step;
      const std::size_t past = std::min(first + step, problem.responses);
      if (shared) {
        store(first, past, *system);
      } else {
        store(first, past, ResidueSystem(problem, basis, first, exact_sample, ridge));
      }
    }
  });
  return model;
}

}  // namespace polefit
