/// Planes that every passive model is behind, and the model nearest to the data behind all of them.
///
/// At a frequency omega with singular vectors u, v of a singular value above 1, every passive model has
/// Re(u^H H(j omega) v) <= 1 (Kelley, "The cutting-plane method for solving convex programs", J. SIAM 8,
/// 1960). Unknowns of a model are never formed into one vector: of two planes with matrices c_k = conj(u) v^T
/// and p_k = R^-T phi, the product of the normals is
///
///   Re[(c_k . c_l)(p_k . p_l) + (c_k . conj c_l)(p_k . conj p_l)] / 2.
#pragma once

#include <complex>
#include <cstddef>
#include <vector>

#include "numerics/nonnegative_minimum.hpp"
#include "polefit/passivity/harm.hpp"
#include "polefit/passivity/scaled_model.hpp"

namespace polefit {

/// A measure of a model with the vectors that belong to it: it is Re(sum c_ij H_ij) + offset.
struct Peak {
  double omega = 0.0;
  double measure = 0.0;
  std::vector<std::complex<double>> c;  // by columns
  double offset = 0.0;                  // of the least eigenvalue of Y and Z
};

/// All measures above the limit at a frequency, the largest first; with `symmetric` their c are symmetric.
std::vector<Peak> peaks_at(const ScaledModel& model, double omega, double limit, bool symmetric);

/// The normal of a plane in the coordinates of a Harm, by what it is made of.
struct Normal {
  std::vector<std::complex<double>> c;  ///< by columns, over the weights
  std::vector<std::complex<double>> p;
};

double product(const Normal& a, const Normal& b);

/// How hard each plane holds back what is nearest behind all of them, 0 where it does not.
///
/// products    of the normals, each of length 1
/// distances   of the centre beyond the planes
/// start       multipliers to begin with, one for each plane, or none
numerics::NonnegativeMinimum multipliers_of(const Matrix& products, const std::vector<double>& distances,
                                            const std::vector<double>& start);

class Planes {
 public:
  /// `harm` must outlive it. No measure is to be above the limit.
  Planes(const Harm& harm, double limit) : harm_(harm), limit_(limit) {}

  double limit() const { return limit_; }
  bool empty() const { return planes_.empty(); }
  std::size_t size() const { return planes_.size(); }
  void add(const std::vector<Peak>& peaks);

  /// The nearest coefficients behind all planes, each moved inwards by what `inwards` says of its frequency.
  template <typename Inwards>
  Matrix nearest(const Inwards& inwards) {
    std::vector<double> distances;
    for (const Plane& plane : planes_) {
      distances.push_back((plane.distance + inwards(plane.omega)) / plane.length);
    }
    return nearest_beyond(distances);
  }

  /// That it took so far to find what is nearest, roughly.
  double operations() const { return operations_; }

  /// Those that hold back what was the nearest last; their measures are the limit.
  std::vector<Peak> holding() const;

  /// Drops planes that have not held anything for some rounds.
  void drop_idle();

 private:
  struct Plane {
    Normal normal;
    double length = 1.0;
    double distance = 0.0;  // of the centre beyond it, times the length
    double offset = 0.0;
    double omega = 0.0;
    bool held = false;  // something since idle planes were dropped last
    int idle = 0;       // times that it had not
  };

  Plane plane_of(const Peak& peak) const;
  Matrix nearest_beyond(const std::vector<double>& distances);

  const Harm& harm_;
  double limit_;
  std::vector<Plane> planes_;
  std::vector<double> multipliers_;
  Matrix products_;
  double operations_ = 0.0;
};

}  // namespace polefit
