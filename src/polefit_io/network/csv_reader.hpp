/// Networks from tables of values with separators (CSV).
#pragma once

#include <string>

#include "polefit/network.hpp"
#include "text/streamed_lines.hpp"

namespace polefit_io {

/// The network of a table; `file` is what messages show. All values are in memory once, and of the text a
/// line.
///
/// The first line names the columns (header_cell.hpp): the frequency, then two columns a response, its real
/// and imaginary part, magnitude and phase, or magnitude in dB and phase, in either order. Every other line
/// is a sample. Semicolons separate the columns if the header has some, else commas, else tabs; those within
/// quotes or brackets do not count. Blanks beside a cell are ignored, and so are blank lines, and lines that
/// begin with '#' or '!' before the header. A name may be within double quotes, which stand twice where they
/// are meant. A single response without a name is called "f".
///
/// When every name means an element of one and the same matrix (polefit/network_matrix.hpp), the network has
/// a matrix and its names are those of element_name. It has as many ports as the largest number in a name,
/// not every element need be there, and the references, which a table does not tell, are 50 ohms each.
///
/// Throws text::IoError for anything else: lines with more or fewer cells, cells that are not finite
/// numbers, negative frequencies and magnitudes, names twice, or that are not UTF-8, and tables without
/// samples.
polefit::Network read_csv(text::StreamedLines& lines, const std::string& file);

}  // namespace polefit_io
