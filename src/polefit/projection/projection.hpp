/// The least squares fit of a pole set: what its poles can do when residues, constants and proportional terms
/// are the best for them.
///
/// With N poles, T = N + the number of terms, M samples and R responses that share their weights, Phi the
/// weighted basis functions as 2 M x T, its columns scaled to norm 1, and F the weighted responses as 2 M x
/// R:
///
///   [Phi; delta I] = Q [U; 0],   Q^T [F; 0] = [C; E],   X = U^-1 C,
///
/// with E the 2 M rows below. |E|^2 is the least value of |F - Phi X|^2 + delta^2 |X|^2, so that no element
/// of X is larger than |E| / delta: poles far out of the band cannot act as a polynomial whose terms cancel.
/// Responses that have weights of their own have a factorisation each. Q and E are not kept.
#pragma once

#include <cstddef>
#include <vector>

#include "numerics/matrix.hpp"
#include "polefit/problem/pole_basis.hpp"
#include "polefit/problem/problem.hpp"

namespace polefit {

using numerics::Matrix;

/// Responses that share their weights.
struct ProjectedGroup {
  std::size_t first = 0;      ///< response
  std::size_t count = 0;      ///< of responses
  std::vector<double> scale;  ///< T: what the columns of the basis are multiplied with
  Matrix triangle;            ///< T x T: U
  Matrix coefficients;        ///< T x R: X
};

class Projection {
 public:
  /// The problem must outlive it.
  Projection(const Problem& problem, Poles poles, double delta);

  const Problem& problem() const { return *problem_; }
  const Poles& poles() const { return poles_; }
  double delta() const { return delta_; }
  const std::vector<ProjectedGroup>& groups() const { return groups_; }
  /// |E| over the norm of the data.
  double error() const { return error_; }
  /// F - Phi X: weighted, one response after the other.
  std::vector<Complex> residual() const;

 private:
  const Problem* problem_;
  Poles poles_;
  double delta_;
  std::vector<ProjectedGroup> groups_;
  double error_ = 0.0;
};

/// The weighted residuals of the coefficients of one projection on another problem with as many responses and
/// the same terms.
std::vector<Complex> residual_on(const Problem& problem, const Projection& projection);
/// Their squares, summed over the responses: one for each sample.
std::vector<double> squared_residuals_on(const Problem& problem, const Projection& projection);

}  // namespace polefit
