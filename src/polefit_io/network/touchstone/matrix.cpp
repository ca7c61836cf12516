#include "polefit_io/network/touchstone/matrix.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <utility>

#include "polefit_io/network/touchstone/place.hpp"

namespace polefit_io {
namespace {

using polefit::MatrixElement;
using polefit::PortMode;

/// The references of modes, by which S of modes is that of their voltages and currents: a differential mode
/// has those of both ports in series, a common one in parallel.
std::vector<double> references_of(const std::vector<PortMode>& modes, const std::vector<double>& single) {
  if (modes.empty()) {
    return single;
  }
  std::vector<double> references;
  for (const PortMode& mode : modes) {
    const double reference = single[mode.port - 1];
    references.push_back(mode.kind == 'S' ? reference
                                          : (mode.kind == 'D' ? 2.0 * reference : reference / 2.0));
  }
  return references;
}

double geometric_mean(double a, double b) { return a == b ? a : std::sqrt(a) * std::sqrt(b); }

}  // namespace

std::complex<double> from_polar(double magnitude, double degrees) {
  int quarters = 0;
  const double rest = std::remquo(degrees, 90.0, &quarters) * (std::numbers::pi / 180.0);
  const double re = magnitude * std::cos(rest);
  const double im = magnitude * std::sin(rest);
  switch (static_cast<unsigned>(quarters) % 4U) {
    case 0:
      return {re, im};
    case 1:
      return {-im, re};
    case 2:
      return {-re, -im};
    default:
      return {im, -re};
  }
}

std::complex<double> complex_value(polefit::ComplexFormat format, double first, double second) {
  switch (format) {
    case polefit::ComplexFormat::ri:
      return {first, second};
    case polefit::ComplexFormat::ma:
      return from_polar(first, second);
    default:
      return from_polar(std::pow(10.0, first / 20.0), second);
  }
}

double denormalisation(char parameter, const MatrixElement& element, const std::vector<double>& references) {
  const double row = references[element.row - 1];
  const double column = references[element.column - 1];
  switch (parameter) {
    case 'Z':
      return geometric_mean(row, column);
    case 'Y':
      return 1.0 / geometric_mean(row, column);
    case 'H':
    case 'G':
      if (element.row != element.column) {
        return std::sqrt(parameter == 'H' ? references[0] / references[1] : references[1] / references[0]);
      }
      return (element.row == 1) == (parameter == 'H') ? row : 1.0 / row;
    default:
      return 1.0;
  }
}

NetworkBuilder::NetworkBuilder(const Layout& layout, const OptionLine& options, bool normalised,
                               const std::vector<PortMode>& modes, const std::string& file)
    : layout_(layout),
      format_(options.format),
      normalised_(normalised),
      single_(options.references),
      store_(layout.ports * layout.ports) {
  network_.file = file;
  single_.resize(layout.ports, single_.front());
  network_.matrix = polefit::NetworkMatrix{.parameter = options.parameter,
                                           .references = references_of(modes, single_),
                                           .elements = {},
                                           .modes = modes};
}

void NetworkBuilder::fill(const RawData& data, std::size_t response, std::complex<double>* to) const {
  const MatrixElement element{response / layout_.ports + 1, response % layout_.ports + 1};
  const char parameter = network_.matrix->parameter;
  const std::size_t stride = layout_.values();
  // A quotient is rounded once less than a product with the inverse.
  const double divisor = normalised_ && parameter == 'Y' ? denormalisation('Z', element, single_) : 1.0;
  const double scale = normalised_ && parameter != 'Y' ? denormalisation(parameter, element, single_) : 1.0;
  const double* const from = data.values.data() + layout_.place(element);
  for (std::size_t k = 0; k < data.frequencies.size(); ++k) {
    std::complex<double> value = complex_value(format_, from[k * stride], from[k * stride + 1]);
    if (divisor != 1.0) {
      value /= divisor;
    } else if (scale != 1.0) {
      value *= scale;
    }
    if (!std::isfinite(value.real()) || !std::isfinite(value.imag())) {
      TouchstonePlace{network_.file, data.lines[k]}.fail(
          "a value of " + polefit::element_name(*network_.matrix, element) + " beyond a double's range",
          "finite values");
    }
    to[k] = value;
  }
}

void NetworkBuilder::append(const RawData& data) {
  const std::size_t samples = data.frequencies.size();
  network_.frequencies.insert(network_.frequencies.end(), data.frequencies.begin(), data.frequencies.end());
  std::complex<double>* const block = store_.append(samples);
  for (std::size_t response = 0; response < layout_.ports * layout_.ports; ++response) {
    fill(data, response, block + response * samples);
  }
}

polefit::Network NetworkBuilder::finished() {
  network_.matrix->elements = polefit::all_elements(layout_.ports);
  network_.names.reserve(network_.matrix->elements.size());
  for (const MatrixElement& element : network_.matrix->elements) {
    network_.names.push_back(polefit::element_name(*network_.matrix, element));
  }
  network_.values = store_.by_response();
  return std::move(network_);
}

}  // namespace polefit_io
