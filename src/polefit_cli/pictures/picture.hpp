/// What is drawn: responses of a network beside those of its model, poles in the complex plane, and how far a
/// model is from the limit of passivity.
#pragma once

#include <complex>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "polefit/model.hpp"
#include "polefit/network.hpp"
#include "polefit/passivity.hpp"

namespace polefit_cli {

enum class PictureFormat { svg, png, pdf };

/// By the ending of the name, in either case; svg for "-", the standard output. Throws IoError for others.
PictureFormat picture_format(const std::string& file_name);

/// More would be too small to read.
inline constexpr std::size_t most_panels = 16;

struct ResponsePanel {
  std::string name;
  std::vector<std::complex<double>> data;   ///< at the samples
  std::vector<std::complex<double>> fit;    ///< at the samples
  std::vector<std::complex<double>> curve;  ///< fit on the fine grid
  double rms = 0.0;                         ///< of data - fit
};

struct FitPicture {
  std::string title;                ///< may be empty
  std::string unit;                 ///< of the values: empty, or as "Ω"
  bool logarithmic = false;         ///< frequency axis; samples at 0 Hz are then left out
  std::vector<double> frequencies;  ///< of the samples in hertz, ascending
  std::vector<double> grid;         ///< of the curves in hertz, ascending
  std::vector<ResponsePanel> panels;
};

/// A response of a model and the one of a network that it stands for.
struct MatchedResponse {
  std::size_t in_model = 0;
  std::size_t in_network = 0;
};

/// The picture of these responses, in the order given. The frequency axis is logarithmic when the samples
/// are: over two decades or more, with half of them in the lowest fifth of the band. The fine grid is narrow
/// enough for every resonance of the model. Throws IoError for none or more than `most_panels` responses.
FitPicture fit_picture(const polefit::Model& model, const polefit::Network& network,
                       std::span<const MatchedResponse> responses, std::string title);

/// The indices of the largest errors, at most `count`, the largest first; equal ones in their order, and
/// what is not a number before all others.
std::vector<std::size_t> worst_responses(std::span<const double> errors, std::size_t count);

struct PoleMark {
  double real = 0.0;       ///< over 2 pi, in hertz
  double imaginary = 0.0;  ///< likewise
  /// Height of its resonance, |c| / |Re a| with the root of the sum of squares over all responses for |c|,
  /// in dB below the highest; not below `least_weight`.
  double weight = 0.0;
};
inline constexpr double least_weight = -80.0;

struct Band {
  double lowest = 0.0;  ///< in hertz
  double highest = 0.0;
};

struct PolePicture {
  std::string title;  ///< may be empty
  std::vector<PoleMark> poles;
  std::optional<Band> band;  ///< that the model was fitted in
};

/// Throws polefit::Error for poles or residues that are not finite.
PolePicture pole_picture(const polefit::Model& model, std::string title);

struct PassivityPicture {
  std::string title;    ///< may be empty
  std::string verdict;  ///< likewise
  char parameter = 'S';
  bool passive = false;          ///< values beyond the limit are then within the tolerance
  double limit = 1.0;            ///< of what the curve shows: 1 for S, which is not to be above, 0 else
  std::vector<double> grid;      ///< in hertz, above 0, ascending
  std::vector<double> curve;     ///< polefit::passivity_curve there
  std::optional<Band> band;      ///< that the model was fitted in
  std::vector<Band> violations;  ///< as far as they are on the grid, by rising frequency
  /// Distances below are those of the ends of violations alone, where the curve crosses the limit.
  double finest_distance = 0.0;
};

/// From a tenth of what lies lowest of poles, band and violations to ten times what lies highest; no more
/// than six decades beyond the band. The grid is narrow enough for every resonance and violation. `passivity`
/// is that of the model. Throws polefit::Error as passivity_curve.
PassivityPicture passivity_picture(const polefit::Model& model, const polefit::Passivity& passivity,
                                   std::string title, std::string verdict);

}  // namespace polefit_cli
