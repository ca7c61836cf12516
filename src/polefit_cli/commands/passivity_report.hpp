/// What was found of a model's passivity, in full.
#pragma once

#include <cstddef>
#include <string>

#include "polefit/model.hpp"
#include "polefit/passivity.hpp"

namespace polefit_cli {

/// Intervals that are listed unless all are wanted.
inline constexpr std::size_t most_intervals = 20;

/// Whether it is passive, the limit, what comes nearest to it or goes beyond, how that was decided, and where
/// it is not passive: of more than `most` intervals the worst, by rising frequency. The model has a matrix.
std::string passivity_report(const polefit::Model& model, const polefit::Passivity& passivity,
                             const std::string& file, std::size_t most);

/// One line for a picture.
std::string passivity_verdict(const polefit::Passivity& passivity);

}  // namespace polefit_cli
