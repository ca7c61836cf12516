/// Has gnuplot draw a script.
#pragma once

#include <string>

#include "polefit_cli/pictures/picture.hpp"

namespace polefit_cli {

struct Drawing {
  std::string picture;   ///< the bytes of a file of the format
  std::string messages;  ///< what gnuplot said although it drew
};

/// Runs the program gnuplot of PATH, without its settings files and without a shell, in the locale C.UTF-8,
/// with the script on its standard input. Throws IoError when there is no such program, when it fails, and
/// when what it wrote is not a whole picture of the format.
Drawing draw(const std::string& script, PictureFormat format);

}  // namespace polefit_cli
