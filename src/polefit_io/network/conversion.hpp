/// Values of a network made those of another kind of parameters.
#pragma once

#include <complex>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "polefit/network.hpp"

namespace polefit_io {

/// Writes the impedance of each port at a sample.
using ImpedancesAt = std::function<void(std::size_t sample, std::vector<std::complex<double>>& impedances)>;

/// Those of the network: that vary, where they do and are known, or else the references.
ImpedancesAt impedances_of(const polefit::Network& network);

/// Replaces the values of the whole matrix, whose elements stand row by row, from parameters S, Y, Z, H or G
/// to such ones; see polefit/model/port_parameters.hpp. Neither names nor matrix are changed. Where there are
/// none the values are of no use, and the result tells the frequency: "no Z parameters at 5 Hz, where ...".
std::optional<std::string> convert_values(polefit::Network& network, char from, char to,
                                          const ImpedancesAt& from_impedances,
                                          const ImpedancesAt& to_impedances);

/// Gives the matrix that parameter, and the responses their names.
void rename(polefit::Network& network, char parameter);

}  // namespace polefit_io
