#include "listio/system_memory.hpp"

#include <fstream>
#include <limits>
#include <string>

namespace s_solver {

std::uint64_t available_memory() {
  std::ifstream meminfo("/proc/meminfo");
  std::uint64_t kibibytes = 0;
  bool known = false;
  std::string name;
  std::uint64_t value = 0;
  std::string unit;
  while (meminfo >> name >> value && std::getline(meminfo, unit)) {
    if (name == "MemAvailable:" || name == "SwapFree:") {
      kibibytes += value;
      known = known || name == "MemAvailable:";
    }
  }
  return known ? kibibytes * 1024 : std::numeric_limits<std::uint64_t>::max();
}

}  // namespace s_solver
