/// Networks from the values that a Touchstone text holds.
#pragma once

#include <complex>
#include <cstddef>
#include <string>
#include <vector>

#include "polefit/network.hpp"
#include "polefit_io/network/touchstone/option_line.hpp"
#include "polefit_io/network/touchstone/records.hpp"
#include "polefit_io/samples/sample_store.hpp"

namespace polefit_io {

/// Of a magnitude and an angle in degrees; at multiples of 90 degrees one part is exactly zero.
std::complex<double> from_polar(double magnitude, double degrees);

/// Of the two numbers that stand for it in a format.
std::complex<double> complex_value(polefit::ComplexFormat format, double first, double second);

/// What a normalised element is to be multiplied with to be in ohms, siemens or a ratio: of S 1, of Z
/// sqrt(R_i R_j), of Y one over that, of H and G the ratio of the units of its row and column. `references`
/// are in ohms, one a port.
double denormalisation(char parameter, const polefit::MatrixElement& element,
                       const std::vector<double>& references);

/// Makes a network of data that come some frequencies at a time.
class NetworkBuilder {
 public:
  /// That of all elements, row by row. Its values are normalised in the text if `normalised`. `options` have
  /// one reference or one for each port; of mixed modes they are those of the single ports.
  NetworkBuilder(const Layout& layout, const OptionLine& options, bool normalised,
                 const std::vector<polefit::PortMode>& modes, const std::string& file);

  /// Takes whole records. Throws text::IoError for a value beyond a double's range.
  void append(const RawData& data);

  /// The network; of H and G parameters its matrix has that parameter, and it is to be converted.
  polefit::Network finished();

 private:
  void fill(const RawData& data, std::size_t response, std::complex<double>* to) const;

  Layout layout_;
  polefit::ComplexFormat format_;
  bool normalised_;
  polefit::Network network_;
  std::vector<double> single_;  // references of the single ports, which normalise
  SampleStore store_;
};

}  // namespace polefit_io
