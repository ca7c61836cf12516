/// The memory of this process, as the system shows it.
#pragma once

#include <fstream>
#include <string>

namespace benchmark_support {

/// A line of /proc/self/status, in MiB: "VmRSS:" what it has, "VmHWM:" the most it had.
inline double status_mebibytes(const std::string& name) {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    if (word == name) {
      double kibibytes = 0.0;
      status >> kibibytes;
      return kibibytes / 1024.0;
    }
  }
  return 0.0;
}

/// From here on the most is counted anew.
inline void forget_peak() { std::ofstream("/proc/self/clear_refs") << "5"; }

}  // namespace benchmark_support
