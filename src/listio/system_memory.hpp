/// What the system can still give in memory.
#pragma once

#include <cstdint>

namespace s_solver {

/// Bytes of memory that a process can still fill without other processes being ended for it, swap space
/// included; the largest number where the system does not tell.
std::uint64_t available_memory();

}  // namespace s_solver
