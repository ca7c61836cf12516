/// Any small model, any waveforms and any times are refused, or give finite numbers that keep to the laws at
/// the ports; plain ones give what the sum over ramps and jumps gives.

#include <algorithm>
#include <cmath>
#include <complex>
#include <string>
#include <vector>

#include "fuzz/fuzz.hpp"
#include "fuzz/models.hpp"
#include "polefit/error.hpp"
#include "polefit/time_response.hpp"

namespace {

using s_solver::fuzz::Bytes;
using s_solver::fuzz::check;
using s_solver::fuzz::number;

constexpr double parts = 16.0;

polefit::Waveform waveform_of(Bytes& bytes, bool any) {
  polefit::Waveform waveform;
  double time = 0.0;
  for (int left = bytes.take_up_to(5); left > 0; --left) {
    time = any ? number(bytes, true, parts) : time + std::abs(number(bytes, false, parts));
    waveform.times.push_back(time);
    waveform.values.push_back(number(bytes, any, parts));
  }
  return waveform;
}

std::vector<double> times_of(Bytes& bytes, bool any) {
  if (bytes.take_up_to(1) == 0) {
    return polefit::even_times(std::abs(number(bytes, any, parts)),
                               static_cast<std::size_t>(bytes.take_up_to(40)));
  }
  std::vector<double> times;
  double time = -1.0;
  for (int left = bytes.take_up_to(8); left > 0; --left) {
    time = any ? number(bytes, true, parts) : time + std::abs(number(bytes, false, parts));
    times.push_back(time);
  }
  return times;
}

/// The response of one term c / (s - a) to one waveform at a time, by its jumps and ramps.
std::complex<double> superposed(std::complex<double> a, const polefit::Waveform& waveform, double time) {
  std::complex<double> sum;
  double slope = 0.0;
  double value = 0.0;
  double last = 0.0;
  const auto add = [&](double jump, double turn, double t) {
    const std::complex<double> z = a * t;
    std::complex<double> phi1 = 1.0;
    std::complex<double> phi2 = 0.5;
    if (std::abs(z) > 1e-2) {
      phi1 = (std::exp(z) - 1.0) / z;
      phi2 = (phi1 - 1.0) / z;
    } else {
      phi1 += z * (0.5 + z / 6.0 + z * z / 24.0);
      phi2 += z * (1.0 / 6.0 + z / 24.0 + z * z / 120.0);
    }
    sum += jump * t * phi1 + turn * t * t * phi2;
  };
  for (std::size_t i = 0; i < waveform.times.size() && waveform.times[i] <= time; ++i) {
    const double t = waveform.times[i];
    const double before = i == 0 ? 0.0 : value + slope * (t - last);
    const bool ends = i + 1 == waveform.times.size() || waveform.times[i + 1] == t;
    const double next =
        ends ? 0.0 : (waveform.values[i + 1] - waveform.values[i]) / (waveform.times[i + 1] - t);
    add(waveform.values[i] - before, next - slope, time - t);
    value = waveform.values[i];
    slope = next;
    last = t;
  }
  return sum;
}

/// Of plain numbers, without constants and terms proportional to s.
void check_values(polefit::Model model, const std::vector<polefit::Waveform>& waveforms,
                  const std::vector<double>& times) {
  std::fill(model.constants.begin(), model.constants.end(), 0.0);
  std::fill(model.proportionals.begin(), model.proportionals.end(), 0.0);
  const std::vector<double> found = polefit::time_response(model, waveforms, times);
  const std::size_t ports = waveforms.size();
  for (std::size_t row = 0; row < ports; ++row) {
    for (std::size_t k = 0; k < times.size(); ++k) {
      std::complex<double> sum;
      double size = 0.0;
      for (std::size_t column = 0; column < ports; ++column) {
        for (std::size_t p = 0; p < model.poles.size(); ++p) {
          // Residues are at most 8, values and slopes at most 16 and 256, times at most 320 and poles at
          // most 12.
          sum += model.residues_of(row * ports + column)[p] *
                 superposed(model.poles[p], waveforms[column], times[k]);
          const double growth = std::exp(std::max(0.0, model.poles[p].real()) * (times[k] + 1.0));
          size += 8.0 * 256.0 * (times[k] + 1.0) * (times[k] + 1.0) * std::max(1.0, growth);
        }
      }
      if (!std::isfinite(size)) {
        continue;
      }
      check(std::abs(found[row * times.size() + k] - sum.real()) <= 1e-10 * (1.0 + size),
            "the response is the sum over ramps and jumps");
    }
  }
}

void check_ports(const polefit::Model& model, const std::vector<polefit::Termination>& terminations,
                 const std::vector<double>& times, bool any) {
  const polefit::PortSignals found = polefit::terminated_response(model, terminations, times);
  for (const std::vector<double>* const signals : {&found.voltages, &found.currents}) {
    check(signals->size() == terminations.size() * times.size(), "there is a value for every port and time");
    check(std::all_of(signals->begin(), signals->end(), [](double value) { return std::isfinite(value); }),
          "what is not refused is finite");
  }
  // What grows beyond all bounds cancels beyond all bounds.
  const bool bounded = std::all_of(model.poles.begin(), model.poles.end(),
                                   [](std::complex<double> pole) { return pole.real() <= 0.0; });
  // Of all that has been: what is left of it carries its rounding.
  double most = 0.0;
  for (std::size_t i = 0; i < found.voltages.size(); ++i) {
    most = std::max(most, std::abs(found.voltages[i]) + 16.0 * std::abs(found.currents[i]));
  }
  for (std::size_t port = 0; port < terminations.size() && !any && bounded; ++port) {
    const double resistance = terminations[port].resistance;
    if (std::isinf(resistance)) {
      continue;
    }
    const std::vector<double> source = polefit::values_at(terminations[port].source, times);
    for (std::size_t k = 0; k < times.size(); ++k) {
      const double v = found.voltages[port * times.size() + k];
      const double i = found.currents[port * times.size() + k];
      check(std::abs(v + resistance * i - source[k]) <= 1e-9 * (most + 128.0),
            "voltages around a port add up");
    }
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Bytes bytes(data, size);
  const int kind = bytes.take<std::uint8_t>();
  const bool any = (kind & 1) != 0;
  const auto ports = static_cast<std::size_t>(1 + bytes.take_up_to(1));
  const polefit::Model model = s_solver::fuzz::model_of(
      bytes, {.any = any, .whole = true, .ports = ports, .most_poles = 3, .proportional = (kind & 2) != 0});
  std::vector<polefit::Waveform> waveforms;
  std::vector<polefit::Termination> terminations;
  for (std::size_t port = 0; port < ports; ++port) {
    waveforms.push_back(waveform_of(bytes, any));
    const double resistance = number(bytes, any, parts);
    terminations.push_back({any ? resistance : std::abs(resistance), waveforms.back()});
  }
  const std::vector<double> times = times_of(bytes, any);
  const auto refused_with_reason = [](const auto& work) {
    try {
      work();
    } catch (const polefit::Error& error) {
      check(std::string(error.what()).size() > 10, "a refusal says why");
    }
  };
  refused_with_reason([&] {
    const std::vector<double> found = polefit::time_response(model, waveforms, times);
    check(found.size() == ports * times.size(), "there is a value for every port and time");
    check(std::all_of(found.begin(), found.end(), [](double value) { return std::isfinite(value); }),
          "what is not refused is finite");
    if (!any) {
      check_values(model, waveforms, times);
    }
  });
  refused_with_reason([&] { check_ports(model, terminations, times, any); });
  return 0;
}
