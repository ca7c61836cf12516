#include "text/file_name.hpp"

#include <algorithm>
#include <filesystem>

namespace text {

std::string system_file_name(std::string_view fixed_name) {
  std::string name(without_trailing_blanks(fixed_name));
  if constexpr (std::filesystem::path::preferred_separator == '/') {
    std::replace(name.begin(), name.end(), '\\', '/');
  }
  return name;
}

std::string_view without_trailing_blanks(std::string_view text) {
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

}  // namespace text
