/// What is done with poles that have been found.
#pragma once

#include "polefit/fit.hpp"
#include "polefit/problem/problem.hpp"

namespace polefit {

/// The model of all of the caller's responses, from that of the different ones.
Model expanded(const Problem& problem, Model model);

/// Throws Error (numerical_breakdown) for a model with a number that is not finite.
void check_finite(const Model& model);

/// The model of data of zeros: no poles, and constants of 0.
Fit fit_of_zeros(const NetworkData& data);

/// The errors of the model, in the report and as its origin.
void add_errors(const NetworkData& data, Fit& fit);

}  // namespace polefit
