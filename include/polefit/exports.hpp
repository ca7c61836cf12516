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

/// A SPICE subcircuit with one terminal a port and a last one that is the reference of all, ground or any
/// other node. It is made of R, C, E, F, G, H and V with plain numbers of up to 17 digits only, in what the
/// grammars of the usual simulators have in common. It ends with a line end; no line is longer than 80
/// characters; the names of the subcircuit, of its nodes and its elements differ, in any case of letters.
///
/// Symbols: u_j input of port j, in volts: the port's voltage (Y), its current times its reference R_j (Z),
/// the incident part of its voltage, sqrt(R_j) a_j (S); z states; a = a' + j a'' a pole; C its residues.
/// A real pole has sets of one state, a pair of two, z = x1 - j x2:
///   z' = a z + |a| sum_j in_j u_j,   of which out_i z is added to output i, 2 Re(out_i z) of a pair.
/// Either there is a set for each input, which all outputs share, or, where that takes fewer elements, one
/// for each column of left and row of right, C = left right: as many as the rank of C. At a pole at 0 the
/// rank always decides, since any further state would join ports at 0 Hz that C does not join. What factors
/// lack changes no element of the matrix at a real frequency by more than a hundredth of its error (root mean
/// square) that the model's origin tells, and none at 0 Hz, where the constants make up for it. It is only
/// rounding without an origin, at poles on the imaginary axis, and where a model that is certified to be
/// passive would not be so any more (which is asked with `passivity`, for poles^2 times responses up to
/// 10^9).
///
/// Each state is the voltage of a capacitor 1 / |a|, so that states are about as large as u (up to the
/// quality factor times as large at resonance), and every conductance about 1, whatever the unit of time.
/// Poles at 0 and in the right half-plane are realised as they are. Proportional terms take the current of a
/// capacitor on which u is impressed. The circuit makes no noise that could be told from none: conductances
/// are sources of their own voltage, and the only resistors, of 10^15 ohms, give simulators that count such
/// sources as open a way for direct current.
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

/// Makes bytes of the caller's own a file, as all exports are written. Throws Error (bad_network_file).
POLEFIT_EXPORT void write_export(const std::string& file, const std::string& content);

}  // namespace polefit
