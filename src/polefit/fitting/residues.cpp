#include "polefit/fitting/residues.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "numerics/ordered_triangle.hpp"
#include "numerics/orthogonal_factorisation.hpp"
#include "numerics/parallel.hpp"
#include "numerics/plain_products.hpp"
#include "polefit/problem/weighted_basis.hpp"
#include "polefit/projection/folded_basis.hpp"

namespace polefit {
namespace {

using numerics::OrderedTriangle;
using numerics::OrthogonalFactorisation;

/// Responses that are solved together, few enough that their right-hand sides are small beside the data.
constexpr std::size_t together = 32;
/// Below this the sizes of basis functions are nothing.
constexpr double least_size = 1e-300;

/// The unknowns that a constraint C x = f leaves: x = Q [z1; z2], where T^T z1 = f fixes z1.
class Constraint {
 public:
  /// Two rows: those of the scaled basis at a sample; the imaginary one is left out where it is 0 or follows
  /// from the real one.
  explicit Constraint(const Matrix& at_sample) {
    const std::size_t n = at_sample.columns;
    std::array<std::vector<double>, 2> rows;
    for (std::size_t part = 0; part < 2; ++part) {
      double largest = 0.0;
      for (std::size_t j = 0; j < n; ++j) {
        rows[part].push_back(at_sample(part, j));
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

/// The least squares of responses that share their weights, reduced to as many rows as there are unknowns.
class ResidueSystem {
 public:
  ResidueSystem(const Problem& problem, const Poles& poles, const FoldedBasis& basis,
                std::optional<std::size_t> exact_sample, double ridge)
      : problem_(problem), exact_sample_(exact_sample), scale_(basis.scale()) {
    if (!exact_sample_) {
      factorise(basis.scaled_triangle(), ridge);
      return;
    }
    Matrix at_sample(2, basis.columns());
    fill_terms(problem, poles, *exact_sample_, 1, at_sample.elements.data(), 2);
    for (std::size_t j = 0; j < at_sample.columns; ++j) {
      if (scale_[j] == 0.0) {
        // No sample counts, but this one is to be met.
        scale_[j] = 1.0 / std::max(std::hypot(at_sample(0, j), at_sample(1, j)), least_size);
      }
      at_sample(0, j) *= scale_[j];
      at_sample(1, j) *= scale_[j];
    }
    const Constraint constraint(at_sample);
    fixed_.emplace(constraint);
    orthogonal_ = constraint.orthogonal();
    const Matrix turned = product(basis.scaled_triangle(), orthogonal_);
    const std::size_t fixed = constraint.count();
    fixed_columns_ = Matrix(turned.rows, fixed);
    std::copy_n(turned.elements.begin(), fixed_columns_.elements.size(), fixed_columns_.elements.begin());
    Matrix free(turned.rows, turned.columns - fixed);
    std::copy(turned.column(fixed), turned.column(fixed) + free.elements.size(), free.elements.begin());
    factorise(free, ridge);
  }

  /// The unscaled unknowns of responses from `first` on, one column each.
  ///
  /// right   what the basis' factorisation made of the weighted responses; its first rows count
  Matrix solve(std::size_t first, const Matrix& right) const {
    const std::size_t unknowns = scale_.size();
    Matrix b(factorisation_.rows, right.columns);
    Matrix z(unknowns, right.columns);
    for (std::size_t r = 0; r < right.columns; ++r) {
      double* const column = b.column(r);
      std::copy_n(right.column(r), unknowns, column);
      if (exact_sample_) {
        const std::vector<double> fixed = fixed_->fixed(problem_.value(first + r, *exact_sample_));
        for (std::size_t j = 0; j < fixed.size(); ++j) {
          z(j, r) = fixed[j];
          for (std::size_t i = 0; i < unknowns; ++i) {
            column[i] -= fixed_columns_(i, j) * fixed[j];
          }
        }
      }
    }
    apply_transposed(factorisation_, b);
    solve_triangular(triangle_, b);
    const std::size_t fixed = unknowns - factorisation_.r.columns;
    for (std::size_t r = 0; r < b.columns; ++r) {
      std::copy_n(b.column(r), factorisation_.r.columns, z.column(r) + fixed);
    }
    Matrix x = exact_sample_ ? product(orthogonal_, z) : std::move(z);
    for (std::size_t r = 0; r < x.columns; ++r) {
      for (std::size_t j = 0; j < unknowns; ++j) {
        x(j, r) *= scale_[j];
      }
    }
    return x;
  }

 private:
  void factorise(const Matrix& columns, double ridge) {
    factorisation_ = numerics::factorise(with_ridge(columns, ridge));
    triangle_ = numerics::ordered_triangle(factorisation_.r);
  }

  const Problem& problem_;
  std::optional<std::size_t> exact_sample_;
  std::vector<double> scale_;
  std::optional<Constraint> fixed_;
  Matrix orthogonal_;
  Matrix fixed_columns_;
  OrthogonalFactorisation factorisation_;
  OrderedTriangle triangle_;
};

/// Weighted responses, which do not have the responses' own scales here: those scale the residues too.
void set_weighted(const Problem& problem, const SampleBlock& block, std::size_t first, std::size_t top,
                  Matrix& right) {
  for (std::size_t r = 0; r < right.columns; ++r) {
    set_block(
        block,
        [&](std::size_t k) { return problem.sample_weight(first + r, k) * problem.value(first + r, k); }, top,
        r, right);
  }
}

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
  const auto store = [&](std::size_t first, const Matrix& x) {
    for (std::size_t i = 0; i < x.columns; ++i) {
      const std::size_t r = first + i;
      const auto given = [&](auto in_unit) { return in_unit / problem.inverse_unit[r]; };
      Complex* const residues = model.residues.data() + r * n;
      residues_from_unknowns(poles, x.column(i), residues);
      std::transform(residues, residues + n, residues, [&](Complex c) { return given(c * problem.scale); });
      std::size_t j = n;
      if (problem.constant) {
        model.constants[r] = given(x(j++, i));
      }
      if (problem.proportional) {
        model.proportionals[r] = given(x(j, i) / problem.scale);
      }
    }
  };
  if (problem.has_own_weights()) {
    numerics::in_parallel(threads, problem.responses, [&](std::size_t, std::size_t begin, std::size_t end) {
      for (std::size_t r = begin; r < end; ++r) {
        FoldedBasis basis(problem, poles, r);
        Matrix right(basis.rows(), 1);
        while (basis.fold()) {
          set_weighted(problem, basis.block(), r, basis.columns(), right);
          basis.apply(right);
        }
        store(r, ResidueSystem(problem, poles, basis, exact_sample, ridge).solve(r, right));
      }
    });
    return model;
  }
  FoldedBasis basis(problem, poles, 0);
  std::vector<Matrix> groups;
  for (std::size_t first = 0; first < problem.responses; first += together) {
    groups.emplace_back(basis.rows(), std::min(together, problem.responses - first));
  }
  while (basis.fold()) {
    numerics::in_parallel(threads, groups.size(), [&](std::size_t, std::size_t begin, std::size_t end) {
      for (std::size_t group = begin; group < end; ++group) {
        set_weighted(problem, basis.block(), group * together, basis.columns(), groups[group]);
        basis.apply(groups[group]);
      }
    });
  }
  const ResidueSystem system(problem, poles, basis, exact_sample, ridge);
  for (std::size_t group = 0; group < groups.size(); ++group) {
    store(group * together, system.solve(group * together, groups[group]));
  }
  return model;
}

}  // namespace polefit
