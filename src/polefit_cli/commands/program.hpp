/// The program from its arguments to its exit status.
#pragma once

#include <span>

namespace polefit_cli {

/// Runs the command that the arguments tell, without the program's name, and returns the exit status.
/// Whatever ends it early is one line on standard error and a status of 2.
int run_program(std::span<const char* const> arguments) noexcept;

}  // namespace polefit_cli
