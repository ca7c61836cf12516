#include "polefit_io/network/read_network.hpp"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <utility>

#include "polefit_io/network/csv_reader.hpp"
#include "polefit_io/network/sample_reader.hpp"
#include "polefit_io/network/touchstone_reader.hpp"
#include "text/letters.hpp"
#include "text/streamed_lines.hpp"
#include "text/text_lines.hpp"

namespace polefit_io {
namespace {

polefit::NetworkFormat format_of_content(text::StreamedLines& lines) {
  bool option_line = false;
  while (lines.next()) {
    const std::string_view line = text::without_blanks(lines.line());
    if (line.empty() || line.front() == '!') {
      continue;
    }
    if (line.front() == '#') {
      option_line = true;
      continue;
    }
    const char first = text::lower(line.front());
    if (first == '"' || (first >= 'a' && first <= 'z')) {
      return polefit::NetworkFormat::csv;
    }
    return option_line || first == '[' ? polefit::NetworkFormat::touchstone : polefit::NetworkFormat::samples;
  }
  return option_line ? polefit::NetworkFormat::touchstone : polefit::NetworkFormat::samples;
}

/// What the name says, or else the content, whose first line is the next one before and behind.
polefit::NetworkFormat format_of(text::StreamedLines& lines, const std::string& file) {
  std::string extension = std::filesystem::path(file).extension().string();
  std::transform(extension.begin(), extension.end(), extension.begin(), text::lower);
  if (extension == ".ts" || polefit::ports_of_extension(file)) {
    return polefit::NetworkFormat::touchstone;
  }
  if (extension == ".csv" || extension == ".tsv") {
    return polefit::NetworkFormat::csv;
  }
  lines.mark();
  const polefit::NetworkFormat format = format_of_content(lines);
  lines.rewind();
  return format;
}

/// `rest` gives the text from the first line on, where it is wanted whole.
template <class Rest>
polefit::Network network_of(text::StreamedLines& lines, const std::string& file,
                            polefit::NetworkFormat format, const Rest& rest) {
  using enum polefit::NetworkFormat;
  switch (format == by_name ? format_of(lines, file) : format) {
    case touchstone:
      return read_touchstone(lines, file, polefit::ports_of_extension(file));
    case csv:
      return read_csv(lines, file);
    default:
      return read_samples(rest(), file);
  }
}

}  // namespace

polefit::Network network_of(std::string_view text, const std::string& file, polefit::NetworkFormat format) {
  text::StreamedLines lines(text);
  return network_of(lines, file, format, [&] { return text; });
}

polefit::Network network_of(int descriptor, std::string begun, const std::string& file,
                            polefit::NetworkFormat format) {
  text::StreamedLines lines(descriptor, file, std::move(begun));
  return network_of(lines, file, format, [&] {
    lines.mark();
    return lines.take_rest();
  });
}

}  // namespace polefit_io
