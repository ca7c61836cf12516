/// Networks as Touchstone text.
#pragma once

#include <string>

#include "polefit/network.hpp"

namespace polefit_io {

/// As polefit::touchstone_text of a network that agrees with itself and options that there are, but throws
/// text::IoError. The network may have H or G parameters, its elements then row by row.
std::string touchstone_of(const polefit::Network& network, const polefit::TouchstoneOptions& options = {});

}  // namespace polefit_io
