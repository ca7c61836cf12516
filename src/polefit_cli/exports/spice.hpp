/// Circuits that behave as a model does.
#pragma once

#include <string>

#include "polefit/model.hpp"

namespace polefit_cli {

/// A SPICE subcircuit with one terminal a port and a last one that is the reference of all, made of R, C, E,
/// F, G and V with plain numbers of 17 digits only, as ngspice and its relatives read them. It ends with a
/// line end; no line is longer than 80 characters.
///
/// Symbols: u_j input of port j, in volts: the port's voltage (Y), its current times its reference R_j (Z),
/// the incident part of its voltage, sqrt(R_j) a_j (S); x states; a = a' + j a'' a pole; c its residue.
/// For each input there is one state a real pole and two a pair, which all outputs share:
///   x' = a x + |a| u,                              output c / |a| x
///   x1' = a' x1 + a'' x2 + |a| u, x2' = -a'' x1 + a' x2,   output 2 c' / |a| x1 + 2 c'' / |a| x2
/// Each is the voltage of a capacitor 1 / |a|, so that states are about as large as u (up to the quality
/// factor times as large at resonance), and every conductance about 1, whatever the unit of time. Poles at 0
/// and in the right half-plane are realised as they are. Proportional terms take the current of a capacitor
/// on which u is impressed.
///
/// name  a letter, then letters, digits and underscores; at most 64
/// Throws polefit::Error: bad_option for another name; bad_shape as polefit::state_space, when the model is
/// not the whole matrix of a network (see full_matrix.hpp), or when an element's value is beyond the range of
/// a double.
std::string spice_subcircuit(const polefit::Model& model, const std::string& name);

/// Makes a model of one response that of a one-port. Throws polefit::Error: bad_shape when there are more
/// responses, or when the model says that it is of another parameter; bad_option when the parameter is none
/// of S, Y and Z, or the reference not a positive number.
void declare_one_port(polefit::Model& model, char parameter, double reference);

}  // namespace polefit_cli
