/// Which text can stand in models, plots, messages and on terminals.
#pragma once

#include <string>
#include <string_view>

namespace text {

/// Whether all of `text` is UTF-8 without control characters.
bool is_plain_text(std::string_view text);

/// Text from outside, with control characters and bytes that are not UTF-8 replaced by '?'.
std::string printable(std::string_view text);

}  // namespace text
