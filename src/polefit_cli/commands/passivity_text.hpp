/// Passivity in a line.
#pragma once

#include <optional>
#include <string>

#include "polefit/passivity.hpp"

namespace polefit_cli {

/// What can be said of a model: nothing where it is no whole matrix, is not stable, or has numbers that are
/// not finite.
std::optional<polefit::Passivity> passivity_of(const polefit::Model& model);

/// "certified at all frequencies (largest singular value 0.99998 at 14.2 GHz)", or where it is not.
std::string passivity_text(const polefit::Passivity& passivity, char parameter);

}  // namespace polefit_cli
