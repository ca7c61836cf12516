/// Networks as the commands take them.
#pragma once

#include <string>
#include <variant>

#include "polefit/network.hpp"
#include "polefit_cli/commands/command_line.hpp"

namespace polefit_cli {

/// The network in a file, or from standard input for "-", and on standard error a line for each of its
/// warnings. Throws text::IoError or polefit::Error.
polefit::Network read_network(const NetworkSource& source);

/// The same, or the text of a model, for which a file is taken whose first character that is no blank is a
/// brace.
std::variant<polefit::Network, std::string> read_network_or_model(const NetworkSource& source);

}  // namespace polefit_cli
