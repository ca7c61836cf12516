/// Excitations that are linear between break points, followed in time.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "polefit/time_response.hpp"

namespace polefit {

/// What is wrong with a waveform, as the end of a sentence that begins with its name; or nothing.
std::optional<std::string> waveform_fault(const Waveform& waveform);

/// Throws Error (bad_option) for times that are not finite or do not rise.
void check_times(std::span<const double> times);

/// Whether it is anything but 0.
bool drives(const Waveform& waveform);

/// Whether it jumps, also from 0 at its first point.
bool jumps(const Waveform& waveform);

/// Times at which any of the waveforms has a point, rising.
std::vector<double> break_points(std::span<const Waveform> waveforms);

/// One waveform, read at rising times.
class WaveformReader {
 public:
  explicit WaveformReader(const Waveform& waveform) : waveform_(&waveform) {}

  /// The value at a time that is not before the last break point passed, nor behind the next one.
  double value(double time) const;
  /// The change a second, behind the last break point passed.
  double slope() const;
  /// Passes all break points up to that time.
  void pass(double time) {
    while (next_ < waveform_->times.size() && waveform_->times[next_] <= time) {
      ++next_;
    }
  }

 private:
  const Waveform* waveform_;
  std::size_t next_ = 0;  // the first point that is not passed
};

/// The distance of times that are even but for their own rounding; nothing of others.
std::optional<double> even_step(std::span<const double> times);

/// What follows a time: the next output, the next break point, or both at once.
struct Moment {
  double time = 0.0;
  double step = 0.0;  ///< from the moment before; 0 of the first
  bool is_output = false;
  bool is_break = false;
  double break_point = 0.0;  ///< may differ from the time by rounding
};

/// Outputs and break points, merged. Where they are as near as rounding they are one moment. Steps between
/// neighbouring outputs of an even grid have all the same length, to the bit.
class Timeline {
 public:
  Timeline(std::span<const double> outputs, std::vector<double> breaks);

  /// The number of outputs before the first break point, at which all is at rest.
  std::size_t outputs_at_rest() const { return at_rest_; }
  /// Whether there is another output.
  bool goes_on() const { return output_ < outputs_.size(); }
  /// The index of the next output.
  std::size_t output() const { return output_; }
  /// Goes to the next moment.
  Moment next();
  /// How many outputs of an even grid, `most` at most, follow on one another before the next break point.
  std::size_t even_run(std::size_t most) const;
  /// Goes to the last of so many of them.
  void pass_run(std::size_t count);
  /// The distance of an even grid of outputs.
  std::optional<double> even_distance() const { return even_; }

 private:
  /// Whether the next break point is the output with that index.
  bool meets_break(std::size_t output) const;

  std::span<const double> outputs_;
  std::vector<double> breaks_;
  std::optional<double> even_;
  std::size_t at_rest_ = 0;
  std::size_t output_ = 0;  // next
  std::size_t break_ = 0;   // next
  std::optional<double> last_time_;
  bool last_is_output_ = false;
};

}  // namespace polefit
