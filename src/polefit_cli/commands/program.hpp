/// The program from its arguments to its exit status.
#pragma once

#include <span>

#include "polefit_cli/commands/command_line.hpp"

namespace polefit_cli {

/// Runs the command that the arguments tell, without the program's name, and returns the exit status.
/// Whatever ends it early is one line on standard error and a status of 2.
int run_program(std::span<const char* const> arguments) noexcept;

/// The same of a command that was told already.
int run_command(const Command& command) noexcept;

/// From now on the process ends likewise where no exception can lead out, because a destructor, such as that
/// of the JSON library's values, needs memory that there is not.
void end_without_memory();

}  // namespace polefit_cli
