/// Pictures as gnuplot scripts, which write them to gnuplot's standard output.
///
/// A script holds its data and names no files. Texts from outside are quoted as script_text does it.
#pragma once

#include <string>

#include "polefit_cli/pictures/picture.hpp"

namespace polefit_cli {

/// A grid of panels (one column for one, two for up to four, three for up to nine, else four), each with
/// magnitude in dB, phase in degrees and error over one frequency axis. Phases are wrapped to -180 ... 180,
/// and their curves broken where they leave that range. Wants 1 to `most_panels` panels.
std::string fit_script(const FitPicture& picture, PictureFormat format);

/// Over a logarithmic axis of frequency the largest singular value or the smallest eigenvalue with its limit,
/// and below the distance from the limit by decades, in another colour where it is beyond. The band of the
/// fit is shaded, and so are the intervals of violation, however narrow.
std::string passivity_script(const PassivityPicture& picture, PictureFormat format);

/// The complex plane in hertz, with a cross for every pole, the half plane of unstable poles and the band of
/// the fit shaded. An axis is linear when its values are within two decades, else logarithmic to both sides
/// of zero, so that real poles and poles of either sign have their place on it.
std::string pole_script(const PolePicture& picture, PictureFormat format);

}  // namespace polefit_cli
