#include "polefit_cli/network/network.hpp"

namespace polefit_cli {

std::string element_name(char parameter, const polefit::MatrixElement& element, std::size_t ports) {
  const char* const between = ports < 10 ? "" : "_";
  return parameter + std::to_string(element.row) + between + std::to_string(element.column);
}

std::vector<polefit::MatrixElement> all_elements(std::size_t ports) {
  std::vector<polefit::MatrixElement> elements;
  for (std::size_t row = 1; row <= ports; ++row) {
    for (std::size_t column = 1; column <= ports; ++column) {
      elements.push_back({row, column});
    }
  }
  return elements;
}

}  // namespace polefit_cli
