#include "polefit_cli/commands/info_text.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <numbers>
#include <vector>

#include "polefit_cli/commands/models.hpp"
#include "polefit_cli/commands/passivity_text.hpp"
#include "polefit_cli/commands/tables.hpp"
#include "text/counted.hpp"
#include "text/plain_text.hpp"

namespace polefit_cli {
namespace {

using Rows = std::vector<std::vector<std::string>>;

/// "2-port, S parameters, reference 50 ohms"
std::string matrix_text(const polefit::NetworkMatrix& matrix) {
  const std::vector<double>& references = matrix.references;
  std::string text =
      std::to_string(references.size()) + "-port, " + std::string(1, matrix.parameter) + " parameters, ";
  if (!matrix.modes.empty()) {
    text += "mixed modes";
    for (const polefit::PortMode& mode : matrix.modes) {
      text += " " + polefit::mode_name(mode);
    }
    text += ", ";
  }
  if (matrix.references_vary) {
    return text + "references that vary with frequency";
  }
  text += "reference ";
  if (std::all_of(references.begin(), references.end(), [&](double r) { return r == references.front(); })) {
    return text + short_number(references.front(), 6) + " ohms";
  }
  for (std::size_t i = 0; i < references.size(); ++i) {
    text += (i == 0 ? "" : ", ") + short_number(references[i], 6);
  }
  return text + " ohms";
}

std::string band_text(double lowest, double highest) {
  return frequency_text(lowest) + " to " + frequency_text(highest);
}

std::string decibel_text(double modulus) {
  return modulus > 0.0 ? short_number(20.0 * std::log10(modulus), 4) + " dB" : "-inf dB";
}

std::vector<std::string> pole_row(std::complex<double> pole) {
  const double size = std::abs(pole);
  const double damping = size > 0.0 ? -pole.real() / size : 0.0;
  const bool real = pole.imag() == 0.0;
  const std::string quality =
      damping > 0.0 ? short_number(0.5 / damping) : (damping == 0.0 ? "inf" : "unstable");
  return {real ? "  real" : "  pair",   frequency_text(size / (2.0 * std::numbers::pi)),
          real ? "" : quality,          short_number(damping),
          short_number(pole.real(), 6), real ? "" : "+- " + short_number(std::abs(pole.imag()), 6)};
}

}  // namespace

std::string info_text(const polefit::Network& network) {
  const std::size_t samples = network.frequencies.size();
  const auto [lowest, highest] = std::minmax_element(network.frequencies.begin(), network.frequencies.end());
  std::string text = text::printable(network.file) + "\n";
  if (network.matrix) {
    text += "  " + matrix_text(*network.matrix) + "\n";
  }
  text += "  " + text::counted(network.names.size(), "response") + ", " + text::counted(samples, "sample") +
          " from " + band_text(*lowest, *highest) + "\n\n";
  Rows rows{{"  response", "smallest", "largest", "at"}};
  for (std::size_t r = 0; r < network.names.size(); ++r) {
    double smallest = std::numeric_limits<double>::infinity();
    double largest = 0.0;
    std::size_t place = 0;
    for (std::size_t k = 0; k < samples; ++k) {
      const double modulus = std::abs(network.values[r * samples + k]);
      smallest = std::min(smallest, modulus);
      if (modulus > largest) {
        largest = modulus;
        place = k;
      }
    }
    rows.push_back({"  " + text::printable(network.names[r]), decibel_text(smallest), decibel_text(largest),
                    frequency_text(network.frequencies[place])});
  }
  return text + table_text(rows);
}

std::string model_heading(const polefit::Model& model, const std::string& file) {
  std::string text = text::printable(file) + "\n  model with " + text::counted(model.poles.size(), "pole") +
                     " and " + text::counted(model.responses(), "response") + "\n";
  if (model.network) {
    text += "  " + matrix_text(*model.network) + "\n";
  }
  if (model.origin) {
    text += "  fitted to " + text::counted(model.origin->samples, "sample") + " from " +
            band_text(model.origin->lowest, model.origin->highest) + "\n";
  }
  return text;
}

std::string info_text(const polefit::Model& model, const std::string& file) {
  std::string text = model_heading(model, file);
  if (const std::optional<std::string> passivity = passivity_line(model)) {
    text += "  passive: " + *passivity + "\n";
  }
  text += "\n";
  Rows rows{{"  response", "constant", "proportional in s"}};
  if (model.origin) {
    rows.front().insert(rows.front().end(), {"relative rms", "rms", "largest error"});
  }
  for (std::size_t r = 0; r < model.responses(); ++r) {
    rows.push_back({"  " + text::printable(response_name(model, r)), short_number(model.constants[r], 6),
                    short_number(model.proportionals[r], 6)});
    if (model.origin) {
      const polefit::ResponseError& error = model.origin->errors[r];
      rows.back().insert(rows.back().end(), {short_number(error.relative, 2), short_number(error.rms, 2),
                                             short_number(error.largest, 2)});
    }
  }
  text += table_text(rows) + "\n";
  Rows poles{{"  poles", "frequency", "Q", "damping", "real part in rad/s", "imaginary part"}};
  for (const std::complex<double> pole : model.poles) {
    if (!(pole.imag() < 0.0)) {
      poles.push_back(pole_row(pole));
    }
  }
  return text + table_text(poles);
}

}  // namespace polefit_cli
