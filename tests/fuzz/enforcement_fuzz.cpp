/// Any model of a whole matrix, with any samples, is refused or comes back soon: passive where the report
/// says so, with its poles, and with errors that are numbers.

#include <algorithm>
#include <cmath>
#include <complex>
#include <string>
#include <vector>

#include "fuzz/fuzz.hpp"
#include "polefit/enforcement.hpp"
#include "polefit/error.hpp"

namespace {

using s_solver::fuzz::Bytes;
using s_solver::fuzz::check;
using s_solver::fuzz::number;
using s_solver::fuzz::pair_of_numbers;

/// Of plain numbers.
constexpr double parts = 64.0;

polefit::Model decoded(Bytes& bytes, int kind, std::size_t ports) {
  const bool any = (kind & 1) != 0;
  polefit::Model model;
  const int groups = bytes.take_up_to(2);
  for (int i = 0; i < groups; ++i) {
    const double damping = std::abs(number(bytes, any, parts)) * ((kind & 2) != 0 ? 1e-6 : 1.0);
    const double imaginary = std::abs(number(bytes, any, parts));
    model.poles.emplace_back(damping == 0.0 ? -0.01 : -damping, imaginary);
    if (imaginary != 0.0) {
      model.poles.push_back(std::conj(model.poles.back()));
    }
  }
  for (std::size_t r = 0; r < ports * ports; ++r) {
    for (const std::complex<double> pole : model.poles) {
      if (pole.imag() < 0.0) {
        model.residues.push_back(std::conj(model.residues.back()));
        continue;
      }
      // In units of the damping, so that resonances are about 1.
      const double unit = any ? 1.0 : std::abs(pole.real());
      const std::complex<double> residue = unit * pair_of_numbers(bytes, any, parts);
      model.residues.push_back(pole.imag() == 0.0 ? residue.real() : residue);
    }
    model.constants.push_back(number(bytes, any, parts));
    model.proportionals.push_back((kind & 4) != 0 ? number(bytes, any, parts) : 0.0);
  }
  const char parameter = (kind & 8) == 0 ? 'S' : (kind & 16) == 0 ? 'Y' : 'Z';
  model.network =
      polefit::NetworkMatrix{parameter, std::vector<double>(ports, 50.0), polefit::all_elements(ports)};
  return model;
}

bool all_finite(const std::vector<polefit::ResponseError>& errors) {
  return std::all_of(errors.begin(), errors.end(), [](const polefit::ResponseError& error) {
    return std::isfinite(error.rms) && std::isfinite(error.relative) && std::isfinite(error.largest);
  });
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Bytes bytes(data, size);
  const int kind = bytes.take<std::uint8_t>();
  const int more = bytes.take<std::uint8_t>();
  const auto ports = static_cast<std::size_t>(1 + (more & 1));
  const polefit::Model model = decoded(bytes, kind, ports);
  const bool any = (kind & 32) != 0;
  const auto samples = static_cast<std::size_t>(8 + bytes.take_up_to(12));
  std::vector<double> frequencies;
  for (std::size_t k = 0; k < samples; ++k) {
    frequencies.push_back((kind & 64) != 0 ? std::abs(number(bytes, any, parts))
                                           : 0.05 * static_cast<double>(k));
  }
  std::vector<std::complex<double>> values;
  if ((kind & 128) != 0) {  // those of the model, as a fit has them
    try {
      values = polefit::evaluate(model, frequencies);
    } catch (const polefit::Error&) {
      return 0;
    }
  }
  while (values.size() < samples * ports * ports) {
    values.push_back(pair_of_numbers(bytes, any, parts));
  }
  std::vector<double> weights;
  const int weighted = (more >> 1) & 3;
  for (std::size_t k = 0; weighted > 1 && k < (weighted == 2 ? samples : values.size()); ++k) {
    weights.push_back(std::abs(number(bytes, any, parts)));
  }
  const polefit::NetworkData network{.frequencies = frequencies,
                                     .responses = polefit::Responses::by_response(values, ports * ports),
                                     .names = {},
                                     .weights = weights};
  polefit::EnforcementOptions options;
  options.most_room_pairs = static_cast<std::size_t>((more >> 3) & 7);
  options.keep_value_at_zero = (more & 64) != 0;
  options.most_rounds = (more & 128) != 0 ? 3 : 8;
  try {
    const polefit::Enforcement found = polefit::enforce_passivity(model, network, options);
    const polefit::EnforcementReport& report = found.report;
    polefit::check(found.model);
    check(report.passivity.passive == polefit::passivity(found.model).passive, "the report is right");
    check(found.model.poles.size() == model.poles.size() + 2 * report.room_pairs, "room poles are counted");
    check(std::equal(model.poles.begin(), model.poles.end(), found.model.poles.begin()), "poles stay");
    check(report.room_pairs <= options.most_room_pairs, "no more room poles than are permitted");
    if (all_finite(report.errors_before) && std::isfinite(report.error_before)) {
      check(all_finite(report.errors_after), "errors stay finite");
      check(!std::isnan(report.error_after), "the error stays a number");
    }
  } catch (const polefit::Error& error) {
    check(std::string(error.what()).size() > 10, "a refusal says why");
  }
  return 0;
}
