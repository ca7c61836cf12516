/// Eye diagrams: a pattern of bits, and what is left of it behind a channel.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "polefit/time_response.hpp"

namespace polefit_cli {

/// Samples of a unit interval.
inline constexpr std::size_t eye_samples = 64;

/// So many bits of the pseudo-random sequence of x^order + x^tap + 1 (ITU-T O.150, "General requirements for
/// instrumentation for performance measurements on digital transmission equipment", 1996, and for 7 the
/// polynomial x^7 + x^6 + 1), from a register of ones on. `order` is 7, 9, 11, 15, 23 or 31.
std::vector<bool> pseudo_random_bits(int order, std::size_t count);

/// 0 or 1 V by the bits, each `interval` seconds long from 0 on, with ramps of `rise` behind its begin.
polefit::Waveform bit_waveform(const std::vector<bool>& bits, double interval, double rise);

/// An eye. Times are in unit intervals from the sampling moment.
struct Eye {
  bool inverted = false;      ///< whether a 1 comes out as the lower level
  double delay = 0.0;         ///< from the begin of a bit to where it is sampled, in unit intervals
  std::size_t skipped = 0;    ///< bits at the begin that are not judged
  std::size_t judged = 0;     ///< bits
  double lowest_one = 0.0;    ///< in volts, at the sampling moment, over all judged bits that are above
  double highest_zero = 0.0;  ///< likewise of those that are below
  double height = 0.0;        ///< lowest_one - highest_zero; not above 0 where the eye is closed
  double threshold = 0.0;     ///< in the middle of these
  /// Where all bits are on their side of the threshold, around the sampling moment: 0 and 0 of a closed eye.
  double left = 0.0;
  double right = 0.0;
  std::vector<double> lowest_ones;    ///< at the moments -1, -1 + 1 / eye_samples ... 1
  std::vector<double> highest_zeros;  ///< likewise
  double width() const { return right - left; }
  bool open() const { return height > 0.0; }
};

/// The eye of `voltages`, `eye_samples` a bit from the begin of the first bit on, of these bits. `pulse` is
/// what a single 1 among zeros makes, likewise. The middle of where it is above half of its largest sample
/// tells the delay, that sample's sign what a 1 is, and when it has fallen to a thousandth how many bits at
/// the begin are not judged, as they know nothing of what would have come before (half of all at most). The
/// sampling moment is that of the largest height within half a unit interval of the delay. Nothing is judged
/// when fewer than 16 bits are left.
Eye eye_of(std::span<const double> voltages, std::span<const double> pulse, const std::vector<bool>& bits);

/// How often a voltage is met at a time, over two unit intervals with the sampling moment in the middle.
struct EyeDensity {
  std::size_t columns = 0;  ///< 2 eye_samples
  std::size_t rows = 0;
  double low = 0.0;          ///< in volts, of the lower edge
  double high = 0.0;         ///< of the upper edge
  std::vector<double> hits;  ///< row by row from the lowest voltage on, in samples
};
EyeDensity eye_density(std::span<const double> voltages, const Eye& eye, std::size_t rows);

}  // namespace polefit_cli
