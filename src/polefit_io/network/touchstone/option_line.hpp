/// The option line of a Touchstone text: "# GHz S MA R 50".
#pragma once

#include <string_view>
#include <vector>

#include "polefit/network.hpp"
#include "polefit_io/network/touchstone/place.hpp"

namespace polefit_io {

/// What the option line says; without one, what it stands for.
struct OptionLine {
  polefit::FrequencyUnit unit = polefit::FrequencyUnit::ghz;
  char parameter = 'S';
  polefit::ComplexFormat format = polefit::ComplexFormat::ma;
  std::vector<double> references{50.0};  ///< in ohms: one, or one for each port
};

/// What stands in `line` behind the '#'. Throws text::IoError for words that are no options, options of one
/// kind twice, and references that are no positive resistances.
OptionLine read_option_line(std::string_view line, const TouchstonePlace& place);

/// A reference in ohms, finite and above 0. Throws text::IoError for anything else.
double reference_resistance(std::string_view word, const TouchstonePlace& place);

}  // namespace polefit_io
