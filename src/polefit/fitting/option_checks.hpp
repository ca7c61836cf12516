/// What a fit refuses of its options.
#pragma once

#include <cstddef>

#include "polefit/network_data.hpp"
#include "polefit/options.hpp"

namespace polefit {

/// Throws Error (bad_option) for a choice outside its range, whatever the data are.
void check_options(const Options& options);

/// Throws Error for what the data are too small for: bad_option for an exact sample that they have not,
/// too_many_unknowns for that many poles and the terms of the options; and bad_shape for data too large to be
/// counted.
void check_sizes(std::size_t samples, std::size_t responses, std::size_t poles, const Options& options);

/// The number of poles that options ask for, SIZE_MAX where that is more.
std::size_t order_of(const Options& options);

/// Throws Error (bad_option) for an exact sample that no model with so many poles can meet: without a pole
/// and a constant, with an imaginary part at 0 Hz, or with another value there beside it. The data are
/// checked.
void check_exact_sample(const NetworkData& data, const Options& options, std::size_t poles);

}  // namespace polefit
