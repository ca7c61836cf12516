#include "polefit_cli/exports/s_solver_coefficients.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <span>
#include <string_view>

#include "angular_frequency.hpp"
#include "output/write_coefficients.hpp"
#include "polefit/error.hpp"

namespace polefit_cli {
namespace {

[[noreturn]] void fail(const std::string& sentence) {
  throw polefit::Error(polefit::ErrorKind::bad_option, sentence);
}

double norm_frequency(const polefit::Model& model, std::optional<double> highest_frequency) {
  if (!highest_frequency && !model.origin) {
    fail(
        "the model does not know the highest frequency of its data, by which S_Solver's coefficients are "
        "normalised; give it as an option");
  }
  const double frequency = highest_frequency ? *highest_frequency : model.origin->highest;
  if (!(frequency > 0.0 && std::isfinite(frequency))) {
    fail("the highest frequency, by which S_Solver's coefficients are normalised, is not a positive number");
  }
  return frequency;
}

/// A size of ours in the file's 32 bits.
int file_integer(std::size_t value, const char* what) {
  if (value > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
    fail(std::string("the model has too many ") + what + " for a coefficient file of S_Solver");
  }
  return static_cast<int>(value);
}

void check_range(const polefit::Model& model, std::size_t response, double frequency) {
  const double wnorm = frequency * s_solver::two_pi;
  const auto in_range = [wnorm](std::complex<double> z) {
    return std::isfinite(z.real() / wnorm) && std::isfinite(z.imag() / wnorm);
  };
  const auto residues = model.residues_of(response);
  if (!std::isfinite(wnorm) || !std::isfinite(wnorm * model.proportionals[response]) ||
      !std::all_of(model.poles.begin(), model.poles.end(), in_range) ||
      !std::all_of(residues.begin(), residues.end(), in_range)) {
    fail("the model normalised by its highest frequency is beyond the range of numbers");
  }
}

}  // namespace

std::string s_solver_coefficients(const polefit::Model& model, std::size_t response,
                                  std::optional<double> highest_frequency) {
  polefit::evaluate(model, {});  // refuses arrays that do not fit together
  if (response >= model.responses()) {
    fail("the model has no response " + std::to_string(response + 1) + "; it has " +
         std::to_string(model.responses()));
  }
  const double frequency = norm_frequency(model, highest_frequency);
  check_range(model, response, frequency);

  std::string text;
  s_solver::coefficient_records(file_integer(model.poles.size(), "poles"), model.poles.data(),
                                model.residues_of(response).data(), model.constants[response],
                                model.proportionals[response], model.origin ? model.origin->lowest : 0.0,
                                frequency, file_integer(model.origin ? model.origin->samples : 0, "samples"),
                                [&text](std::string_view record) {
                                  text += record;
                                  text += '\n';
                                });
  return text;
}

}  // namespace polefit_cli
