/// The process: runs S_Solver with the constants of this build and turns what ends it into an exit status.

#include <exception>

#include "s_solver/console/console.hpp"
#include "s_solver/console/plain_stop.hpp"
#include "s_solver/driver/s_solver.hpp"
#include "text/standard_streams.hpp"

namespace {

constexpr s_solver::ProgramConstants constants{
    .test_set = S_SOLVER_TEST_SET,
    .verbose = S_SOLVER_VERBOSE,
    .use_svd_invert = S_SOLVER_USE_SVD_INVERT,
};

constexpr int completed = 0;  // also after a fatal condition that the program reported itself
constexpr int failed = 2;     // input, output or memory

void run_to_its_end(int argc, const char* const* argv) {
  try {
    s_solver::S_Solver(constants, argc > 0 ? argc - 1 : 0, argv + 1);
  } catch (const s_solver::PlainStop&) {
    // Its records are on standard output already.
  }
  s_solver::close_standard_output();
}

}  // namespace

int main(int argc, char** argv) {
  text::prepare_standard_streams();
  try {
    run_to_its_end(argc, argv);
    return completed;
  } catch (const std::exception& error) {
    text::print_error("S_Solver", error.what());
    return failed;
  }
}
