#include "s_solver/memory/blas_memory.hpp"

#include <cstddef>
#include <cstdlib>
#include <memory>

#include "s_solver/memory/memory_error.hpp"

namespace s_solver {
namespace {

/// OpenBLAS 0.3 asks for 128 MiB on this architecture; the rest is for its bookkeeping.
constexpr std::size_t buffer_bytes = std::size_t{144} << 20;

bool check_once() {
  const std::unique_ptr<void, decltype(&std::free)> probe(std::malloc(buffer_bytes), &std::free);
  if (!probe) {
    throw MemoryError("blas_buffer", buffer_bytes, 1);
  }
  return true;
}

}  // namespace

void ensure_blas_memory() { [[maybe_unused]] static const bool checked = check_once(); }

}  // namespace s_solver
