/// What a search found, in words.
#pragma once

#include <cstddef>
#include <string>

#include "polefit/order_search.hpp"

namespace polefit {

/// One line: whether the target was met, and if not, what is in the way.
///
/// limit     on the order
/// samples   of each response
std::string sentence(const Search& search, const Target& target, std::size_t limit, std::size_t samples);

/// How that of a target that was not met begins.
std::string missed(const Target& target);

}  // namespace polefit
