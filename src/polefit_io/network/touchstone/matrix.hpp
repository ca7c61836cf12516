/// Networks from the values that a Touchstone text holds.
#pragma once

#include <complex>
#include <string>

#include "polefit/network.hpp"
#include "polefit_io/network/touchstone/option_line.hpp"
#include "polefit_io/network/touchstone/records.hpp"

namespace polefit_io {

/// Of a magnitude and an angle in degrees; at multiples of 90 degrees one part is exactly zero.
std::complex<double> from_polar(double magnitude, double degrees);

/// Of the two numbers that stand for it in a format.
std::complex<double> complex_value(polefit::ComplexFormat format, double first, double second);

/// What a normalised impedance of that element is to be multiplied with, and an admittance divided by: the
/// reference of the port, sqrt(R_i R_j) between unequal ones. `references` are in ohms, one a port.
double normalisation(const polefit::MatrixElement& element, const std::vector<double>& references);

/// The network of all elements, row by row: S, or Y in siemens or Z in ohms, which in the text are
/// normalised if `normalised`. `options` have one reference or one for each port of the data. Throws
/// text::IoError for a value beyond a double's range.
polefit::Network network_of(const RawData& data, const OptionLine& options, bool normalised,
                            const std::string& file);

}  // namespace polefit_io
