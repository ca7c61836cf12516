/// The zeros of the weighting function, which are the poles of the next relocation.
#pragma once

#include <vector>

#include "polefit/problem/pole_basis.hpp"

namespace polefit {

/// Mirrors poles of the right half-plane into the left one. A pole on the axis moves off it by what rounding
/// would.
void move_left(Poles& poles);

/// The zeros of sigma = d + sum c_i phi_i, mirrored into the left half-plane if `stable`: the eigenvalues of
/// A - b c^T / d for the real state space A, b of the poles. Pairs stand side by side and are exactly
/// conjugate. No zero is farther than 1e10 from the origin; a d of less than 1e-8 in size, with which zeros
/// go to infinity, counts as 1e-8 of its sign.
///
/// unknowns   c_i of the basis functions of the poles (pole_basis.hpp), then d: one more than poles
///
/// Throws Error (numerical_breakdown) when something overflows.
Poles zeros_of(const std::vector<double>& unknowns, const Poles& poles, bool stable);

}  // namespace polefit
