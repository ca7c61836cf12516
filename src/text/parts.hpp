/// Lists within a text.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace text {

/// What stands between the separators: one part more than there are of them. The text must outlive its parts.
inline std::vector<std::string_view> parts_of(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  for (;;) {
    const std::size_t end = text.find(separator);
    parts.push_back(text.substr(0, end));
    if (end == std::string_view::npos) {
      return parts;
    }
    text.remove_prefix(end + 1);
  }
}

}  // namespace text
