/// Waveforms from a table.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "polefit/time_response.hpp"

namespace polefit_cli {

/// The waveforms in a table: on each line a time in seconds and the values of one or more waveforms at it,
/// in volts, with blanks, commas or semicolons between. A first line that does not begin with a number is a
/// header; empty lines and comments, which begin with # or !, do not count. Two lines of the same time are a
/// jump. Throws text::IoError with file and line for anything else: other numbers of columns, what is no
/// finite number, times that go back.
std::vector<polefit::Waveform> read_waveforms(std::string_view content, const std::string& file);

}  // namespace polefit_cli
