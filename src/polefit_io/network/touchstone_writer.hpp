/// Networks as Touchstone text.
#pragma once

#include <string>

#include "polefit/network.hpp"

namespace polefit_io {

/// As polefit::touchstone_text, but throws text::IoError.
std::string touchstone_of(const polefit::Network& network, const polefit::TouchstoneOptions& options = {});

}  // namespace polefit_io
