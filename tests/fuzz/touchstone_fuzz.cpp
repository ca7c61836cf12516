/// A Touchstone text is refused or becomes a network that hangs together and reads back from what is written.

#include <algorithm>
#include <complex>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/fuzz.hpp"
#include "polefit_io/network/touchstone_reader.hpp"
#include "polefit_io/network/touchstone_writer.hpp"
#include "text/io_error.hpp"

namespace {

using polefit::Network;
using s_solver::fuzz::check;
using s_solver::fuzz::same_number;

bool same_numbers(const std::vector<double>& a, const std::vector<double>& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), same_number);
}

bool same_numbers(const std::vector<std::complex<double>>& a, const std::vector<std::complex<double>>& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](std::complex<double> x, std::complex<double> y) {
                      return same_number(x.real(), y.real()) && same_number(x.imag(), y.imag());
                    });
}

std::optional<Network> read(std::string_view text, std::optional<std::size_t> ports) {
  try {
    return polefit_io::read_touchstone(text, "text", ports);
  } catch (const text::IoError& error) {
    check(error.details().file == "text", "a refusal names the file");
    check(!error.details().found.empty() && !error.details().expected.empty(),
          "a refusal says what was found and what was expected");
    // Of a text of blanks there is no line to name.
    check(error.details().record > 0 || error.details().found == "the end of the file",
          "a refusal names the line");
    return std::nullopt;
  }
}

void check_consistent(const Network& network, std::optional<std::size_t> ports) {
  const polefit::NetworkMatrix& matrix = network.matrix.value();
  const std::size_t own_ports = matrix.references.size();
  check(!ports || *ports == own_ports, "the ports are those that were asked for");
  check(matrix.elements == polefit::all_elements(own_ports), "there are all elements, row by row");
  check(network.names.size() == matrix.elements.size(), "each response has a name");
  check(!network.frequencies.empty(), "there is a frequency");
  check(network.values.size() == matrix.elements.size() * network.frequencies.size(),
        "each response has a value at each frequency");
  check(std::is_sorted(network.frequencies.begin(), network.frequencies.end()) &&
            network.frequencies.front() >= 0.0 && std::isfinite(network.frequencies.back()),
        "the frequencies are finite, not below zero, and do not decrease");
  check(
      std::all_of(network.values.begin(), network.values.end(),
                  [](std::complex<double> v) { return std::isfinite(v.real()) && std::isfinite(v.imag()); }),
      "the values are finite");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  s_solver::fuzz::Bytes bytes(data, size);
  constexpr int most_ports = 15;  // some kilobytes of text hold a frequency of no more
  const int chosen = bytes.take_up_to(most_ports);
  const auto ports = chosen == 0 ? std::nullopt : std::optional(static_cast<std::size_t>(chosen));

  const std::optional<Network> network = read(bytes.rest(), ports);
  if (!network) {
    return 0;
  }
  check_consistent(*network, ports);
  for (const int version : {1, 2}) {
    const auto unit = static_cast<polefit::FrequencyUnit>(size % 4);
    const std::string text = polefit_io::touchstone_of(*network, {.unit = unit, .version = version});
    const std::optional<Network> back = read(text, network->matrix->references.size());
    check(back.has_value(), "what is written can be read");
    check(same_numbers(back->frequencies, network->frequencies), "the frequencies keep their bits");
    check(same_numbers(back->values, network->values), "the values keep their bits");
    check(back->names == network->names && back->matrix->parameter == network->matrix->parameter,
          "the responses keep their meaning");
    // Version 1 has no place for the references of Y and Z.
    check(same_numbers(back->matrix->references, network->matrix->references) ||
              (version == 1 && network->matrix->parameter != 'S'),
          "the references keep their bits");
  }
  return 0;
}
