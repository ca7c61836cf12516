/// Networks from Touchstone files, versions 1.x, 2.0 and 2.1.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "polefit/network.hpp"
#include "text/streamed_lines.hpp"

namespace polefit_io {

/// The network of a file's whole text: S, or Y in siemens or Z in ohms, all elements row by row.
/// `file` is the name for messages; `ports` is what ports_of_extension says. Without it, the lines of the
/// first frequency tell the ports of a text of version 1.x.
///
/// Version 1.x: Y and Z are normalised to the reference R, and are multiplied out. R may have one value or
/// one for each port, in which case element (i, j) is normalised to sqrt(R_i R_j). The data of a frequency
/// stand on one line for one port and two, and are wrapped at will for more. Noise data are skipped.
///
/// H and G become the one of Y and Z that is farther from being singular, S where neither exists. Mixed modes
/// keep their order in the matrix. Comments about port impedances (touchstone/impedance_comments.hpp) hold in
/// place of R: where they are constant to 1e-3, S is referred to their mean resistances; where not, S stays
/// as it is. What is chosen, and what is doubtful, is told in the network's warnings.
///
/// Throws text::IoError for anything that is not such a text. Takes memory in proportion to the text,
/// whatever number of ports it claims, and little beside the values.
polefit::Network read_touchstone(text::StreamedLines& text, const std::string& file,
                                 std::optional<std::size_t> ports);

/// The same of a text in memory.
polefit::Network read_touchstone(std::string_view text, const std::string& file,
                                 std::optional<std::size_t> ports);

}  // namespace polefit_io
