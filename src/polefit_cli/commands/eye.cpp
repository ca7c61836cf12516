#include "polefit_cli/commands/eye.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace polefit_cli {
namespace {

int tap_of(int order) {
  switch (order) {
    case 7:
      return 6;
    case 9:
      return 5;
    case 11:
      return 9;
    case 15:
      return 14;
    case 23:
      return 18;
    default:
      return 28;
  }
}

/// Bits and their samples, the higher level being that of ones.
class Judge {
 public:
  Judge(std::span<const double> voltages, const std::vector<bool>& bits, double sign, std::size_t first,
        std::size_t end)
      : voltages_(voltages), bits_(bits), sign_(sign), first_(first), end_(end) {}

  struct Levels {
    double lowest_one = std::numeric_limits<double>::infinity();
    double highest_zero = -std::numeric_limits<double>::infinity();
    double height() const { return lowest_one - highest_zero; }
  };

  /// So many samples behind the begin of each bit, or before.
  Levels at(std::ptrdiff_t offset) const {
    Levels levels;
    for (std::size_t i = first_; i < end_; ++i) {
      const auto place = static_cast<std::ptrdiff_t>(i * eye_samples) + offset;
      const double v = sign_ * voltages_[static_cast<std::size_t>(place)];
      if (bits_[i]) {
        levels.lowest_one = std::min(levels.lowest_one, v);
      } else {
        levels.highest_zero = std::max(levels.highest_zero, v);
      }
    }
    return levels;
  }

 private:
  std::span<const double> voltages_;
  const std::vector<bool>& bits_;
  double sign_;
  std::size_t first_;
  std::size_t end_;
};

/// From the sampling moment, where all are on their side, in one direction: how many samples until one is
/// not, with the line between two samples.
double samples_until_closed(const std::vector<Judge::Levels>& levels, std::size_t middle,
                            std::ptrdiff_t direction, double threshold) {
  const auto margin = [&](std::size_t i) {
    return std::min(levels[i].lowest_one - threshold, threshold - levels[i].highest_zero);
  };
  std::size_t place = middle;
  for (std::size_t count = 0; count < eye_samples; ++count) {
    const std::size_t next = place + static_cast<std::size_t>(direction);
    const double here = margin(place);
    const double there = margin(next);
    if (!(there > 0.0)) {
      return static_cast<double>(count) + here / (here - there);
    }
    place = next;
  }
  return static_cast<double>(eye_samples);
}

/// What a single 1 makes.
struct Pulse {
  double peak = 0.0;       ///< its largest sample, with its sign
  std::size_t middle = 0;  ///< sample in the middle of where it is above half of that, about the peak
  std::size_t end = 0;     ///< the first sample from which on it is forgotten
};

Pulse pulse_of(std::span<const double> samples) {
  constexpr double forgotten = 1e-3;
  const auto at = std::max_element(samples.begin(), samples.end(),
                                   [](double a, double b) { return std::abs(a) < std::abs(b); });
  const double size = std::abs(*at);
  const auto peak = static_cast<std::size_t>(at - samples.begin());
  std::size_t first = peak;
  while (first > 0 && std::abs(samples[first - 1]) > 0.5 * size) {
    --first;
  }
  std::size_t last = peak;
  while (last + 1 < samples.size() && std::abs(samples[last + 1]) > 0.5 * size) {
    ++last;
  }
  std::size_t end = samples.size();
  while (end > last + 1 && std::abs(samples[end - 1]) <= forgotten * size) {
    --end;
  }
  return {*at, (first + last) / 2, end};
}

/// The place of the largest height in a range about the middle; of equal ones that nearest to the middle.
std::size_t best_place(const std::vector<Judge::Levels>& levels, std::size_t middle, std::size_t reach) {
  constexpr double equal = 1e-6;
  double most = levels[middle].height();
  for (std::size_t i = middle - reach; i <= middle + reach; ++i) {
    most = std::max(most, levels[i].height());
  }
  for (std::size_t distance = 0; distance <= reach; ++distance) {
    for (const std::size_t i : {middle - distance, middle + distance}) {
      if (levels[i].height() >= most - equal * std::abs(most)) {
        return i;
      }
    }
  }
  return middle;
}

}  // namespace

std::vector<bool> pseudo_random_bits(int order, std::size_t count) {
  const int tap = tap_of(order);
  std::uint32_t state = ~std::uint32_t{0};
  std::vector<bool> bits(count);
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint32_t bit =
        ((state >> static_cast<unsigned>(order - 1)) ^ (state >> static_cast<unsigned>(tap - 1))) & 1U;
    state = (state << 1U) | bit;
    bits[i] = bit != 0;
  }
  return bits;
}

polefit::Waveform bit_waveform(const std::vector<bool>& bits, double interval, double rise) {
  polefit::Waveform waveform;
  bool level = false;
  for (std::size_t i = 0; i < bits.size(); ++i) {
    if (bits[i] == level) {
      continue;
    }
    const double begin = static_cast<double>(i) * interval;
    // A ramp that takes all of its bit ends where the next one begins.
    if (waveform.times.empty() || waveform.times.back() < begin) {
      waveform.times.push_back(begin);
      waveform.values.push_back(level ? 1.0 : 0.0);
    }
    level = bits[i];
    waveform.times.push_back(begin + rise);
    waveform.values.push_back(level ? 1.0 : 0.0);
  }
  return waveform;
}

Eye eye_of(std::span<const double> voltages, std::span<const double> pulse, const std::vector<bool>& bits) {
  constexpr std::size_t fewest = 16;
  constexpr std::size_t half = eye_samples / 2;
  // A window of a unit interval to both sides of a sampling moment within half of one of the pulse's middle.
  constexpr std::size_t reach = eye_samples + half;
  Eye eye;
  const Pulse peak = pulse_of(pulse);
  eye.inverted = peak.peak < 0.0;
  const std::size_t whole = voltages.size() / eye_samples;
  const std::size_t held = (peak.middle + reach) / eye_samples + 1;
  const std::size_t end = whole > held ? whole - held : 0;
  // Two more, so that no window begins before the first sample.
  eye.skipped = std::min(peak.end / eye_samples + 2, std::max<std::size_t>(2, end / 2));
  if (end < eye.skipped + fewest) {
    return eye;
  }
  const double sign = eye.inverted ? -1.0 : 1.0;
  const Judge judge(voltages, bits, sign, eye.skipped, end);
  std::vector<Judge::Levels> levels;
  for (std::size_t i = 0; i <= 2 * reach; ++i) {
    levels.push_back(
        judge.at(static_cast<std::ptrdiff_t>(peak.middle + i) - static_cast<std::ptrdiff_t>(reach)));
  }
  const std::size_t best = best_place(levels, reach, half);
  eye.judged = end - eye.skipped;
  eye.delay = (static_cast<double>(peak.middle + best) - static_cast<double>(reach)) /
              static_cast<double>(eye_samples);
  eye.height = levels[best].height();
  const double middle = 0.5 * (levels[best].lowest_one + levels[best].highest_zero);
  for (std::size_t i = best - eye_samples; i <= best + eye_samples; ++i) {
    eye.lowest_ones.push_back(sign * (eye.inverted ? levels[i].highest_zero : levels[i].lowest_one));
    eye.highest_zeros.push_back(sign * (eye.inverted ? levels[i].lowest_one : levels[i].highest_zero));
  }
  if (eye.open()) {
    const auto samples = static_cast<double>(eye_samples);
    eye.left = -samples_until_closed(levels, best, -1, middle) / samples;
    eye.right = samples_until_closed(levels, best, 1, middle) / samples;
  }
  eye.lowest_one = eye.lowest_ones[eye_samples];
  eye.highest_zero = eye.highest_zeros[eye_samples];
  eye.threshold = sign * middle;
  return eye;
}

EyeDensity eye_density(std::span<const double> voltages, const Eye& eye, std::size_t rows) {
  constexpr double margin = 0.05;
  EyeDensity density;
  density.columns = 2 * eye_samples;
  density.rows = rows;
  density.hits.resize(density.columns * rows);
  // A sampling moment is at most two unit intervals before its bit, and two bits at least are skipped.
  const auto sampling = std::llround(eye.delay * static_cast<double>(eye_samples));
  const auto first =
      static_cast<std::size_t>(static_cast<std::ptrdiff_t>(eye.skipped * eye_samples) + sampling);
  if (eye.judged == 0 || first + 1 >= voltages.size()) {
    return density;
  }
  const auto [lowest, highest] =
      std::minmax_element(voltages.begin() + static_cast<std::ptrdiff_t>(first), voltages.end());
  const double difference = std::max(*highest - *lowest, std::abs(*highest) * 1e-9);
  const double size = difference > 0.0 ? difference : 1.0;
  density.low = *lowest - margin * size;
  density.high = *highest + margin * size;
  const double scale = static_cast<double>(rows) / (density.high - density.low);
  const auto row_of = [&](double voltage) {
    const double row = std::floor((voltage - density.low) * scale);
    return static_cast<std::size_t>(std::clamp(row, 0.0, static_cast<double>(rows - 1)));
  };
  for (std::size_t k = first; k + 1 < voltages.size(); ++k) {
    // The line between two samples: its time is spread evenly over the voltages that it passes.
    const std::size_t column = (k - first + eye_samples) % density.columns;
    const std::size_t here = row_of(voltages[k]);
    const std::size_t there = row_of(voltages[k + 1]);
    const std::size_t low = std::min(here, there);
    const std::size_t high = std::max(here, there);
    for (std::size_t row = low; row <= high; ++row) {
      density.hits[row * density.columns + column] += 1.0 / static_cast<double>(high - low + 1);
    }
  }
  return density;
}

}  // namespace polefit_cli
