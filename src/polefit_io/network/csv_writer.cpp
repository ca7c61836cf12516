#include "polefit_io/network/csv_writer.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <iterator>
#include <string_view>
#include <utility>
#include <vector>

#include "polefit_io/network/csv_header.hpp"
#include "text/decimal.hpp"
#include "text/io_error.hpp"
#include "text/plain_text.hpp"
#include "text/text_lines.hpp"

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

[[noreturn]] void fail(const polefit::Network& network, std::string found, std::string expected) {
  throw text::IoError({.file = network.file, .found = std::move(found), .expected = std::move(expected)});
}

/// The names as the table has them: what terminals would obey in them is replaced, for tables are shown
/// there.
std::vector<std::string> shown_names(const polefit::Network& network) {
  std::vector<std::string> names;
  std::transform(network.names.begin(), network.names.end(), std::back_inserter(names), text::printable);
  return names;
}

void check_names(const polefit::Network& network, const std::vector<std::string>& shown) {
  std::vector<std::string_view> names;
  for (const std::string& name : shown) {
    names.push_back(text::without_blanks(name));
    if (names.back().empty() || name.size() > longest_name) {
      fail(network, "the name " + text::excerpt(name) + " of a response",
           "names of 1 to " + std::to_string(longest_name) + " bytes that are not blank");
    }
  }
  std::sort(names.begin(), names.end());
  if (const auto twice = std::adjacent_find(names.begin(), names.end()); twice != names.end()) {
    fail(network, "the response " + text::excerpt(*twice) + " twice", "a name of its own for each response");
  }
}

/// Refuses what read_csv would refuse.
void check_readable(const polefit::Network& network, const std::vector<std::string>& names) {
  if (network.names.empty() || network.frequencies.empty()) {
    fail(network, network.names.empty() ? "no responses" : "no frequencies", "at least one");
  }
  check_names(network, names);
  if (!std::all_of(network.frequencies.begin(), network.frequencies.end(),
                   [](double f) { return std::isfinite(f) && f >= 0.0; })) {
    fail(network, "a frequency that is below 0 or not finite", "finite frequencies from 0 upwards");
  }
  if (!std::all_of(network.values.begin(), network.values.end(), [](std::complex<double> v) {
        return std::isfinite(v.real()) && std::isfinite(v.imag());
      })) {
    fail(network, "a value that is not finite", "finite values");
  }
}

}  // namespace

std::string csv_of(const polefit::Network& network) {
  const std::vector<std::string> names = shown_names(network);
  check_readable(network, names);
  std::string text = "frequency";
  for (const std::string& name : names) {
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
