#include "polefit_io/network/csv_writer.hpp"

#include <cstddef>
#include <string_view>
#include "text/decimal.hpp"

namespace polefit_io {
namespace {

/// `cell`, within quotes if it could be taken for more than one cell.
void append_cell(std::string& text, std::string_view cell) {
  if (cell.find_first_of(",;\"()[]{}") == std::string_view::npos) {
    text += cell;
    return;
  }
  text += '"';
  for (const char c : cell) {
    text.append(c == '"' ? 2 : 1, c);
  }
  text += '"';
}

}  // namespace

std::string csv_of(const polefit::Network& network) {
  std::string text = "frequency";
  for (const std::string& name : network.names) {
    for (const char* part : {" re", " im"}) {
      text += ',';
      append_cell(text, name + part);
    }
  }
  text += '\n';
  const std::size_t samples = network.frequencies.size();
  for (std::size_t k = 0; k < samples; ++k) {
    text::append_shortest(text, network.frequencies[k]);
    for (std::size_t r = 0; r < network.names.size(); ++r) {
      const std::complex<double> value = network.values[r * samples + k];
      text += ',';
      text::append_shortest(text, value.real());
      text += ',';
      text::append_shortest(text, value.imag());
    }
    text += '\n';
  }
  return text;
}

}  // namespace polefit_io
