/// Networks from files of any format that polefit reads.
#pragma once

#include <string>
#include <string_view>

#include "polefit/network.hpp"

namespace polefit_io {

/// As polefit::network_from_text, but throws text::IoError.
polefit::Network network_of(std::string_view text, const std::string& file,
                            polefit::NetworkFormat format = polefit::NetworkFormat::by_name);

/// The same of `begun` and what is left to read of the open file. Touchstone is read block by block, anything
/// else whole.
polefit::Network network_of(int descriptor, std::string begun, const std::string& file,
                            polefit::NetworkFormat format = polefit::NetworkFormat::by_name);

}  // namespace polefit_io
