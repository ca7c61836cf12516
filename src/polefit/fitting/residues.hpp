/// Residues, constant and proportional term of every response for given poles.
#pragma once

#include <optional>

#include "polefit/model.hpp"
#include "polefit/problem/pole_basis.hpp"
#include "polefit/problem/problem.hpp"

namespace polefit {

/// One orthogonal factorisation of the scaled basis for all responses (one for each where they have weights
/// of their own). With `exact_sample` the model takes every response's value at that sample; at 0 Hz only the
/// real part can be taken, a model being real there. `poles` are scaled as the problem is; the model is in
/// rad/s and has no names. Responses are those of the problem. A `ridge` above 0 bounds the scaled
/// coefficients by the error over the ridge.
Model identify_residues(const Problem& problem, const Poles& poles, std::optional<std::size_t> exact_sample,
                        int threads, double ridge = 0.0);

}  // namespace polefit
