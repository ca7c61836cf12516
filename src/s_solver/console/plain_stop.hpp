/// The plain stop: the end of a run whose fatal condition is already on standard output.
#pragma once

namespace s_solver {

/// Carries a plain stop up to the program's entry, so that everything on the way is released.
class PlainStop {};

/// Ends the run with exit status 0 and no message of its own. Call it after the records that say why.
[[noreturn]] inline void plain_stop() { throw PlainStop{}; }

}  // namespace s_solver
