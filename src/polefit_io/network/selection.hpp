/// Some responses of a network instead of all.
#pragma once

#include <span>
#include <string>

#include "polefit/network.hpp"

namespace polefit_io {

/// As polefit::select_responses, but throws text::IoError.
polefit::Network chosen_responses(const polefit::Network& network, std::span<const std::string> wanted);

}  // namespace polefit_io
