/// What a build of the program fixes; no option sets any of it.
#pragma once

namespace s_solver {

struct ProgramConstants {
  int test_set;         ///< 0: samples from the sample file; 1 to 4: a built-in test set
  bool verbose;         ///< writes the trace on standard output
  bool use_svd_invert;  ///< solves through the singular value decomposition
};

}  // namespace s_solver
