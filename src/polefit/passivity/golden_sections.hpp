/// A maximum between two places.
#pragma once

namespace polefit {

struct Maximum {
  double place = 0.0;
  double value = 0.0;
};

/// The largest value seen of a function of one real place, which has a single maximum between left and right,
/// by golden sections: each takes one value and leaves 0.618 of the interval. Where there are several maxima
/// it ends in one of them. Values that are no numbers are never the largest, unless the first one is none.
template <typename Function>
Maximum largest_by_sections(double left, double right, int sections, const Function& of) {
  constexpr double golden = 0.6180339887498949;
  const auto at = [&](double place) { return Maximum{place, of(place)}; };
  Maximum first = at(right - golden * (right - left));
  Maximum second = at(left + golden * (right - left));
  Maximum best = second.value > first.value ? second : first;
  for (int i = 0; i < sections && right > left; ++i) {
    const bool in_lower_part = first.value > second.value;
    if (in_lower_part) {
      right = second.place;
      second = first;
      first = at(right - golden * (right - left));
    } else {
      left = first.place;
      first = second;
      second = at(left + golden * (right - left));
    }
    const Maximum& latest = in_lower_part ? first : second;
    if (latest.value > best.value) {
      best = latest;
    }
  }
  return best;
}

}  // namespace polefit
