/// Passivity in a line.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "polefit/enforcement.hpp"
#include "polefit/passivity.hpp"

namespace polefit_cli {

/// Whether all poles are in the left half-plane.
bool is_stable(const polefit::Model& model);

/// What can be said of a model: nothing where it is no whole matrix, is not stable, or has numbers that are
/// not finite, too large or too small.
struct Judgement {
  std::optional<polefit::Passivity> passivity;
  std::string reason;  ///< why there is none
};
Judgement judgement_of(const polefit::Model& model);
/// The same by those who were not asked for it: nothing of a model of tens of thousands of poles, which takes
/// long.
Judgement judgement_in_passing(const polefit::Model& model);

/// With six digits, and as many more as tell a singular value from 1.
std::string judged_number(double value, char parameter);

/// "largest singular value 0.99998 at 14.2 GHz".
std::string extreme_text(const polefit::Passivity& passivity, char parameter);

/// "only S21 of a matrix of 4 ports". Wants a matrix that is not whole.
std::string part_text(const polefit::NetworkMatrix& matrix);

/// Throws IoError, which says what could be done, unless that many responses are a whole matrix.
void check_whole(const std::optional<polefit::NetworkMatrix>& matrix, std::size_t responses,
                 const std::string& shown);

/// "the data are not passive: ...", and where.
std::string sampled_text(const polefit::SampledPassivity& sampled, std::size_t samples, char parameter);

/// What a line about any model says: the text of its passivity, or why there is none. Nothing of a model that
/// is of no network.
std::optional<std::string> passivity_line(const polefit::Model& model);

/// "certified at all frequencies (largest singular value 0.99998 at 14.2 GHz)", or where it is not.
std::string passivity_text(const polefit::Passivity& passivity, char parameter);

}  // namespace polefit_cli
