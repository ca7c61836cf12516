/// One relocation of the poles: the shared weighting function sigma, whose zeros (zeros.hpp) are the next
/// ones.
///
/// For all responses together sigma f_r ~ sum c_{r,i} phi_i + d_r + s h_r with sigma = d + sum c_i phi_i,
/// under the relaxed constraint that the real part of sigma is 1 in the mean (Gustavsen, "Improving the pole
/// relocating properties of vector fitting", IEEE Trans. Power Delivery 21(3), 2006).
#pragma once

#include <memory>
#include <optional>

#include "polefit/problem/pole_basis.hpp"
#include "polefit/problem/problem.hpp"
#include "polefit/relocation/sigma.hpp"

namespace polefit {

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

  /// Nothing when the equations are too ill-conditioned to be trusted, or not for such poles: some that are
  /// not in the left half-plane.
  ///
  /// With a `ridge` above 0 it is added to the diagonals of the normal matrices, scaled to ones, and raised
  /// by factors of 100 up to 1e-8 where they are not positive definite; conditions are no reason to refuse
  /// then. Poles are as good where the residual is well above rounding: on real data such relocations led
  /// searches to the same errors as orthogonal ones.
  std::optional<Sigma> solve(const Poles& poles, double ridge = 0.0);

 private:
  class Equations;
  std::unique_ptr<Equations> equations_;
};

/// By orthogonal factorisations, one of the basis and one for each response.
Sigma solve_sigma_orthogonally(const Problem& problem, const Poles& poles, int threads);

}  // namespace polefit
