/// Pictures over time: curves, and eye diagrams.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "polefit_cli/pictures/picture.hpp"

namespace polefit_cli {

struct TimeCurve {
  std::string name;
  std::vector<double> values;  ///< one a time; a gap where one is not finite
};

/// More have no colours that can be told apart.
inline constexpr std::size_t most_curves = 8;

struct TimePicture {
  std::string title;              ///< may be empty
  std::string quantity;           ///< what the curves show, with its unit
  std::vector<double> times;      ///< in seconds, rising
  std::vector<TimeCurve> curves;  ///< 1 to `most_curves`
  std::optional<double> level;    ///< of a line across
  /// Metres a second and where it begins in seconds: distances stand above the frame.
  struct Distance {
    double velocity = 0.0;
    double begin = 0.0;
  };
  std::optional<Distance> distance;
};

/// Curves over one axis of time.
std::string time_script(const TimePicture& picture, PictureFormat format);

/// Voltages over two unit intervals, the sampling moment in the middle.
struct EyePicture {
  std::string title;      ///< may be empty
  std::string verdict;    ///< likewise
  double interval = 1.0;  ///< in seconds
  std::size_t columns = 0;
  std::size_t rows = 0;
  double low = 0.0;          ///< in volts, of the lower edge
  double high = 1.0;         ///< of the upper edge
  std::vector<double> hits;  ///< row by row from below, not below 0
  struct Opening {
    double left = 0.0;  ///< in unit intervals
    double right = 0.0;
    double threshold = 0.0;  ///< in volts
    double bottom = 0.0;
    double top = 0.0;
  };
  std::optional<Opening> opening;  ///< of an eye that is open
};

/// How often a voltage is met at a time, by the logarithm as colours.
std::string eye_script(const EyePicture& picture, PictureFormat format);

}  // namespace polefit_cli
