/// A single response declared to be that of a one-port.
#pragma once

#include "polefit/model.hpp"
#include "polefit/network.hpp"
#include "polefit_cli/commands/command_line.hpp"

namespace polefit_cli {

/// Makes the network that of a one-port, where a user says so. What is not said is as the network has it,
/// else S and 50 ohms. Throws polefit::Error with the network's file.
void declare(polefit::Network& network, const Declaration& declaration);

/// The same of a model, which was read from `file`.
void declare(polefit::Model& model, const std::string& file, const Declaration& declaration);

}  // namespace polefit_cli
