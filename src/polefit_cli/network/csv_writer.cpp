#include "polefit_cli/network/csv_writer.hpp"

#include <array>
#include <charconv>
#include <cstddef>
#include <string_view>

namespace polefit_cli {
namespace {

void append_number(std::string& text, double value) {
  std::array<char, 32> digits;  // the shortest form that reads back has 24 characters at most
  text.append(digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr);
}

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

std::string csv_text(const Network& network) {
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
    append_number(text, network.frequencies[k]);
    for (std::size_t r = 0; r < network.names.size(); ++r) {
      const std::complex<double> value = network.values[r * samples + k];
      text += ',';
      append_number(text, value.real());
      text += ',';
      append_number(text, value.imag());
    }
    text += '\n';
  }
  return text;
}

}  // namespace polefit_cli
