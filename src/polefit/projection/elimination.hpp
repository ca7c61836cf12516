/// Which poles of a fit can be spared.
#pragma once

#include <vector>

#include "polefit/projection/projection.hpp"

namespace polefit {

/// Some of the poles of a projection, and its error with these alone, without moving them.
struct FewerPoles {
  Poles poles;
  double error = 0.0;
};

/// The projection's poles, then with one real pole or pair less after the other, down to none: each time
/// those whose loss raises the square of the error least, per pole. With S = U^-1 U^-T of the scaled basis
/// and the coefficients X, leaving out the columns g adds tr(X_g^T (S_gg)^-1 X_g); the sweep of g then gives
/// S and X of the rest (Goodnight, "A tutorial on the SWEEP operator", The American Statistician 33(3),
/// 1979). Of two nearly equal poles one costs little here, however large their residues.
std::vector<FewerPoles> eliminate_poles(const Projection& projection);

}  // namespace polefit
