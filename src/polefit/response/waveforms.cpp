#include "polefit/response/waveforms.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "polefit/error.hpp"

namespace polefit {
namespace {

/// Within what two times are the same: what rounding of a product and a sum leaves of either.
double rounding_of(double a, double b) {
  return 4.0 * std::numeric_limits<double>::epsilon() * std::max(std::abs(a), std::abs(b));
}

bool finite(double value) { return std::isfinite(value); }

}  // namespace

std::optional<std::string> waveform_fault(const Waveform& waveform) {
  const std::vector<double>& times = waveform.times;
  if (times.size() != waveform.values.size()) {
    return "has " + std::to_string(times.size()) + " times and " + std::to_string(waveform.values.size()) +
           " values, expected one a time";
  }
  for (std::size_t i = 0; i < times.size(); ++i) {
    if (!finite(times[i]) || !finite(waveform.values[i])) {
      return "has an infinite number or none in point " + std::to_string(i + 1);
    }
    if (i > 0 && times[i] < times[i - 1]) {
      return "goes back in time at point " + std::to_string(i + 1);
    }
    if (i > 1 && times[i] == times[i - 2]) {
      return "has three points of one time at point " + std::to_string(i + 1);
    }
  }
  return std::nullopt;
}

void check_times(std::span<const double> times) {
  for (std::size_t k = 0; k < times.size(); ++k) {
    if (!finite(times[k]) || (k > 0 && !(times[k] > times[k - 1]))) {
      throw Error(ErrorKind::bad_option,
                  "time " + std::to_string(k + 1) +
                      (finite(times[k]) ? " is not above the one before it" : " is not a finite number"));
    }
  }
}

bool drives(const Waveform& waveform) {
  return std::any_of(waveform.values.begin(), waveform.values.end(),
                     [](double value) { return value != 0.0; });
}

bool jumps(const Waveform& waveform) {
  const std::vector<double>& times = waveform.times;
  const std::vector<double>& values = waveform.values;
  if (!values.empty() && values.front() != 0.0) {
    return true;
  }
  for (std::size_t i = 1; i < times.size(); ++i) {
    if (times[i] == times[i - 1] && values[i] != values[i - 1]) {
      return true;
    }
  }
  return false;
}

std::vector<double> break_points(std::span<const Waveform> waveforms) {
  std::vector<double> times;
  for (const Waveform& waveform : waveforms) {
    times.insert(times.end(), waveform.times.begin(), waveform.times.end());
  }
  std::sort(times.begin(), times.end());
  times.erase(std::unique(times.begin(), times.end()), times.end());
  return times;
}

double WaveformReader::value(double time) const {
  const std::vector<double>& times = waveform_->times;
  const std::vector<double>& values = waveform_->values;
  if (next_ == 0) {
    return 0.0;
  }
  if (next_ == times.size()) {
    return values.back();
  }
  const double begin = times[next_ - 1];
  const double part = (time - begin) / (times[next_] - begin);
  return std::lerp(values[next_ - 1], values[next_], std::clamp(part, 0.0, 1.0));
}

double WaveformReader::slope() const {
  const std::vector<double>& times = waveform_->times;
  const std::vector<double>& values = waveform_->values;
  return next_ == 0 || next_ == times.size()
             ? 0.0
             : (values[next_] - values[next_ - 1]) / (times[next_] - times[next_ - 1]);
}

std::optional<double> even_step(std::span<const double> times) {
  if (times.size() < 2) {
    return std::nullopt;
  }
  const double step = (times.back() - times.front()) / static_cast<double>(times.size() - 1);
  const double tolerance = rounding_of(times.front(), times.back());
  for (std::size_t k = 0; k < times.size(); ++k) {
    if (!(std::abs(times[k] - (times.front() + static_cast<double>(k) * step)) <= tolerance)) {
      return std::nullopt;
    }
  }
  return step;
}

Timeline::Timeline(std::span<const double> outputs, std::vector<double> breaks)
    : outputs_(outputs), breaks_(std::move(breaks)), even_(even_step(outputs)) {
  while (goes_on() && (breaks_.empty() || (outputs_[output_] < breaks_.front() && !meets_break(output_)))) {
    ++output_;
  }
  at_rest_ = output_;
}

bool Timeline::meets_break(std::size_t output) const {
  return break_ < breaks_.size() &&
         std::abs(outputs_[output] - breaks_[break_]) <= rounding_of(outputs_[output], breaks_[break_]);
}

Moment Timeline::next() {
  const bool together = meets_break(output_);
  Moment moment;
  moment.is_break = together || (break_ < breaks_.size() && breaks_[break_] < outputs_[output_]);
  moment.is_output = together || !moment.is_break;
  moment.time = moment.is_output ? outputs_[output_] : breaks_[break_];
  if (moment.is_break) {
    moment.break_point = breaks_[break_];
    ++break_;
  }
  if (last_time_) {
    const bool even = even_ && last_is_output_ && moment.is_output;
    // Two break points may be as near as rounding on both sides of an output.
    moment.step = even ? *even_ : std::max(0.0, moment.time - *last_time_);
  }
  output_ += moment.is_output ? 1 : 0;
  last_time_ = moment.time;
  last_is_output_ = moment.is_output;
  return moment;
}

std::size_t Timeline::even_run(std::size_t most) const {
  if (!even_ || !last_is_output_) {
    return 0;
  }
  const std::size_t end = std::min(outputs_.size(), output_ + most);
  if (break_ == breaks_.size()) {
    return end - output_;
  }
  std::size_t count = 0;
  while (output_ + count < end && outputs_[output_ + count] < breaks_[break_] &&
         !meets_break(output_ + count)) {
    ++count;
  }
  return count;
}

void Timeline::pass_run(std::size_t count) {
  output_ += count;
  last_time_ = outputs_[output_ - 1];
}

std::vector<double> values_at(const Waveform& waveform, std::span<const double> times) {
  if (const auto fault = waveform_fault(waveform)) {
    throw Error(ErrorKind::bad_option, "the waveform " + *fault);
  }
  check_times(times);
  std::vector<double> values(times.size());
  WaveformReader reader(waveform);
  Timeline timeline(times, break_points({&waveform, 1}));
  while (timeline.goes_on()) {
    const std::size_t output = timeline.output();
    const Moment moment = timeline.next();
    if (moment.is_break) {
      reader.pass(moment.break_point);
    }
    if (moment.is_output) {
      values[output] = reader.value(moment.time);
    }
  }
  return values;
}

std::vector<double> even_times(double step, std::size_t count) {
  std::vector<double> times(count);
  for (std::size_t k = 0; k < count; ++k) {
    times[k] = step * static_cast<double>(k);
  }
  return times;
}

}  // namespace polefit
