/// What the system can still give in memory.
#pragma once

#include <cstdint>
#include <string>

namespace s_solver {

/// Bytes of memory that this process can still fill without a process being ended for it: what the machine
/// has left, swap space included, and what the control groups of the process (version 2) leave of their
/// limits. The largest number where the system does not tell. `root` stands before the names of the
/// system's files.
std::uint64_t available_memory(const std::string& root = "");

}  // namespace s_solver
