/// Networks as Touchstone text.
#pragma once

#include <string>

#include "polefit_cli/network/network.hpp"
#include "polefit_cli/network/touchstone_format.hpp"

namespace polefit_cli {

struct TouchstoneOptions {
  ComplexFormat format = ComplexFormat::ri;
  FrequencyUnit unit = FrequencyUnit::hz;
  int version = 1;  ///< or 2, for 2.0; which is also written where the ports' references differ
};

/// The whole text of a file. Frequencies in any unit, and values as real and imaginary part, read back to the
/// same bits; as magnitude and angle they are rounded, and the decibels of zero are written as -9999.
///
/// Version 1 holds one reference for all ports. Its Y and Z are normalised to R 1, which leaves the values in
/// siemens and ohms as they are, and holds the references of a Y or Z network in no other place.
///
/// Throws s_solver::IoError, in the name of the network's file, for what no such text can hold: responses
/// that are not each element of a matrix once, references that are not finite and above 0, no frequencies,
/// frequencies that decrease or are not finite and at least 0, values that are not finite, or whose magnitude
/// is not where it is to be written.
std::string touchstone_text(const Network& network, const TouchstoneOptions& options = {});

}  // namespace polefit_cli
