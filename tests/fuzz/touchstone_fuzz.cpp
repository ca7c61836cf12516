/// A Touchstone text is refused or becomes a network that hangs together and reads back from what is written.

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <complex>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/fuzz.hpp"
#include "polefit_io/network/touchstone_reader.hpp"
#include "polefit_io/network/touchstone_writer.hpp"
#include "text/io_error.hpp"
#include "text/streamed_lines.hpp"

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

/// What `action` reads; nothing when it is refused, as it should be.
template <class Action>
std::optional<Network> unless_refused(std::string& refusal, const Action& action) {
  try {
    return action();
  } catch (const text::IoError& error) {
    check(error.details().file == "text", "a refusal names the file");
    check(!error.details().found.empty() && !error.details().expected.empty(),
          "a refusal says what was found and what was expected");
    // Of a text of blanks there is no line to name, and values that cannot be converted are named by
    // frequency.
    check(error.details().record > 0 || error.details().found == "the end of the file" ||
              error.details().found.find(" Hz, where ") != std::string::npos,
          "a refusal names the line");
    refusal = error.what();
    return std::nullopt;
  }
}

std::optional<Network> read(std::string_view text, std::optional<std::size_t> ports) {
  std::string refusal;
  return unless_refused(refusal, [&] { return polefit_io::read_touchstone(text, "text", ports); });
}

/// A file in memory, at its beginning.
class MemoryFile {
 public:
  explicit MemoryFile(std::string_view content) : descriptor_(::memfd_create("touchstone", MFD_CLOEXEC)) {
    check(descriptor_ >= 0, "a file can be made");
    check(::write(descriptor_, content.data(), content.size()) == static_cast<ssize_t>(content.size()) &&
              ::lseek(descriptor_, 0, SEEK_SET) == 0,
          "a file can be filled");
  }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  ~MemoryFile() { ::close(descriptor_); }
  int descriptor() const { return descriptor_; }

 private:
  int descriptor_;
};

bool same_network(const Network& a, const Network& b) {
  return same_numbers(a.frequencies, b.frequencies) && same_numbers(a.values, b.values) &&
         a.names == b.names && a.matrix->parameter == b.matrix->parameter &&
         a.matrix->modes == b.matrix->modes && a.matrix->references_vary == b.matrix->references_vary &&
         same_numbers(a.impedances, b.impedances);
}

/// Whatever part of a text has been read before, it means the same.
void check_blocks(std::string_view text, std::optional<std::size_t> ports, std::size_t begun) {
  std::string of_memory;
  std::string of_file;
  const auto whole =
      unless_refused(of_memory, [&] { return polefit_io::read_touchstone(text, "text", ports); });
  const MemoryFile file(text.substr(begun));
  const auto blocks = unless_refused(of_file, [&] {
    text::StreamedLines lines(file.descriptor(), "text", std::string(text.substr(0, begun)));
    return polefit_io::read_touchstone(lines, "text", ports);
  });
  check(of_memory == of_file && whole.has_value() == blocks.has_value(), "both are refused alike or neither");
  check(!whole || (same_network(*whole, *blocks) && whole->warnings == blocks->warnings),
        "both are the same network");
}

void check_consistent(const Network& network, std::optional<std::size_t> ports) {
  const polefit::NetworkMatrix& matrix = network.matrix.value();
  const std::size_t own_ports = matrix.references.size();
  check(!ports || *ports == own_ports, "the ports are those that were asked for");
  check(matrix.elements == polefit::all_elements(own_ports), "there are all elements, row by row");
  check(matrix.modes.empty() || !polefit::modes_fault(matrix.modes, own_ports),
        "modes are those of the ports");
  check(network.impedances.size() == (matrix.references_vary ? own_ports * network.frequencies.size() : 0),
        "impedances are there where they vary");
  for (const std::string& warning : network.warnings) {
    check(warning.starts_with("text"), "a warning names the file");
  }
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
  check_blocks(bytes.rest(), ports, size % (bytes.rest().size() + 1));
  if (!network) {
    return 0;
  }
  check_consistent(*network, ports);
  for (const int version : {1, 11, 2, 21}) {
    const auto unit = static_cast<polefit::FrequencyUnit>(size % 4);
    const std::string text = polefit_io::touchstone_of(*network, {.unit = unit, .version = version});
    const std::optional<Network> back = read(text, network->matrix->references.size());
    check(back.has_value(), "what is written can be read");
    check(same_numbers(back->frequencies, network->frequencies), "the frequencies keep their bits");
    check(same_numbers(back->values, network->values), "the values keep their bits");
    check(same_network(*back, *network), "the responses keep their meaning");
    // Versions 1.x have no place for the references of Y and Z.
    check(same_numbers(back->matrix->references, network->matrix->references) ||
              ((version == 1 || version == 11) && network->matrix->parameter != 'S'),
          "the references keep their bits");
  }
  return 0;
}
