#include "s_solver/memory/system_memory.hpp"

#include <algorithm>
#include <cstddef>
#include <fstream>
#include <limits>

namespace s_solver {
namespace {

constexpr std::uint64_t unlimited = std::numeric_limits<std::uint64_t>::max();

/// The number behind `name` in a file of names and numbers, one pair a line; `otherwise` where there is none.
std::uint64_t named_number(const std::string& file, const std::string& name, std::uint64_t otherwise) {
  std::ifstream stream(file);
  std::string found;
  std::uint64_t value = 0;
  std::string rest;
  while (stream >> found >> value && std::getline(stream, rest)) {
    if (found == name) {
      return value;
    }
  }
  return otherwise;
}

/// The one number in a file; `otherwise` where it holds none.
std::uint64_t lone_number(const std::string& file, std::uint64_t otherwise) {
  std::uint64_t value = 0;
  return std::ifstream(file) >> value ? value : otherwise;
}

std::uint64_t left_on_machine(const std::string& root) {
  const std::string meminfo = root + "/proc/meminfo";
  const std::uint64_t kibibytes = named_number(meminfo, "MemAvailable:", unlimited);
  return kibibytes == unlimited ? unlimited : (kibibytes + named_number(meminfo, "SwapFree:", 0)) * 1024;
}

/// What one control group leaves; pages of files that it can drop count as free.
std::uint64_t left_in_group(const std::string& folder) {
  const std::uint64_t limit = lone_number(folder + "/memory.max", unlimited);
  if (limit == unlimited) {
    return unlimited;
  }
  const std::uint64_t used = lone_number(folder + "/memory.current", 0);
  const std::uint64_t droppable = named_number(folder + "/memory.stat", "inactive_file", 0);
  const std::uint64_t held = used - std::min(used, droppable);
  return limit - std::min(limit, held);
}

/// The path of this process's control group; empty where there is none.
std::string group_path(const std::string& root) {
  std::ifstream stream(root + "/proc/self/cgroup");
  for (std::string line; std::getline(stream, line);) {
    if (line.starts_with("0::/")) {
      return line.substr(3);
    }
  }
  return "";
}

}  // namespace

std::uint64_t available_memory(const std::string& root) {
  std::uint64_t left = left_on_machine(root);
  // A group is bound by the limits of all groups above it, too, up to the root.
  std::string path = group_path(root);
  const std::string groups = root + "/sys/fs/cgroup";
  while (!path.empty()) {
    left = std::min(left, left_in_group(groups + path));
    path.resize(path == "/" ? 0 : std::max<std::size_t>(1, path.rfind('/')));
  }
  return left;
}

}  // namespace s_solver
