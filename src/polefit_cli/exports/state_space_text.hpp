/// State-space matrices of a model as text.
#pragma once

#include <string>

#include "polefit/model.hpp"

namespace polefit_cli {

/// x' = A x + B u, y = C x + D u + E u' as text with 17 digits. Lines that begin with % are comments; each
/// matrix is a line "# A 4 x 4" and its rows, each a line of numbers with blanks between them. A matrix
/// without elements has no rows.
///
/// When the model's responses are the whole matrix of a network of P ports, inputs and outputs are its ports:
/// with N poles the order is P N, the states of the first port's input standing first; those of one input are
/// as in polefit::state_space. Otherwise there is one input, and every response is an output.
///
/// Throws polefit::Error (bad_shape) as polefit::state_space and incompleteness, and for more than 10,000
/// states.
std::string state_space_text(const polefit::Model& model);

}  // namespace polefit_cli
