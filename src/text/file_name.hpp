/// From the program's fixed file names to names that the system opens.
#pragma once

#include <string>
#include <string_view>

namespace text {

/// The name under which the system finds a file whose fixed name is written with backslashes and may be
/// padded with blanks: trailing blanks are dropped, and where the system's separator is '/', every
/// backslash becomes one.
std::string system_file_name(std::string_view fixed_name);

/// `text` without its trailing blanks.
std::string_view without_trailing_blanks(std::string_view text);

}  // namespace text
