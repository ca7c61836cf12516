/// Some responses of a network instead of all.
#pragma once

#include <span>
#include <string>

#include "polefit_cli/network/network.hpp"

namespace polefit_cli {

/// The responses named in `wanted`, in that order. A name is one of the network's, or, when the responses are
/// elements of a matrix, means one of them (named_element.hpp): S21, s21, S2_1, S(2,1). The matrix keeps its
/// ports, and of its elements those chosen. Throws s_solver::IoError for a name that the network has not, for
/// one that is given twice, and when none is given.
Network select_responses(const Network& network, std::span<const std::string> wanted);

}  // namespace polefit_cli
