#include "polefit_cli/pictures/axis.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <utility>

#include "polefit_cli/pictures/gnuplot_text.hpp"

namespace polefit_cli {
namespace {

// Of DejaVu Sans at 10 points, in points: the width of a digit, and the height of a line.
constexpr double digit_width = 6.4;
constexpr double line_height = 12.0;

// What a logarithmic axis is longer than its range: gnuplot takes the logarithm of a mark at its very end,
// and then may find it outside.
constexpr double a_hair = 1.0 + 1e-6;

// Between these nothing that is computed for an axis leaves the range of numbers, nor does gnuplot.
constexpr double least_shown = 1e-300;
constexpr double most_shown = 1e300;

/// The least distance of marks with such texts.
double spacing(std::size_t characters, AxisPlace place) {
  return place.direction == AxisPlace::Direction::up ? 1.8 * line_height
                                                     : digit_width * (static_cast<double>(characters) + 1.5);
}

std::string with_true_minus(std::string text) {
  for (std::size_t at = text.find('-'); at != std::string::npos; at = text.find('-', at)) {
    text.replace(at, 1, "−");
  }
  return text;
}

int decade_below(double value) { return static_cast<int>(std::floor(std::log10(value) + 1e-9)); }
int decade_above(double value) { return static_cast<int>(std::ceil(std::log10(value) - 1e-9)); }

/// k * 10^exponent with all its digits and without rounding errors in sight.
std::string round_number(double k, int exponent) {
  const double value = k * std::pow(10.0, exponent);
  std::array<char, 64> text{};
  const bool plain = exponent >= -6 && std::abs(value) < 1e6;
  const int digits = value == 0.0 ? 1 : decade_below(std::abs(value)) - exponent + 1;
  const auto end = plain ? std::to_chars(text.data(), text.data() + text.size(), value,
                                         std::chars_format::fixed, std::max(0, -exponent))
                         : std::to_chars(text.data(), text.data() + text.size(), value,
                                         std::chars_format::general, std::clamp(digits, 1, 17));
  return with_true_minus({text.data(), end.ptr});
}

std::vector<Tick> linear_ticks(double low, double high, int mantissa, int exponent) {
  const double step = mantissa * std::pow(10.0, exponent);
  std::vector<Tick> ticks;
  // A mark that rounding moves out of the range by a bit is still meant to be in it.
  const double slack = 1e-9;
  const double first = std::ceil(low / step - slack);
  const int count = 1 + static_cast<int>(std::floor(high / step + slack) - first);
  for (int i = 0; i < count; ++i) {
    const double k = first + i;
    ticks.push_back({std::clamp(k * step, low, high), round_number(k == 0.0 ? 0.0 : k * mantissa, exponent)});
  }
  return ticks;
}

std::size_t longest_text(const std::vector<Tick>& ticks) {
  std::size_t longest = 0;
  for (const Tick& tick : ticks) {
    longest = std::max(longest, character_count(tick.text));
  }
  return longest;
}

/// Every how manieth decade has room for its text.
int labelled_decades(double decades, std::size_t characters, AxisPlace place) {
  return std::max(1, static_cast<int>(std::ceil(spacing(characters, place) * decades / place.length)));
}

template <class Text>
std::vector<Tick> decade_ticks(double low, double high, std::size_t characters, AxisPlace place, Text text) {
  std::vector<Tick> ticks;
  const int every = labelled_decades(std::log10(high) - std::log10(low), characters, place);
  for (int decade = decade_below(low); decade <= decade_above(high); ++decade) {
    const bool labelled = decade % every == 0;
    const int most = every == 1 ? 9 : 1;  // small marks within decades where there is room
    for (int digit = 1; digit <= most; ++digit) {
      const double position = digit * std::pow(10.0, decade);
      if (position >= low * (1 - 1e-9) && position <= high * (1 + 1e-9)) {
        ticks.push_back({position, digit == 1 && labelled ? text(decade) : ""});
      }
    }
  }
  return ticks;
}

/// 10^decade with a prefix: 100, 1 k, 10 M.
std::string prefixed_decade(int decade) {
  constexpr std::array<const char*, 5> prefixes = {"", " k", " M", " G", " T"};
  if (decade < 0 || decade >= 15) {
    return "10^{" + with_true_minus(std::to_string(decade)) + "}";
  }
  const std::array<const char*, 3> digits = {"1", "10", "100"};
  return std::string(digits[static_cast<std::size_t>(decade % 3)]) +
         prefixes[static_cast<std::size_t>(decade / 3)];
}

std::string power_of_ten(int decade) { return "10^{" + with_true_minus(std::to_string(decade)) + "}"; }

}  // namespace

double showable(double value) {
  const double size = std::abs(value);
  return size >= least_shown ? std::copysign(std::min(size, most_shown), value) : 0.0;
}

Axis linear_axis(double low, double high, AxisPlace place) {
  low = showable(low);
  high = showable(high);
  // Closer values would have no different numbers at the marks.
  const double largest = std::max(std::abs(low), std::abs(high));
  if (high - low <= std::max(1e-9 * largest, least_shown)) {
    const double margin = largest == 0.0 ? 1.0 : std::max(0.05 * largest, least_shown);
    low -= margin;
    high += margin;
  }
  Axis axis{Scale::linear, low, high, {}};
  for (int exponent = decade_below((high - low) / 20.0);; ++exponent) {
    for (const int mantissa : {1, 2, 5}) {
      const double step = mantissa * std::pow(10.0, exponent);
      const double distance = place.length * step / (high - low);
      if (distance < spacing(1, place)) {
        continue;
      }
      axis.ticks = linear_ticks(low, high, mantissa, exponent);
      if (axis.ticks.size() < 2 || distance >= spacing(longest_text(axis.ticks), place)) {
        return axis;
      }
    }
  }
}

Axis decade_axis_of_frequency(double low, double high, AxisPlace place) {
  low = std::clamp(low, least_shown, most_shown / 10.0);
  high = std::clamp(high, low * a_hair, most_shown);
  return {Scale::logarithmic, low / a_hair, high * a_hair,
          decade_ticks(low, high, 5, place, prefixed_decade)};
}

Axis decade_axis_of_errors(double low, double high, AxisPlace place) {
  constexpr int most_decades = 8;
  const int last = decade_above(std::clamp(high, least_shown, most_shown));
  const int lowest = decade_below(std::clamp(low, least_shown, most_shown));
  const int first = std::max(std::min(lowest, last - 1), last - most_decades);
  const double bottom = std::pow(10.0, first);
  const double top = std::pow(10.0, last);
  return {Scale::logarithmic, bottom / a_hair, top * a_hair,
          decade_ticks(bottom, top, 4, place, power_of_ten)};
}

SignedDecades::SignedDecades(double smallest, double largest)
    : first_(decade_below(std::clamp(smallest, least_shown, most_shown))),
      last_(decade_above(std::clamp(largest, least_shown, most_shown))) {
  constexpr int most_decades = 18;
  first_ = std::max(std::min(first_, last_ - 1), last_ - most_decades);
}

double SignedDecades::position(double value) const {
  const double size = std::abs(showable(value)) / std::pow(10.0, first_);
  return std::copysign(size < 1.0 ? size : 1.0 + std::log10(size), value);
}

Axis SignedDecades::axis(double low_value, double high_value, AxisPlace place) const {
  Axis axis{Scale::signed_decades, position(low_value), position(high_value), {}};
  const int every = labelled_decades(axis.high - axis.low, 6, place);
  const auto add = [&](double at, std::string text) {
    if (at >= axis.low && at <= axis.high) {
      axis.ticks.push_back({at, std::move(text)});
    }
  };
  add(0.0, "0");
  for (int decade = first_; decade <= last_; ++decade) {
    const double at = 1.0 + decade - first_;
    const bool labelled = (last_ - decade) % every == 0 && at >= every;
    add(at, labelled ? prefixed_decade(decade) : "");
    add(-at, labelled ? "−" + prefixed_decade(decade) : "");
  }
  return axis;
}

AxisUnit axis_unit(double highest) {
  constexpr std::array<AxisUnit, 4> units = {{{1e12, "THz"}, {1e9, "GHz"}, {1e6, "MHz"}, {1e3, "kHz"}}};
  for (const AxisUnit& unit : units) {
    if (highest >= unit.size) {
      return unit;
    }
  }
  return {};
}

}  // namespace polefit_cli
