/// The fitting options and the command line that sets them.
#pragma once

namespace s_solver {

/// Flags of 0 or 1; the values here are the ones in force without arguments.
struct FitOptions {
  int use_const = 1;  ///< the model has a constant term
  int use_sterm = 1;  ///< the model has a proportional term
  int use_logf = 0;   ///< starting poles are spaced logarithmically
  int use_cmplx = 1;  ///< starting poles are conjugate pairs
};

/// Applies the keywords const, noconst, sterm, nosterm, logf, nologf, cmplx and nocmplx among `count`
/// `arguments` (without the program's name) in their order, so that the last of contradicting ones holds.
/// Of an argument the first 256 characters count, without trailing blanks; upper and lower case differ.
/// Anything else is ignored; an empty argument ends the scan.
void scan_command_line(int count, const char* const* arguments, FitOptions& options);

}  // namespace s_solver
