#include "polefit_cli/pictures/series.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace polefit_cli {
namespace {

bool drawable(std::complex<double> z) {
  const double size = std::abs(z);
  return size > 0.0 && std::isfinite(size);
}

template <class Height>
Series over(std::span<const double> x, std::span<const std::complex<double>> values, Height height) {
  Series series;
  for (std::size_t i = 0; i < x.size(); ++i) {
    series.push_back({x[i], drawable(values[i]) ? height(values[i]) : gap});
  }
  return series;
}

}  // namespace

Series decibels(std::span<const double> x, std::span<const std::complex<double>> values) {
  return over(x, values, [](std::complex<double> z) { return 20.0 * std::log10(std::abs(z)); });
}

Series phases(std::span<const double> x, std::span<const std::complex<double>> values) {
  return over(x, values, [](std::complex<double> z) { return std::arg(z) * (180.0 / std::numbers::pi); });
}

Series broken_at_jumps(const Series& phases) {
  Series curve;
  for (std::size_t i = 0; i < phases.size(); ++i) {
    const double jump = i == 0 ? 0.0 : phases[i].y - phases[i - 1].y;  // not a number beside a gap
    if (std::abs(jump) > 180.0) {
      const double leaves_at = std::copysign(180.0, -jump);
      const double way = 360.0 - std::abs(jump);
      const double part = way == 0.0 ? 0.5 : std::abs(leaves_at - phases[i - 1].y) / way;
      const double x = phases[i - 1].x + part * (phases[i].x - phases[i - 1].x);
      curve.insert(curve.end(), {{x, leaves_at}, {x, gap}, {x, -leaves_at}});
    }
    curve.push_back(phases[i]);
  }
  return curve;
}

Series differences(std::span<const double> x, std::span<const std::complex<double>> data,
                   std::span<const std::complex<double>> fit) {
  Series series;
  for (std::size_t i = 0; i < x.size(); ++i) {
    const double size = std::abs(data[i] - fit[i]);
    series.push_back({x[i], size > 0.0 && std::isfinite(size) ? size : gap});
  }
  return series;
}

Series thinned(const Series& series, bool logarithmic, std::size_t columns) {
  if (series.size() <= 2 * columns) {
    return series;
  }
  const auto place = [&](std::size_t i) { return logarithmic ? std::log(series[i].x) : series[i].x; };
  const double begin = place(0);
  const double scale = static_cast<double>(columns) / (place(series.size() - 1) - begin);
  const auto column = [&](std::size_t i) { return std::floor((place(i) - begin) * scale); };

  Series thin;
  for (std::size_t i = 0; i < series.size();) {
    std::size_t lowest = i;
    std::size_t highest = i;
    const double here = column(i);
    std::size_t end = i;
    for (; end < series.size() && (end == i || column(end) == here); ++end) {
      // A gap gives way to the first number.
      lowest = !(series[end].y >= series[lowest].y) && !std::isnan(series[end].y) ? end : lowest;
      highest = !(series[end].y <= series[highest].y) && !std::isnan(series[end].y) ? end : highest;
    }
    const auto [first, second] = std::minmax(lowest, highest);
    if (!std::isnan(series[first].y)) {
      thin.push_back(series[first]);
      if (second != first) {
        thin.push_back(series[second]);
      }
    }
    i = end;
  }
  return thin;
}

Range range_of(const Series& series) {
  Range range;
  for (const Point& point : series) {
    if (!std::isnan(point.y)) {
      range.low = std::min(range.low, point.y);
      range.high = std::max(range.high, point.y);
    }
  }
  return range;
}

Range united(Range a, Range b) { return {std::min(a.low, b.low), std::max(a.high, b.high)}; }

}  // namespace polefit_cli
