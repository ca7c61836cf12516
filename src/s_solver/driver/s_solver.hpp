/// The main program.
#pragma once

#include "s_solver/driver/program_constants.hpp"

namespace s_solver {

/// Runs S_Solver once from start to end: samples, settings, options, starting poles, iteration, results.
/// `arguments` are the `count` command-line arguments without the program's name; only a run on the
/// sample file looks at them and at the settings file.
/// Throws PlainStop, IoError or an exception of exhausted memory; result files that were not opened by
/// then are untouched.
void S_Solver(const ProgramConstants& constants, int count, const char* const* arguments);

}  // namespace s_solver
