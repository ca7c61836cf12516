/// Models for other programs: circuit simulators, system simulation, S_Solver's readers.
///
/// Files are written whole: until then one of that name is the old one.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "polefit/export.hpp"
#include "polefit/model.hpp"

namespace polefit {

/// Whether it can name a subcircuit: a letter, then letters, digits and underscores, at most 64 in all.
POLEFIT_EXPORT bool is_subcircuit_name(std::string_view name);

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
/// Throws Error: bad_option for a name that is_subcircuit_name refuses; bad_shape as check, when the
/// model is not the whole matrix of a network, or when a number of its own or an element's value is not
/// finite.
POLEFIT_EXPORT std::string spice_subcircuit(const Model& model, const std::string& name);

/// Writes spice_subcircuit to a file. Throws Error, also bad_network_file.
POLEFIT_EXPORT void write_spice(const Model& model, const std::string& file, const std::string& name);

/// x' = A x + B u, y = C x + D u + E u' as text with 17 digits. Lines that begin with % are comments; each
/// matrix is a line "# A 4 x 4" and its rows, each a line of numbers with blanks between them. A matrix
/// without elements has no rows. The matrices are those of port_state_space when the model is the whole
/// matrix of a network, else those of state_space. Throws Error (bad_shape) as check, for numbers
/// that are not finite, and for more than 10,000 states.
POLEFIT_EXPORT std::string state_space_text(const Model& model);

/// Writes state_space_text to a file. Throws Error, also bad_network_file.
POLEFIT_EXPORT void write_state_space(const Model& model, const std::string& file);

/// S_Solver's coefficient file for one response: the whole text, on the axis s' = s / wnorm, wnorm being 2 pi
/// times the highest frequency in hertz. The band and number of samples in the last record are those of the
/// model's origin, and 0 without one.
/// response           counted from 0
/// highest_frequency  when given, stands in place of the origin's
/// Throws Error: bad_option when there is no such response, when neither the model nor the caller has a
/// highest frequency, or when it leads beyond the range of a double; bad_shape as check_shape, and for
/// numbers of the model that are not finite.
POLEFIT_EXPORT std::string s_solver_coefficients(const Model& model, std::size_t response,
                                                 std::optional<double> highest_frequency = std::nullopt);

/// Writes s_solver_coefficients to a file. Throws Error, also bad_network_file.
POLEFIT_EXPORT void write_s_solver_coefficients(const Model& model, const std::string& file,
                                                std::size_t response,
                                                std::optional<double> highest_frequency = std::nullopt);

}  // namespace polefit
