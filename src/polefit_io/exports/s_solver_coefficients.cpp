#include "polefit/exports.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <span>
#include <string_view>

#include "numerics/angular_frequency.hpp"
#include "polefit/error.hpp"
#include "polefit/model/files.hpp"
#include "polefit_io/exports/finite_model.hpp"
#include "text/coefficient_records.hpp"

namespace polefit {
namespace {

[[noreturn]] void fail(const std::string& sentence) { throw Error(ErrorKind::bad_option, sentence); }

double norm_frequency(const Model& model, std::optional<double> highest_frequency) {
  if (!highest_frequency && !model.origin) {
    fail(
        "the model does not know the highest frequency of its data, by which S_Solver's coefficients are "
        "normalised, and none was given");
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

void check_range(const Model& model, std::size_t response, double frequency) {
  const double wnorm = frequency * numerics::two_pi;
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

std::string s_solver_coefficients(const Model& model, std::size_t response,
                                  std::optional<double> highest_frequency) {
  check_shape(model);
  if (response >= model.responses()) {
    fail("the model has no response " + std::to_string(response + 1) + "; it has " +
         std::to_string(model.responses()));
  }
  const double frequency = norm_frequency(model, highest_frequency);
  check_range(model, response, frequency);
  refuse_numbers_not_finite(model);

  std::string text;
  const Origin origin = model.origin.value_or(Origin{});
  text::coefficient_records(
      file_integer(model.poles.size(), "poles"), model.poles.data(), model.residues_of(response).data(),
      model.constants[response], model.proportionals[response], frequency * numerics::two_pi,
      {origin.lowest, frequency, file_integer(origin.samples, "samples")}, [&text](std::string_view record) {
        text += record;
        text += '\n';
      });
  return text;
}

void write_s_solver_coefficients(const Model& model, const std::string& file, std::size_t response,
                                 std::optional<double> highest_frequency) {
  write_file(ErrorKind::bad_network_file, file, s_solver_coefficients(model, response, highest_frequency));
}

}  // namespace polefit
