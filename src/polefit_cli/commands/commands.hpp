/// What each command does. All throw text::IoError or polefit::Error for what a user has to mend.
#pragma once

#include "polefit_cli/commands/command_line.hpp"

namespace polefit_cli {

/// Exit status of the program.
enum ExitStatus : int {
  succeeded = 0,
  not_converged = 1,
  not_passive = 1,
  not_settled = 1,
  closed_eye = 1,
  bad_input = 2
};

/// Fits a network, writes the model and prints a table, to standard error when the model goes to standard
/// output.
ExitStatus run(const FitCommand& command);
ExitStatus run(const PlotCommand& command);
/// Tells whether a model is passive, on standard error when the picture goes to standard output.
ExitStatus run(const PassivityCommand& command);
ExitStatus run(const ExportCommand& command);
ExitStatus run(const EvalCommand& command);
/// Follows a model in time: signals as a table, a reflectometer's impedance, or an eye.
ExitStatus run(const TimeCommand& command);
ExitStatus run(const ConvertCommand& command);
ExitStatus run(const InfoCommand& command);

}  // namespace polefit_cli
