/// Parameters of a network made of those of another kind, and of other references.
#pragma once

#include <span>

#include "polefit/export.hpp"
#include "polefit/network.hpp"

namespace polefit {

/// The network of S, Y (in siemens) or Z parameters (in ohms), at the references that it has. S is that of
/// power waves (K. Kurokawa, "Power waves and the scattering matrix", 1965), and where it refers to
/// impedances that vary, Y and Z are made with those. Throws Error, with the network's file in front:
/// bad_shape as check and unless the responses are a whole matrix; bad_option for another parameter, and for
/// references that vary and are not known; numerical_breakdown, with the frequency, where there are no such
/// parameters, as Z of a series element.
POLEFIT_EXPORT Network converted(const Network& network, char parameter);

/// The network at other references in ohms, one or one for each port or mode: S renormalised, of Y and Z the
/// references alone. Throws Error as `converted`, and bad_option for references that are none or not as many.
POLEFIT_EXPORT Network renormalised(const Network& network, std::span<const double> references);

/// H or G parameters of a two-port, (V1, I2) = H (I1, V2) and (I1, V2) = G (V1, I2) in
/// volts and amperes, as responses of no matrix with names such as H21. Throws Error as `converted`, and
/// bad_shape unless there are two ports.
POLEFIT_EXPORT Network hybrid(const Network& network, char parameter);

}  // namespace polefit
