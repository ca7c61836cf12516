/// What a model answers over time, without a circuit simulator.
#pragma once

#include <cstddef>
#include <limits>
#include <span>
#include <vector>

#include "polefit/export.hpp"
#include "polefit/model.hpp"

namespace polefit {

/// A quantity over time that is linear between its points: 0 before the first one, which may be a jump, and
/// constant from the last one on. Two points of the same time are a jump. Without points it is 0.
struct Waveform {
  std::vector<double> times;   ///< in seconds, none below the one before it, and no three the same
  std::vector<double> values;  ///< one a time
};

/// Its values at rising times; at a jump, which rounding may have moved a little, those behind it. Throws
/// Error (bad_option) for times that do not rise, and for a waveform that is none: sizes that differ, times
/// that fall, numbers that are not finite.
POLEFIT_EXPORT std::vector<double> values_at(const Waveform& waveform, std::span<const double> times);

/// What comes out of every port of a model at rest that gets these excitations: the outgoing waves b of
/// incident waves a for S (in the unit of a), currents in amperes of voltages for Y, voltages of currents in
/// amperes for Z. One excitation a port, times in seconds and rising. Those of the first port come first; at
/// a jump of an excitation the values are those behind it.
///
/// Exact for such excitations, but for rounding: the state of every pole advances by exp(a h) and the exact
/// weights of a linear segment, which do not cancel however small |a| h is. Break points between the times
/// are met. (A. Semlyen, A. Dabuleanu, "Fast and accurate switching transient calculations on transmission
/// lines with ground return using recursive convolutions", 1975.) Poles may be anywhere, also at 0. Takes
/// time in proportion to times and break points, to poles, driven ports and ports; weights are computed once
/// for even times, and anew wherever a step is not as long as the one before.
///
/// Throws Error: bad_shape as check, for a model that is no whole matrix or with numbers that are not finite;
/// bad_option for excitations and times that are none, and for a jump where a term proportional to s would
/// make it an impulse; numerical_breakdown where a value overflows, as those of an unstable model do in time.
POLEFIT_EXPORT std::vector<double> time_response(const Model& model, std::span<const Waveform> excitations,
                                                 std::span<const double> times);

/// What a port is connected to: a voltage source behind a resistance.
struct Termination {
  double resistance = 0.0;  ///< in ohms, 0 to infinity
  Waveform source = {};     ///< in volts; one behind an infinite resistance does nothing
};

/// How a terminated network is followed.
struct TerminatedOptions {
  /// No step is longer, in seconds: between the times and the break points of the sources there are as many
  /// as that takes.
  double largest_step = std::numeric_limits<double>::infinity();
};

/// Voltages and currents of all ports, those of the first port first.
struct PortSignals {
  std::vector<double> voltages;  ///< in volts
  std::vector<double> currents;  ///< in amperes, into the network
  /// Whether they are exact as time_response is: what enters the model is given where resistances are the
  /// references of S, 0 for Y, or infinite for Z.
  bool exact = false;
};

/// Voltages and currents of a model at rest whose ports are terminated: one termination a port, times in
/// seconds and rising; at a jump of a source the values are those behind it.
///
/// Where what enters the model is not given by the sources alone, it is taken as linear over each step, which
/// is the time to the next output or break point, or less (`TerminatedOptions`): the error falls with the
/// square of the step. Derivatives by terms proportional to s are those of the parabola through three points,
/// behind a break point of the line through two. Constants, these terms and what a step adds to its own end
/// make a system of one unknown a port, which is factorised once for steps of one length.
///
/// Throws Error as time_response, bad_shape also for S that refers to impedances that vary with frequency;
/// bad_option for a resistance below 0, an infinite one with Y and one of 0 with Z, whose ports have to give
/// and not to get what they are driven by; numerical_breakdown where model and terminations contradict each
/// other.
POLEFIT_EXPORT PortSignals terminated_response(const Model& model, std::span<const Termination> terminations,
                                               std::span<const double> times,
                                               const TerminatedOptions& options = {});

/// `count` times from 0 on, `step` seconds apart.
POLEFIT_EXPORT std::vector<double> even_times(double step, std::size_t count);

}  // namespace polefit
