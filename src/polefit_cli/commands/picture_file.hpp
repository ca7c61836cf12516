/// Pictures as files.
#pragma once

#include <string>

#include "polefit_cli/pictures/picture.hpp"

namespace polefit_cli {

/// What a picture calls an input: it is no place for a path.
std::string title_of(const std::string& file);

/// Has gnuplot draw the script into a file, or to the standard output for "-". The file is written beside its
/// place and then renamed: one of that name stays as it was unless the picture is finished. Returns gnuplot's
/// messages. Throws as draw and write_output do.
std::string draw_to(const std::string& file_name, const std::string& script, PictureFormat format);

}  // namespace polefit_cli
