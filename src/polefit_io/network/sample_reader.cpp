#include "polefit_io/network/sample_reader.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

#include "text/free_format_reader.hpp"
#include "text/io_error.hpp"
#include "text/text_lines.hpp"

namespace polefit_io {
namespace {

/// Whether a line is two values and nothing else: no third one, no null value, no repeat and no end of a
/// read.
bool is_pair(std::string_view line) {
  std::size_t values = 0;
  bool inside = false;
  for (const char c : line) {
    if (c == '/' || c == '*') {
      return false;
    }
    const bool separates = c == ' ' || c == '\t' || c == '\r' || c == ',';
    values += !separates && !inside ? 1 : 0;
    inside = !separates;
  }
  return values == 2 && std::count(line.begin(), line.end(), ',') <= 1;
}

/// A table of two columns, which would be read as a sample from every two of its lines: frequency, value and
/// the next frequency.
void refuse_two_columns(std::string_view text, const std::string& file) {
  std::size_t pairs = 0;
  for (text::TextLines lines(text); lines.next();) {
    const std::string_view line = text::without_blanks(lines.line());
    if (!line.empty() && !is_pair(line)) {
      return;
    }
    pairs += line.empty() ? 0 : 1;
  }
  if (pairs > 1) {
    throw text::IoError({.file = file,
                         .found = "two values on every line",
                         .expected = "three, frequency, real and imaginary part, or a table whose header "
                                     "names its columns"});
  }
}

}  // namespace

polefit::Network read_samples(std::string_view text, const std::string& file) {
  using text::FreeFormatReader;
  refuse_two_columns(text, file);
  text::FreeFormatReader reader = text::FreeFormatReader::in_memory(text, file);
  polefit::Network network;
  network.file = file;
  network.names = {"f"};

  // Kept from sample to sample: a null value stands for the one before it.
  std::array<double, 3> sample{};
  const auto& [frequency, re, im] = sample;
  while (reader.read(sample) == text::FreeFormatReader::Result::complete) {
    for (std::size_t i = 0; i < sample.size(); ++i) {
      if (!std::isfinite(sample[i])) {
        reader.fail_at_last_read(static_cast<int>(i) + 1,
                                 std::isnan(sample[i]) ? "a value that is not a number" : "an infinite value",
                                 "a finite number");
      }
    }
    if (frequency < 0.0) {
      reader.fail_at_last_read(1, "a frequency below 0", "a frequency of at least 0");
    }
    network.frequencies.push_back(frequency);
    network.values.emplace_back(re, im);
  }
  if (network.frequencies.empty()) {
    throw text::IoError({.file = file,
                         .found = "no sample",
                         .expected = "frequency, real and imaginary part of at least one"});
  }
  return network;
}

}  // namespace polefit_io
