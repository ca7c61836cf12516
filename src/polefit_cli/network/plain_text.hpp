/// Which text can stand in models, plots, messages and on terminals.
#pragma once

#include <cstddef>
#include <string_view>

namespace polefit_cli {

/// The number of bytes of the character at the start of `text`, which is not empty; 0 if there is none in
/// UTF-8, or it is a control character, of which there are some beyond ASCII.
std::size_t plain_character(std::string_view text);

/// Whether all of `text` is such characters.
bool is_plain_text(std::string_view text);

}  // namespace polefit_cli
