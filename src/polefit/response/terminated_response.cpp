/// The loop of a network and its terminations. Of a port, with x what enters the model and y what comes out,
/// x = sigma e + gamma y:
///
///   S   x, y waves a, b   sigma sqrt(R0) / (R0 + R)   gamma (R - R0) / (R + R0)
///   Y   x = v, y = i      sigma 1                     gamma -R
///   Z   x = i, y = v      sigma 1 / R                 gamma -1 / R
#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "numerics/matrix.hpp"
#include "polefit/error.hpp"
#include "polefit/model/model_faults.hpp"
#include "polefit/response/loop_system.hpp"
#include "polefit/response/pole_states.hpp"
#include "polefit/response/response_checks.hpp"
#include "polefit/response/waveforms.hpp"
#include "polefit/time_response.hpp"

namespace polefit {
namespace {

/// What a termination makes of its source and of what comes out of the port.
struct Loop {
  double sigma = 0.0;
  double gamma = 0.0;
};

[[noreturn]] void refuse_resistance(std::size_t port, const std::string& why) {
  throw Error(ErrorKind::bad_option, "the resistance at port " + std::to_string(port + 1) + " " + why);
}

Loop loop_of(char parameter, double resistance, double reference, std::size_t port) {
  if (!(resistance >= 0.0)) {
    refuse_resistance(port, "is not a number of at least 0");
  }
  const bool infinite = std::isinf(resistance);
  switch (parameter) {
    case 'S':
      return infinite ? Loop{0.0, 1.0}
                      : Loop{std::sqrt(reference) / (reference + resistance),
                             (resistance - reference) / (resistance + reference)};
    case 'Y':
      if (infinite) {
        refuse_resistance(port, "is infinite, expected a finite one with Y parameters");
      }
      return {1.0, -resistance};
    default:
      if (resistance == 0.0) {
        refuse_resistance(port, "is 0, expected more with Z parameters");
      }
      return infinite ? Loop{} : Loop{1.0 / resistance, -1.0 / resistance};
  }
}

/// Of what enters and comes out.
PortSignals signals_of(const NetworkMatrix& network, std::vector<double> in, std::vector<double> out,
                       bool exact) {
  if (network.parameter == 'Y') {
    return {std::move(in), std::move(out), exact};
  }
  if (network.parameter == 'Z') {
    return {std::move(out), std::move(in), exact};
  }
  const std::size_t count = in.size() / network.ports();
  for (std::size_t i = 0; i < in.size(); ++i) {
    const double root = std::sqrt(network.references[i / count]);
    const double a = in[i];
    const double b = out[i];
    in[i] = root * (a + b);
    out[i] = (a - b) / root;
  }
  return {std::move(in), std::move(out), exact};
}

/// The derivative at the end of a step, of the parabola through three points or the line through two:
/// now u(t) + before u(t - step) + earlier u(t - step - step before).
struct Derivative {
  double now = 0.0;
  double before = 0.0;
  double earlier = 0.0;
};

Derivative derivative(double step, std::optional<double> step_before) {
  if (!step_before) {
    return {1.0 / step, -1.0 / step, 0.0};
  }
  const double both = step + *step_before;
  return {1.0 / step + 1.0 / both, -both / (step * *step_before), step / (*step_before * both)};
}

/// Follows the loop.
class ClosedLoop {
 public:
  ClosedLoop(const Model& model, std::span<const Waveform> sources, std::vector<Loop> loops,
             std::span<const double> times, double largest_step)
      : matrix_(matrix_of(model)),
        ports_(matrix_.ports()),
        loops_(std::move(loops)),
        times_(times),
        largest_step_(largest_step),
        states_(model, all_ports(ports_)),
        breaks_(break_points(sources)),
        constants_(ports_, ports_),
        proportionals_(ports_, ports_),
        in_(ports_),
        in_before_(ports_),
        out_(ports_),
        ins_(ports_ * times.size()),
        outs_(ports_ * times.size()) {
    for (std::size_t row = 0; row < ports_; ++row) {
      for (std::size_t column = 0; column < ports_; ++column) {
        const std::size_t response = matrix_.response(row, column);
        constants_(row, column) = model.constants[response];
        proportionals_(row, column) = model.proportionals[response];
        differentiates_ = differentiates_ || model.proportionals[response] != 0.0;
      }
    }
    for (const Waveform& source : sources) {
      readers_.emplace_back(source);
    }
  }

  PortSignals signals(const NetworkMatrix& network) && {
    Timeline timeline(times_, std::move(breaks_));
    double last = 0.0;
    while (timeline.goes_on()) {
      const std::size_t output = timeline.output();
      const Moment moment = timeline.next();
      if (moment.step > 0.0) {
        go(last, moment);
      }
      if (moment.is_break) {
        turn(moment);
      }
      if (moment.is_output) {
        keep(output);
      }
      last = moment.time;
    }
    return signals_of(network, std::move(ins_), std::move(outs_), false);
  }

 private:
  static std::vector<std::size_t> all_ports(std::size_t ports) {
    std::vector<std::size_t> all(ports);
    for (std::size_t port = 0; port < ports; ++port) {
      all[port] = port;
    }
    return all;
  }

  /// To a moment, in as many steps as it takes.
  void go(double from, const Moment& moment) {
    const auto parts =
        std::max(std::int64_t{1}, static_cast<std::int64_t>(std::ceil(moment.step / largest_step_)));
    const double step = moment.step / static_cast<double>(parts);
    for (std::int64_t part = 1; part <= parts; ++part) {
      take_step(step, part == parts ? moment.time : from + static_cast<double>(part) * step);
    }
  }

  void take_step(double step, double time) {
    const Derivative slope = differentiates_ ? derivative(step, step_before_) : Derivative{};
    use_system(step, slope);
    states_.leave(in_.data());
    std::fill(out_.begin(), out_.end(), 0.0);
    states_.add_outputs(out_.data());
    if (differentiates_) {
      for (std::size_t column = 0; column < ports_; ++column) {
        const double known = slope.before * in_[column] + slope.earlier * in_before_[column];
        for (std::size_t row = 0; row < ports_; ++row) {
          out_[row] += proportionals_(row, column) * known;
        }
      }
      in_before_ = in_;
      step_before_ = step;
    }
    solve_ports(*current_->system, time);
    states_.arrive(in_.data());
    for (std::size_t column = 0; column < ports_; ++column) {
      for (std::size_t row = 0; row < ports_; ++row) {
        out_[row] += current_->gain(row, column) * in_[column];
      }
    }
  }

  /// in = (I - gamma K)^-1 (sigma e + gamma out), K being what the system was made of.
  void solve_ports(const LoopSystem& system, double time) {
    for (std::size_t port = 0; port < ports_; ++port) {
      in_[port] = loops_[port].sigma * readers_[port].value(time) + loops_[port].gamma * out_[port];
    }
    system.solve(in_);
  }

  LoopSystem system_of(const numerics::Matrix& gain) const {
    numerics::Matrix a(ports_, ports_);
    for (std::size_t column = 0; column < ports_; ++column) {
      for (std::size_t row = 0; row < ports_; ++row) {
        a(row, column) = (row == column ? 1.0 : 0.0) - loops_[row].gamma * gain(row, column);
      }
    }
    return LoopSystem(std::move(a));
  }

  struct KeptSystem {
    double step;
    double slope;
    numerics::Matrix gain;  // of what enters at the end of a step upon what comes out there
    std::optional<LoopSystem> system;
  };

  void use_system(double step, const Derivative& slope) {
    states_.set_step(step);
    for (std::optional<KeptSystem>& kept : kept_) {
      if (kept && kept->step == step && kept->slope == slope.now) {
        current_ = &*kept;
        return;
      }
    }
    std::optional<KeptSystem>& oldest = kept_[next_kept_];
    next_kept_ = (next_kept_ + 1) % kept_.size();
    numerics::Matrix gain = constants_;
    const std::vector<double> immediate = states_.immediate();
    for (std::size_t i = 0; i < gain.elements.size(); ++i) {
      gain.elements[i] += immediate[i] + proportionals_.elements[i] * slope.now;
    }
    oldest.emplace(KeptSystem{step, slope.now, std::move(gain), std::nullopt});
    oldest->system = system_of(oldest->gain);
    current_ = &*oldest;
  }

  /// At a break point: what enters jumps with the sources, and derivatives begin anew.
  void turn(const Moment& moment) {
    bool jump = false;
    for (WaveformReader& reader : readers_) {
      const double before = reader.value(moment.time);
      reader.pass(moment.break_point);
      jump = jump || reader.value(moment.time) != before;
    }
    step_before_.reset();
    if (!jump || differentiates_) {
      return;
    }
    if (!at_once_) {
      at_once_ = system_of(constants_);
    }
    std::fill(out_.begin(), out_.end(), 0.0);
    states_.add_outputs(out_.data());
    solve_ports(*at_once_, moment.time);
    for (std::size_t column = 0; column < ports_; ++column) {
      for (std::size_t row = 0; row < ports_; ++row) {
        out_[row] += constants_(row, column) * in_[column];
      }
    }
  }

  void keep(std::size_t output) {
    for (std::size_t port = 0; port < ports_; ++port) {
      ins_[port * times_.size() + output] = in_[port];
      outs_[port * times_.size() + output] = out_[port];
    }
  }

  WholeMatrix matrix_;
  std::size_t ports_;
  std::vector<Loop> loops_;
  std::span<const double> times_;
  double largest_step_;
  PoleStates states_;
  std::vector<WaveformReader> readers_;
  std::vector<double> breaks_;
  numerics::Matrix constants_;
  numerics::Matrix proportionals_;
  bool differentiates_ = false;
  std::vector<double> in_;
  std::vector<double> in_before_;
  std::vector<double> out_;
  std::optional<double> step_before_;  // none behind a break point
  std::array<std::optional<KeptSystem>, 4> kept_;
  std::size_t next_kept_ = 0;
  const KeptSystem* current_ = nullptr;
  std::optional<LoopSystem> at_once_;
  std::vector<double> ins_;
  std::vector<double> outs_;
};

/// Where no port hands back what comes out of it.
PortSignals with_given_inputs(const Model& model, std::span<const Waveform> sources,
                              const std::vector<Loop>& loops, std::span<const double> times) {
  std::vector<Waveform> inputs(sources.begin(), sources.end());
  std::vector<double> in;
  for (std::size_t port = 0; port < inputs.size(); ++port) {
    for (double& value : inputs[port].values) {
      value *= loops[port].sigma;
    }
    const std::vector<double> values = values_at(inputs[port], times);
    in.insert(in.end(), values.begin(), values.end());
  }
  return signals_of(*model.network, std::move(in), time_response(model, inputs, times), true);
}

void check_steps(std::span<const Waveform> sources, std::span<const double> times, double largest_step) {
  constexpr double most_steps = 1e9;
  if (!(largest_step > 0.0)) {
    throw Error(ErrorKind::bad_option, "the largest step is not a number above 0");
  }
  const std::vector<double> breaks = break_points(sources);
  if (!times.empty() && !breaks.empty() && times.back() - breaks.front() > most_steps * largest_step) {
    throw Error(ErrorKind::bad_option,
                "the largest step makes more than a billion steps of the time asked for");
  }
}

}  // namespace

PortSignals terminated_response(const Model& model, std::span<const Termination> terminations,
                                std::span<const double> times, const TerminatedOptions& options) {
  check_for_response(model, times);
  refuse_varying_references(model, "which tell no voltages and currents");
  std::vector<Waveform> sources;
  for (const Termination& termination : terminations) {
    sources.push_back(termination.source);
  }
  const NetworkMatrix& network = *model.network;
  check_waveforms(sources, network.ports(), "source");
  check_steps(sources, times, options.largest_step);
  std::vector<Loop> loops;
  bool given = true;
  for (std::size_t port = 0; port < network.ports(); ++port) {
    loops.push_back(
        loop_of(network.parameter, terminations[port].resistance, network.references[port], port));
    given = given && loops.back().gamma == 0.0;
  }
  const bool differentiates = std::any_of(model.proportionals.begin(), model.proportionals.end(),
                                          [](double proportional) { return proportional != 0.0; });
  for (std::size_t port = 0; differentiates && !given && port < sources.size(); ++port) {
    if (jumps(sources[port])) {
      refuse_jump(port);
    }
  }
  PortSignals signals =
      given ? with_given_inputs(model, sources, loops, times)
            : ClosedLoop(model, sources, std::move(loops), times, options.largest_step).signals(network);
  refuse_overflow(model, signals.voltages, times);
  refuse_overflow(model, signals.currents, times);
  return signals;
}

}  // namespace polefit
