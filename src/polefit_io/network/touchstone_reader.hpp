/// Networks from Touchstone files, versions 1.x and 2.0.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "polefit/network.hpp"

namespace polefit_io {

/// The network of a file's whole text: S, or Y in siemens or Z in ohms, all elements row by row.
/// `file` is the name for messages; `ports` is what ports_of_extension says. Without it, the lines of the
/// first frequency tell the ports of a text of version 1.x.
///
/// Version 1.x: Y and Z are normalised to the reference R, and are multiplied out. R may have one value or
/// one for each port, in which case element (i, j) is normalised to sqrt(R_i R_j). The data of a frequency
/// stand on one line for one port and two, and are wrapped at will for more. Noise data are skipped.
///
/// Throws text::IoError for anything that is not such a text, and for G, H and mixed-mode parameters and
/// complex references. Takes memory in proportion to the text, whatever number of ports it claims.
polefit::Network read_touchstone(std::string_view text, const std::string& file,
                                 std::optional<std::size_t> ports);

}  // namespace polefit_io
