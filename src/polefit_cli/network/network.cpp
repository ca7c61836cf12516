#include "polefit_cli/network/network.hpp"

#include "listio/io_error.hpp"

namespace polefit_cli {

void declare_one_port(Network& network, char parameter, double reference) {
  const std::string wanted = std::string(1, parameter) + " of a one-port";
  if (network.names.size() != 1) {
    throw s_solver::IoError({.file = network.file,
                             .found = std::to_string(network.names.size()) + " responses",
                             .expected = "a single one, as " + wanted});
  }
  if (network.matrix && network.matrix->parameter != parameter) {
    throw s_solver::IoError({.file = network.file,
                             .found = std::string(1, network.matrix->parameter) + " parameters",
                             .expected = wanted});
  }
  network.matrix = polefit::NetworkMatrix{parameter, {reference}, {{1, 1}}};
}

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
