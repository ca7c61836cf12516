/// Errors of the library with the name of the file whose content it was handed.
#pragma once

#include <string>

#include "polefit/error.hpp"

namespace polefit_cli {

/// What `action` returns, which hands over what was read from `file`; an error of the library's comes out
/// with that name in front.
template <class Action>
auto about(const std::string& file, const Action& action) {
  try {
    return action();
  } catch (const polefit::Error& error) {
    throw polefit::Error(error.kind(), file + ": " + error.what());
  }
}

}  // namespace polefit_cli
