/// The coefficient file of S_Solver for one response of a model.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "polefit/model.hpp"

namespace polefit_cli {

/// The whole file, on the axis s' = s / wnorm, wnorm being 2 pi times the highest frequency in hertz. The
/// band and number of samples in the last record are those of the model's origin, and 0 without one.
/// response           counted from 0
/// highest_frequency  when given, stands in place of the origin's
/// Throws polefit::Error: bad_option when there is no such response, when neither the model nor the caller
/// has a highest frequency, or when it leads beyond the range of a double; bad_shape as polefit::evaluate.
std::string s_solver_coefficients(const polefit::Model& model, std::size_t response,
                                  std::optional<double> highest_frequency = std::nullopt);

}  // namespace polefit_cli
