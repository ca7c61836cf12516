/// What the values of a Touchstone text mean beyond what its option line says, and what is told of it.
#pragma once

#include <cstdint>
#include <string>

#include "polefit/network.hpp"
#include "polefit_io/network/touchstone/impedance_comments.hpp"
#include "polefit_io/network/touchstone/option_line.hpp"

namespace polefit_io {

/// What a text says of its values.
struct Told {
  const OptionLine& options;
  bool normalised;  ///< Y, Z, H and G, to R
  const ImpedanceComments& comments;
};

/// "file, line 7: sentence"; without a line when that is 0.
std::string warning(const std::string& file, std::int64_t line, const std::string& sentence);

/// Makes H and G what can be fitted, S that of the impedances which comments tell, and adds to the warnings
/// what has been done and what is doubtful.
void settle(polefit::Network& network, const Told& told);

}  // namespace polefit_io
