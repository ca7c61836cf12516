#include "polefit_io/network/touchstone/matrix.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>

#include "polefit_io/network/touchstone/place.hpp"

namespace polefit_io {
namespace {

/// The values of one response at the frequencies [begin, end).
void fill_response(const RawData& data, polefit::ComplexFormat format, bool normalised, std::size_t response,
                   std::size_t begin, std::size_t end, polefit::Network& network) {
  const polefit::NetworkMatrix& matrix = *network.matrix;
  const polefit::MatrixElement& element = matrix.elements[response];
  const std::size_t stride = data.layout.values();
  const double scale = normalisation(element, matrix.references);
  const bool multiplied = normalised && matrix.parameter == 'Z';
  const bool divided = normalised && matrix.parameter == 'Y';
  const double* const from = data.values.data() + data.layout.place(element);
  std::complex<double>* const to = network.values.data() + response * network.frequencies.size();
  for (std::size_t k = begin; k < end; ++k) {
    std::complex<double> value = complex_value(format, from[k * stride], from[k * stride + 1]);
    if (multiplied) {
      value *= scale;
    } else if (divided) {
      value /= scale;
    }
    if (!std::isfinite(value.real()) || !std::isfinite(value.imag())) {
      TouchstonePlace{network.file, data.lines[k]}.fail(
          "a value of " + network.names[response] + " beyond a double's range", "finite values");
    }
    to[k] = value;
  }
}

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

double normalisation(const polefit::MatrixElement& element, const std::vector<double>& references) {
  const double row = references[element.row - 1];
  const double column = references[element.column - 1];
  return row == column ? row : std::sqrt(row) * std::sqrt(column);
}

polefit::Network network_of(const RawData& data, const OptionLine& options, bool normalised,
                            const std::string& file) {
  const std::size_t ports = data.layout.ports;
  polefit::Network network;
  network.file = file;
  network.frequencies = data.frequencies;
  network.matrix = polefit::NetworkMatrix{.parameter = options.parameter,
                                          .references = options.references,
                                          .elements = polefit::all_elements(ports)};
  network.matrix->references.resize(ports, options.references.front());
  for (const polefit::MatrixElement& element : network.matrix->elements) {
    network.names.push_back(polefit::element_name(options.parameter, element, ports));
  }
  const std::size_t samples = network.frequencies.size();
  network.values.resize(network.names.size() * samples);
  // Few frequencies at a time, so that what is read of them stays in the cache while all responses take it.
  constexpr std::size_t block = 16;
  for (std::size_t begin = 0; begin < samples; begin += block) {
    const std::size_t end = std::min(begin + block, samples);
    for (std::size_t response = 0; response < network.names.size(); ++response) {
      fill_response(data, options.format, normalised, response, begin, end, network);
    }
  }
  return network;
}

}  // namespace polefit_io
