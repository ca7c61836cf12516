/// The passive model that is nearest to data, with the poles as they are.
///
/// Passive models with given poles are a convex set, and the distance is a convex quadratic function. At a
/// frequency omega with singular vectors u, v of a singular value above 1, every passive model has Re(u^H H(j
/// omega) v) <= 1: a plane that cuts off the model at hand (Kelley, "The cutting-plane method for solving
/// convex programs", J. SIAM 8, 1960). The nearest model behind all planes so far is found, and cut off
/// again, until none is left to be cut; its distance is a lower bound of that of any passive one. The
/// unknowns of a model are never formed into one vector: of two cuts with matrices c_k = conj(u) v^T and p_k
/// = R^-T phi, the product of their normals is
///
///   Re[(c_k . c_l)(p_k . p_l) + (c_k . conj c_l)(p_k . conj p_l)] / 2.
#pragma once

#include <cstddef>

#include "polefit/passivity/harm.hpp"
#include "polefit/passivity/scaled_model.hpp"

namespace polefit {

struct NearestPassive {
  ScaledModel model;
  bool certified = false;  ///< passive, with no tolerance
  double error = 0.0;      ///< in the band
  double bound = 0.0;  ///< no passive model with these poles has a smaller distance, outside rows included
  std::size_t rounds = 0;
};

/// symmetric   keeps the matrix symmetric
/// margin      by which singular values stay below 1 (eigenvalues above 0, in units of the scale)
/// most        rounds
NearestPassive nearest_passive(const ScaledModel& model, const Harm& harm, bool symmetric, double margin,
                               std::size_t most);

}  // namespace polefit
