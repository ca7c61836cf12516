#include "s_solver/memory/blas_memory.hpp"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <fstream>

#include "s_solver/dmatrix/svd_solve.hpp"
#include "s_solver/memory/memory_error.hpp"
#include "support.hpp"

namespace s_solver {
namespace {

using testing_support::address_space_is_ours;

/// Leaves this process 64 MiB of address space beyond what it has: room for small arrays, not for the BLAS.
void limit_address_space() {
  long pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  const rlim_t bytes = static_cast<rlim_t>(pages * sysconf(_SC_PAGESIZE)) + (rlim_t{64} << 20);
  const rlimit limit{.rlim_cur = bytes, .rlim_max = bytes};
  setrlimit(RLIMIT_AS, &limit);
}

constexpr int refused = 7;

[[noreturn]] void solve_in_little_memory() {
  alarm(10);
  limit_address_space();
  const std::array<double, 2> a{1.0, 2.0};
  double x = 0.0;
  try {
    svd_solve(a.data(), 2, 1, &x, a.data(), false);
  } catch (const MemoryError&) {
    std::_Exit(refused);
  }
  std::_Exit(1);
}

TEST(BlasMemoryDeathTest, a_solve_without_room_for_the_library_is_a_memory_error_and_no_hang) {
  if (!address_space_is_ours) {
    GTEST_SKIP() << "the address sanitizer needs more address space than the limit leaves";
  }
  EXPECT_EXIT(solve_in_little_memory(), ::testing::ExitedWithCode(refused), "");
}

TEST(BlasMemory, is_there_on_a_machine_with_memory) {
  EXPECT_NO_THROW(ensure_blas_memory());
  EXPECT_NO_THROW(ensure_blas_memory());
}

}  // namespace
}  // namespace s_solver
