/// One relocation of the poles: the shared weighting function sigma, and its zeros.
///
/// For all responses together sigma f_r ~ sum c_{r,i} phi_i + d_r + s h_r with sigma = d + sum c_i phi_i,
/// under the relaxed constraint that the real part of sigma is 1 in the mean (Gustavsen, "Improving the pole
/// relocating properties of vector fitting", IEEE Trans. Power Delivery 21(3), 2006).
#pragma once

#include <memory>
#include <vector>

#include "polefit/problem/pole_basis.hpp"
#include "polefit/problem/problem.hpp"

namespace polefit {

struct Sigma {
  std::vector<double> unknowns;  ///< of the basis functions, then the constant d
  double residual = 0.0;         ///< norm of the weighted residual over that of the data
  /// Reciprocal, of the scaled normal matrix of the basis, the least one where responses have weights of
  /// their own; 0 when not known.
  double condition_basis = 0.0;
  double condition_sigma = 0.0;  ///< likewise of the equations for sigma
  /// How many times more than rounding the products of basis functions are off, relative to their size; the
  /// condition does not show it.
  double loss = 1.0;
};

/// By normal equations whose elements come from Cauchy sums, with the unknowns of each response eliminated
/// (Deschrijver, Mrozowski, Dhaene, De Zutter, "Macromodeling of multiport systems using a fast
/// implementation of the vector fitting method", IEEE MWCL 18(6), 2008). Keeps its working memory from
/// relocation to relocation.
class CauchyRelocation {
 public:
  CauchyRelocation(const Problem& problem, int threads);
  CauchyRelocation(const CauchyRelocation&) = delete;
  CauchyRelocation& operator=(const CauchyRelocation&) = delete;
  ~CauchyRelocation();

  /// Returns false when the equations are too ill-conditioned to be trusted, or not for such poles: some that
  /// are not in the left half-plane.
  bool solve(const Poles& poles, Sigma& sigma);

 private:
  struct Memory;
  const Problem& problem_;
  int threads_;
  std::unique_ptr<Memory> memory_;
};

/// By orthogonal factorisations, one of the basis and one for each response.
Sigma solve_sigma_orthogonally(const Problem& problem, const Poles& poles, int threads);

/// Mirrors poles of the right half-plane into the left one.
void move_left(Poles& poles);

/// The zeros of sigma, mirrored into the left half-plane if `stable`.
Poles zeros_of(const Sigma& sigma, const Poles& poles, bool stable);

}  // namespace polefit
