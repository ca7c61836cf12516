/// Completion of the command by shells, made from the table of options.
#pragma once

#include <string>

namespace polefit_cli {

/// The script for bash: the function _polefit, and its registration.
std::string bash_completion();

/// The file _polefit for zsh.
std::string zsh_completion();

}  // namespace polefit_cli
