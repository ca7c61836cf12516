/// Poles beyond the band, whose tails can be traded for what the others do there.
#pragma once

#include <cstddef>

#include "polefit/passivity/scaled_model.hpp"

namespace polefit {

/// There are none at stage 0.
inline constexpr int room_stages = 2;

/// Pairs of a stage: the second has two below the band as well, where that does not begin near 0.
std::size_t room_pairs(int stage, double lowest, double highest);

/// The model with the pairs of a stage, without residues, behind its own poles.
ScaledModel with_room_poles(const ScaledModel& model, int stage, double lowest, double highest);

}  // namespace polefit
