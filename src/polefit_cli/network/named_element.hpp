/// From the name of a response to the matrix element that it means.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "polefit/model.hpp"

namespace polefit_cli {

struct NamedElement {
  char parameter = 'S';  ///< S, Y or Z
  polefit::MatrixElement element;
};

/// More ports than any network has; a name with a larger number means no element.
inline constexpr std::size_t most_named_ports = 9999;

/// The element that "S21", "S2_1", "S(2,1)" or "S[2,1]" means, with S, Y or Z in either case and blanks
/// beside the numbers; nothing for any other name. Two digits without a mark between them are row and column.
std::optional<NamedElement> named_element(std::string_view name);

}  // namespace polefit_cli
