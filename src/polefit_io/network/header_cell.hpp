/// What the cells in the header of a table of frequency responses mean.
///
/// The first cell is "f", "freq" or "frequency", with a unit behind it if that is not hertz: "freq (GHz)",
/// "f_MHz", "Frequency [kHz]". Any other cell holds one part of a response, and is its name with a word for
/// the part, all words in either case:
///
///   name and word     S11 re   S11_re   S11 (re)   re S11   re_S11   re(S11)   |S11|   or the word alone
///   real part         re, real
///   imaginary part    im, imag, imaginary
///   magnitude         mag, magnitude, abs, or bars; in decibels: dB, also behind one of these
///   phase             phase, arg, ang, angle; in degrees, also: deg; in radians: rad, also behind one of
///   these
///
/// A word behind the name is looked for first. Brackets may be round, square or curly.
#pragma once

#include <optional>
#include <string_view>

namespace polefit_io {

enum class Part { real, imaginary, magnitude, decibels, degrees, radians };

struct PartOfResponse {
  Part part = Part::real;
  std::string_view name;  ///< within the cell; empty for a word alone
};

/// `cell` without blanks at its ends. Nothing when it is not of the form above.
std::optional<PartOfResponse> part_of_response(std::string_view cell);

/// The unit of frequency as a power of ten hertz; nothing when `cell` is no heading of frequencies.
std::optional<int> frequency_power(std::string_view cell);

}  // namespace polefit_io
