/// Any small network with any options is fitted, with what must hold of every fit, or is refused for a
/// reason.

#include <algorithm>
#include <cmath>
#include <complex>
#include <string>
#include <vector>

#include "fuzz/fuzz.hpp"
#include "polefit/fit_cases.hpp"
#include "polefit/weights.hpp"

namespace {

using polefit::fit_cases::FitCase;
using polefit::fit_cases::Request;
using s_solver::fuzz::Bytes;
using s_solver::fuzz::check;
using s_solver::fuzz::number;
using s_solver::fuzz::pair_of_numbers;

/// Of plain numbers.
constexpr double parts = 64.0;

void decode_options(Bytes& bytes, bool any, polefit::Options& options) {
  const int choices = bytes.take<std::uint8_t>();
  options.constant = (choices & 1) == 0;
  options.proportional = (choices & 2) != 0;
  options.stable = (choices & 4) == 0;
  options.orthogonal = (choices & 8) != 0;
  options.polish = (choices & 16) == 0;
  options.placement = static_cast<polefit::Placement>(bytes.take_up_to(2));
  options.iterations = bytes.take_up_to(8);
  options.pole_tolerance = (choices & 32) != 0 ? std::abs(number(bytes, any, parts)) : 1e-8;
  if ((choices & 64) != 0) {
    options.exact_sample = bytes.take_up_to(12);
  }
  options.complex_pairs = static_cast<std::size_t>(bytes.take_up_to(3));
  options.real_poles = static_cast<std::size_t>(bytes.take_up_to(3));
  const int given = (choices & 128) != 0 ? bytes.take_up_to(4) : 0;
  for (int i = 0; i < given; ++i) {
    const std::complex<double> pole = pair_of_numbers(bytes, any, parts);
    options.starting_poles.push_back(pole);
    if (pole.imag() != 0.0) {
      options.starting_poles.push_back(std::conj(pole));
    }
  }
}

FitCase decoded(Bytes& bytes) {
  FitCase asked;
  const int kind = bytes.take<std::uint8_t>();
  asked.request = static_cast<Request>(kind & 3);
  const bool any = (kind & 4) != 0;
  asked.usual_sizes = !any;
  const std::size_t ports = (kind & 8) != 0 ? 2 : 1;
  asked.responses = ports * ports;
  asked.matrix = {"SYZS"[kind >> 6], std::vector<double>(ports, 50.0), polefit::all_elements(ports)};
  decode_options(bytes, any, asked.options);
  asked.target.error = std::pow(10.0, -bytes.take_up_to(12));
  asked.target.measure = static_cast<polefit::Measure>(bytes.take_up_to(2));
  asked.target.most_poles = static_cast<std::size_t>(bytes.take_up_to(6));
  const auto samples = static_cast<std::size_t>(1 + bytes.take_up_to(11));
  const int weighted = bytes.take_up_to(6);
  for (std::size_t k = 0; k < samples; ++k) {
    asked.frequencies.push_back((kind & 16) != 0 ? std::abs(number(bytes, any, parts))
                                                 : static_cast<double>(k));
  }
  for (std::size_t i = 0; i < asked.responses * samples; ++i) {
    const bool opposite = (kind & 32) != 0 && i / samples == 2;  // S21 of a reciprocal network
    asked.values.push_back(opposite ? asked.values[i - samples] : pair_of_numbers(bytes, any, parts));
  }
  if (weighted == 5 || weighted == 6) {
    for (std::size_t i = 0; i < (weighted == 5 ? samples : asked.values.size()); ++i) {
      asked.weights.push_back(std::abs(number(bytes, any, parts)));
    }
  } else if (weighted > 0) {
    asked.weights =
        polefit::weights({.frequencies = asked.frequencies,
                          .responses = polefit::Responses::by_response(asked.values, asked.responses),
                          .names = {},
                          .weights = {}},
                         static_cast<polefit::Weighting>(weighted - 1));
  }
  return asked;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Bytes bytes(data, size);
  const FitCase asked = decoded(bytes);
  const std::vector<std::string> faults =
      polefit::fit_cases::faults_of(asked, polefit::fit_cases::Effort::once);
  check(faults.empty(), faults.empty() ? "" : faults.front().c_str());
  return 0;
}
