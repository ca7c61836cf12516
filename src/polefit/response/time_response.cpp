#include "polefit/time_response.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>
#include <vector>

#include "polefit/error.hpp"
#include "polefit/model/model_faults.hpp"
#include "polefit/response/pole_states.hpp"
#include "polefit/response/response_checks.hpp"
#include "polefit/response/waveforms.hpp"

namespace polefit {
namespace {

/// Follows excitations that are given.
class GivenInputs {
 public:
  GivenInputs(const Model& model, std::span<const Waveform> excitations, std::span<const double> times)
      : model_(model),
        matrix_(matrix_of(model)),
        ports_(matrix_.ports()),
        times_(times),
        states_(model, driven_ports(excitations)),
        u_(states_.driven().size() * stride),
        y_(ports_ * times.size()) {
    std::vector<Waveform> driving;
    for (const std::size_t port : states_.driven()) {
      readers_.emplace_back(excitations[port]);
      driving.push_back(excitations[port]);
    }
    breaks_ = break_points(driving);
  }

  std::vector<double> outputs() && {
    Timeline timeline(times_, std::move(breaks_));
    while (timeline.goes_on()) {
      if (const std::size_t count = timeline.even_run(most_steps); count > 0) {
        run(timeline.output(), count, *timeline.even_distance());
        timeline.pass_run(count);
      } else {
        const std::size_t output = timeline.output();
        go_to(output, timeline.next());
      }
    }
    return std::move(y_);
  }

 private:
  static constexpr std::size_t most_steps = 256;  // together: their inputs stay in the nearest cache
  static constexpr std::size_t stride = most_steps + 1;

  /// Even steps without a break point to outputs from `first` on, behind another one.
  void run(std::size_t first, std::size_t count, double step) {
    for (std::size_t d = 0; d < readers_.size(); ++d) {
      for (std::size_t k = 0; k <= count; ++k) {
        u_[d * stride + k] = readers_[d].value(times_[first + k - 1]);
      }
    }
    states_.set_step(step);
    states_.advance(count, u_.data(), stride, y_.data() + first, times_.size());
    for (std::size_t k = 0; k < count; ++k) {
      add_direct(first + k, times_[first + k]);
    }
    last_time_ = times_[first + count - 1];
  }

  void go_to(std::size_t output, const Moment& moment) {
    for (std::size_t d = 0; d < readers_.size(); ++d) {
      u_[d * stride] = readers_[d].value(last_time_);
      u_[d * stride + 1] = readers_[d].value(moment.time);
    }
    std::vector<double> unseen(moment.is_output ? 0 : ports_);
    states_.set_step(moment.step);
    states_.advance(1, u_.data(), stride, moment.is_output ? y_.data() + output : unseen.data(),
                    moment.is_output ? times_.size() : 1);
    if (moment.is_break) {
      for (WaveformReader& reader : readers_) {
        reader.pass(moment.break_point);
      }
    }
    if (moment.is_output) {
      add_direct(output, moment.time);
    }
    last_time_ = moment.time;
  }

  /// What constants and terms proportional to s give at once.
  void add_direct(std::size_t output, double time) {
    for (std::size_t d = 0; d < readers_.size(); ++d) {
      const double value = readers_[d].value(time);
      const double slope = readers_[d].slope();
      for (std::size_t p = 0; p < ports_; ++p) {
        const std::size_t response = matrix_.response(p, states_.driven()[d]);
        double& y = y_[p * times_.size() + output];
        y += model_.constants[response] * value;
        if (model_.proportionals[response] != 0.0) {
          y += model_.proportionals[response] * slope;
        }
      }
    }
  }

  static std::vector<std::size_t> driven_ports(std::span<const Waveform> excitations) {
    std::vector<std::size_t> driven;
    for (std::size_t port = 0; port < excitations.size(); ++port) {
      if (drives(excitations[port])) {
        driven.push_back(port);
      }
    }
    return driven;
  }

  const Model& model_;
  WholeMatrix matrix_;
  std::size_t ports_;
  std::span<const double> times_;
  PoleStates states_;
  std::vector<WaveformReader> readers_;  // one a driven port
  std::vector<double> breaks_;
  std::vector<double> u_;
  std::vector<double> y_;
  double last_time_ = 0.0;
};

void refuse_impulses(const Model& model, std::span<const Waveform> excitations) {
  const WholeMatrix matrix = matrix_of(model);
  for (std::size_t column = 0; column < matrix.ports(); ++column) {
    if (!jumps(excitations[column])) {
      continue;
    }
    for (std::size_t row = 0; row < matrix.ports(); ++row) {
      if (model.proportionals[matrix.response(row, column)] != 0.0) {
        refuse_jump(column);
      }
    }
  }
}

}  // namespace

std::vector<double> time_response(const Model& model, std::span<const Waveform> excitations,
                                  std::span<const double> times) {
  check_for_response(model, times);
  check_waveforms(excitations, model.network->ports(), "excitation");
  refuse_impulses(model, excitations);
  std::vector<double> outputs = GivenInputs(model, excitations, times).outputs();
  refuse_overflow(model, outputs, times);
  return outputs;
}

}  // namespace polefit
