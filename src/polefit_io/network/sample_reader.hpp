/// Networks of one response from S_Solver's sample files.
#pragma once

#include <string>
#include <string_view>

#include "polefit/network.hpp"

namespace polefit_io {

/// The samples in `text` as one response named "f"; `file` is what messages show. Each sample is a
/// free-format read (text/free_format_reader.hpp) of frequency in hertz, real and imaginary part, and an
/// incomplete one at the end is left out, as S_Solver does it. Throws text::IoError for what is no such
/// number, for numbers that are not finite, negative frequencies, a text without samples, and one of two
/// values on every line.
polefit::Network read_samples(std::string_view text, const std::string& file);

}  // namespace polefit_io
