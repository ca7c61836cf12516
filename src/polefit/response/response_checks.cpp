#include "polefit/response/response_checks.hpp"

#include <algorithm>
#include <cmath>
#include <string>

#include "polefit/error.hpp"
#include "polefit/model/model_faults.hpp"
#include "polefit/response/waveforms.hpp"
#include "text/decimal.hpp"

namespace polefit {

void check_for_response(const Model& model, std::span<const double> times) {
  check(model);
  static_cast<void>(matrix_of(model));
  refuse(ErrorKind::bad_shape, number_fault(model));
  check_times(times);
}

void check_waveforms(std::span<const Waveform> waveforms, std::size_t ports, const char* what) {
  if (waveforms.size() != ports) {
    throw Error(ErrorKind::bad_option, "found " + std::to_string(waveforms.size()) + " waveforms, expected " +
                                           std::to_string(ports) + ", one a port");
  }
  for (std::size_t port = 0; port < ports; ++port) {
    if (const auto fault = waveform_fault(waveforms[port])) {
      throw Error(ErrorKind::bad_option,
                  "the " + std::string(what) + " of port " + std::to_string(port + 1) + " " + *fault);
    }
  }
}

void refuse_jump(std::size_t port) {
  throw Error(ErrorKind::bad_option, "what drives port " + std::to_string(port + 1) +
                                         " jumps, which the model's terms proportional to s make an impulse "
                                         "without an end; a ramp takes its time");
}

void refuse_overflow(const Model& model, std::span<const double> values, std::span<const double> times) {
  if (std::all_of(values.begin(), values.end(), [](double value) { return std::isfinite(value); })) {
    return;
  }
  std::size_t first = times.size();
  for (std::size_t i = 0; i < values.size(); ++i) {
    first = std::isfinite(values[i]) ? first : std::min(first, i % times.size());
  }
  const bool unstable =
      std::any_of(model.poles.begin(), model.poles.end(), [](auto pole) { return pole.real() > 0.0; });
  throw Error(ErrorKind::numerical_breakdown,
              "the response is beyond the range of numbers from " + text::significant(times[first], 3) +
                  " s on" + (unstable ? "; the model has poles in the right half-plane" : ""));
}

}  // namespace polefit
