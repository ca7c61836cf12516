/// Numbers of things in messages.
#pragma once

#include <cstddef>
#include <string>

namespace text {

/// "1 pole", "2 poles".
inline std::string counted(std::size_t count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

}  // namespace text
