/// A table is refused, or is a consistent network that is the same to the bit when it is written and read
/// again.

#include <cmath>
#include <set>

#include "fuzz/fuzz.hpp"
#include "polefit_io/network/csv_reader.hpp"
#include "polefit_io/network/csv_writer.hpp"
#include "text/io_error.hpp"

namespace {

using polefit::Network;
using s_solver::fuzz::check;
using s_solver::fuzz::same_number;

Network network_of(std::string_view text) {
  text::StreamedLines lines(text);
  return polefit_io::read_csv(lines, "table");
}

void check_consistent(const Network& network) {
  check(network.file == "table", "the network knows its file");
  check(!network.frequencies.empty() && !network.names.empty(), "there are samples and responses");
  check(network.values.size() == network.names.size() * network.frequencies.size(),
        "each response has a value at each sample");
  for (const double frequency : network.frequencies) {
    check(std::isfinite(frequency) && frequency >= 0.0, "a frequency is finite and not below 0");
  }
  for (const auto& value : network.values) {
    check(std::isfinite(value.real()) && std::isfinite(value.imag()), "a value is finite");
  }
  check(std::set(network.names.begin(), network.names.end()).size() == network.names.size(),
        "no name stands twice");
  if (!network.matrix) {
    return;
  }
  const std::size_t ports = network.matrix->references.size();
  check(network.matrix->elements.size() == network.names.size(), "each response is an element");
  for (std::size_t r = 0; r < network.names.size(); ++r) {
    const polefit::MatrixElement& element = network.matrix->elements[r];
    check(element.row >= 1 && element.row <= ports && element.column >= 1 && element.column <= ports,
          "an element is within the matrix");
    check(network.names[r] == polefit::element_name(network.matrix->parameter, element, ports),
          "a name is that of its element");
  }
}

void check_same(const Network& a, const Network& b) {
  check(a.names == b.names, "the names come back");
  check(a.frequencies.size() == b.frequencies.size(), "the samples come back");
  for (std::size_t k = 0; k < a.frequencies.size(); ++k) {
    check(same_number(a.frequencies[k], b.frequencies[k]), "a frequency comes back to the bit");
  }
  for (std::size_t i = 0; i < a.values.size(); ++i) {
    check(same_number(a.values[i].real(), b.values[i].real()) &&
              same_number(a.values[i].imag(), b.values[i].imag()),
          "a value comes back to the bit");
  }
  check(a.matrix.has_value() == b.matrix.has_value(), "a matrix comes back");
  if (a.matrix) {
    check(a.matrix->parameter == b.matrix->parameter && a.matrix->references == b.matrix->references &&
              a.matrix->elements == b.matrix->elements,
          "the matrix comes back");
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  s_solver::fuzz::Bytes bytes(data, size);
  Network network;
  try {
    network = network_of(bytes.rest());
  } catch (const text::IoError& error) {
    check(error.details().file == "table" && !error.details().found.empty() &&
              !error.details().expected.empty(),
          "a refusal says what was found and what was expected");
    return 0;
  }
  check_consistent(network);
  const Network again = network_of(polefit_io::csv_of(network));
  check_consistent(again);
  check_same(network, again);
  return 0;
}
