/// Any model of a whole matrix is refused or judged, soon, and where it is told to be passive the tests' own
/// code finds nothing above the tolerance.

#include <cmath>
#include <complex>
#include <limits>
#include <string>
#include <vector>

#include "fuzz/fuzz.hpp"
#include "polefit/error.hpp"
#include "polefit/independent_passivity.hpp"
#include "polefit/passivity.hpp"
#include "polefit/passivity/scaled_model.hpp"

namespace {

using s_solver::fuzz::Bytes;
using s_solver::fuzz::check;
using s_solver::fuzz::number;

/// Of plain numbers.
constexpr double parts = 128.0;

/// What goes below 0 as the real part of a pole.
double below_zero(double value) { return value == 0.0 ? -0.01 : -std::abs(value); }

polefit::Model decoded(Bytes& bytes) {
  const int kind = bytes.take<std::uint8_t>();
  const bool any = (kind & 1) != 0;
  const bool sharp = (kind & 2) != 0;
  const auto ports = static_cast<std::size_t>(1 + bytes.take_up_to(2));
  const int groups = bytes.take_up_to(3);
  polefit::Model model;
  for (int i = 0; i < groups; ++i) {
    const double real = below_zero(number(bytes, any, parts)) * (sharp ? 1e-6 : 1.0);
    const double imaginary = std::abs(number(bytes, any, parts));
    model.poles.emplace_back(real, imaginary);
    if (imaginary != 0.0) {
      model.poles.emplace_back(real, -imaginary);
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
      const double real = unit * number(bytes, any, parts);
      model.residues.emplace_back(real, pole.imag() == 0.0 ? 0.0 : unit * number(bytes, any, parts));
    }
    model.constants.push_back(number(bytes, any, parts));
    model.proportionals.push_back((kind & 4) != 0 ? number(bytes, any, parts) : 0.0);
  }
  const char parameter = (kind & 8) == 0 ? 'S' : (kind & 16) == 0 ? 'Y' : 'Z';
  model.network =
      polefit::NetworkMatrix{parameter, std::vector<double>(ports, 50.0), polefit::all_elements(ports)};
  return model;
}

/// What rounding of the model's own numbers can do to its value: eps of what each term is at most.
double rounding_of(const polefit::Model& model) {
  double sum = 0.0;
  for (std::size_t r = 0; r < model.responses(); ++r) {
    sum += std::abs(model.constants[r]);
    for (std::size_t i = 0; i < model.poles.size(); ++i) {
      sum += std::abs(model.residues_of(r)[i] / model.poles[i].real());
    }
  }
  return 100.0 * std::numeric_limits<double>::epsilon() * sum;
}

void check_no_frequency_exceeds(const polefit::Model& model, double limit) {
  std::vector<long double> omegas{0.0L, std::numeric_limits<long double>::infinity()};
  for (const std::complex<double> pole : model.poles) {
    for (int i = -8; i <= 8; ++i) {
      omegas.push_back(std::abs(pole.imag() + 0.5L * i * static_cast<long double>(pole.real())));
    }
    for (int i = -6; i <= 6; ++i) {
      omegas.push_back(std::abs(pole) * std::pow(10.0L, 0.5L * i));
    }
  }
  for (const long double omega : omegas) {
    check(!(polefit::independent::measure_at(model, omega) > limit), "no frequency is above the limit");
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Bytes bytes(data, size);
  const polefit::Model model = decoded(bytes);
  try {
    const polefit::Passivity found = polefit::passivity(model);
    check(!found.passive || found.decided, "what is passive is decided");
    check(!found.passive || (found.violations.empty() && found.proportional_fault.empty()),
          "what is passive violates nowhere");
    for (const polefit::Violation& violation : found.violations) {
      check(violation.lowest <= violation.frequency && violation.frequency <= violation.highest,
            "what is worst of an interval is in it");
    }
    if (found.passive) {
      const double scale = polefit::scaled_model(model).scale;
      const double limit = model.network->parameter == 'S' ? 1.0 + found.tolerance : found.tolerance * scale;
      check_no_frequency_exceeds(model, limit + rounding_of(model));
    }
  } catch (const polefit::Error& error) {
    check(std::string(error.what()).size() > 10, "a refusal says why");
  }
  return 0;
}
