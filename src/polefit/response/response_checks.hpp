/// What responses over time refuse. All throw Error.
#pragma once

#include <cstddef>
#include <span>

#include "polefit/time_response.hpp"

namespace polefit {

/// A model that is no whole matrix, or with faults, and times that do not rise.
void check_for_response(const Model& model, std::span<const double> times);

/// A number of waveforms that is not that of the ports, and waveforms with faults; `what` they are called.
void check_waveforms(std::span<const Waveform> waveforms, std::size_t ports, const char* what);

/// A jump at that port, counted from 0, which a term proportional to s would make an impulse.
[[noreturn]] void refuse_jump(std::size_t port);

/// Values, those of the first port first, that are not finite.
void refuse_overflow(const Model& model, std::span<const double> values, std::span<const double> times);

}  // namespace polefit
