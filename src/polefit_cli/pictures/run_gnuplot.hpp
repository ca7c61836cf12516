/// Has gnuplot draw a script.
#pragma once

#include <chrono>
#include <string>

#include "polefit_cli/pictures/picture.hpp"

namespace polefit_cli {

/// A picture of 16 responses with 100,000 samples each takes some seconds.
inline constexpr std::chrono::seconds longest_drawing(120);

struct Drawing {
  std::string picture;   ///< the bytes of a file of the format
  std::string messages;  ///< what gnuplot said although it drew
};

/// Runs the program gnuplot of PATH, without its settings files and without a shell, in the locale C.UTF-8,
/// with the script on its standard input. Throws IoError when there is no such program, when it fails or has
/// no end within the limit, and when what it wrote is not a whole picture of the format.
Drawing draw(const std::string& script, PictureFormat format, std::chrono::seconds limit = longest_drawing);

/// Ends the process that draws, if there is one; a handler of signals may call it.
void end_drawing() noexcept;

}  // namespace polefit_cli
