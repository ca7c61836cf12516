/// Curves and points of a picture, computed from complex values.
#pragma once

#include <complex>
#include <cstddef>
#include <limits>
#include <span>
#include <vector>

namespace polefit_cli {

/// A gap in a curve when y is not a number.
struct Point {
  double x = 0.0;
  double y = 0.0;
};
using Series = std::vector<Point>;

inline constexpr double gap = std::numeric_limits<double>::quiet_NaN();

/// Magnitudes in dB over x; a gap for zero and for what is not finite.
Series decibels(std::span<const double> x, std::span<const std::complex<double>> values);

/// Phases in degrees, from -180 to 180; gaps as above.
Series phases(std::span<const double> x, std::span<const std::complex<double>> values);

/// A curve of phases that leaves the picture at 180 degrees and comes in again at -180, or the other way
/// round, where neighbours are more than 180 degrees apart.
Series broken_at_jumps(const Series& phases);

/// |data - fit|; a gap where it is zero or not finite.
Series differences(std::span<const double> x, std::span<const std::complex<double>> data,
                   std::span<const std::complex<double>> fit);

/// The series, when it has at most twice as many points as columns; else of each column of the axis the
/// points with smallest and largest y, in their order and without the gaps. With columns as narrow as the
/// points and lines are wide, a picture shows no difference.
Series thinned(const Series& series, bool logarithmic, std::size_t columns);

/// Smallest and largest y, gaps aside.
struct Range {
  double low = std::numeric_limits<double>::infinity();
  double high = -std::numeric_limits<double>::infinity();
  bool empty() const { return !(low <= high); }
};
Range range_of(const Series& series);
Range united(Range a, Range b);

}  // namespace polefit_cli
