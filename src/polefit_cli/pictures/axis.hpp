/// Axes: their range, and where marks with which text stand on them.
#pragma once

#include <string>
#include <vector>

namespace polefit_cli {

struct Tick {
  double position = 0.0;
  std::string text;  ///< none for a small mark
};

enum class Scale {
  linear,
  logarithmic,
  /// Decades to both sides of zero, drawn at positions that `SignedDecades` computes.
  signed_decades,
};

struct Axis {
  Scale scale = Scale::linear;
  double low = 0.0;
  double high = 1.0;
  std::vector<Tick> ticks;
};

/// The direction in which an axis runs, and its length in points: both say how much text has room on it.
struct AxisPlace {
  enum class Direction { along, up } direction = Direction::along;
  double length = 0.0;
};

/// What an axis can show of a value: 0 below 1e-300, and 1e300 beyond that.
double showable(double value);

/// From `low` to `high`, which may be equal; marks at round numbers. Of all axes the ends are what can be
/// shown.
Axis linear_axis(double low, double high, AxisPlace place);

/// From `low` to `high` in hertz, 0 < low < high, marks at decades: 100, 1 k, 10 k.
Axis decade_axis_of_frequency(double low, double high, AxisPlace place);

/// Over whole decades around the values, 0 < low <= high, marks as powers of ten; no lower than eight decades
/// below `high`.
Axis decade_axis_of_errors(double low, double high, AxisPlace place);

/// Frequencies of either sign: logarithmic to both sides, with the smallest magnitude that there is in the
/// first decade, and linear between that decade and zero.
class SignedDecades {
 public:
  /// For magnitudes from `smallest` to `largest`, 0 < smallest <= largest, at most eighteen decades of them.
  SignedDecades(double smallest, double largest);
  double position(double value) const;
  Axis axis(double low_value, double high_value, AxisPlace place) const;

 private:
  int first_;  // decade
  int last_;
};

/// A unit of frequency: its size in hertz and its name.
struct AxisUnit {
  double size = 1.0;
  const char* name = "Hz";
};

/// The largest unit in which `highest` is 1 or more; hertz below.
AxisUnit axis_unit(double highest);

}  // namespace polefit_cli
