/// Networks as Touchstone text.
#pragma once

#include <string>

#include "polefit/network.hpp"

namespace polefit_io {

/// As polefit::touchstone_text of a network that agrees with itself and options that there are, but throws
/// text::IoError.
std::string touchstone_of(const polefit::Network& network, const polefit::TouchstoneOptions& options = {});

}  // namespace polefit_io
