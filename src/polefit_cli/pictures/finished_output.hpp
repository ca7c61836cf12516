/// Output that is there whole or not at all.
#pragma once

#include <string>
#include <string_view>

namespace polefit_cli {

/// Writes all of `text`; 0, or the errno of what failed.
int write_all(int descriptor, std::string_view text);

/// Writes `content` beside the file and renames, so that a file of that name is either the old or the whole
/// new one; a link stays a link, and permissions stay. "-" is the standard output; that its reader has gone
/// is an error like others and no signal. Throws IoError.
void write_finished(const std::string& file_name, std::string_view content);

}  // namespace polefit_cli
