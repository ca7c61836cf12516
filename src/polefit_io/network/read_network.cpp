#include "polefit_io/network/read_network.hpp"

#include <algorithm>
#include <cstddef>
#include <filesystem>

#include "polefit_io/network/csv_reader.hpp"
#include "polefit_io/network/sample_reader.hpp"
#include "polefit_io/network/touchstone_reader.hpp"
#include "text/letters.hpp"
#include "text/text_lines.hpp"

namespace polefit_io {
namespace {

polefit::NetworkFormat format_of_content(std::string_view text) {
  bool option_line = false;
  for (text::TextLines lines(text); lines.next();) {
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

polefit::NetworkFormat format_of(std::string_view text, const std::string& file) {
  std::string extension = std::filesystem::path(file).extension().string();
  std::transform(extension.begin(), extension.end(), extension.begin(), text::lower);
  if (extension == ".ts" || polefit::ports_of_extension(file)) {
    return polefit::NetworkFormat::touchstone;
  }
  if (extension == ".csv" || extension == ".tsv") {
    return polefit::NetworkFormat::csv;
  }
  return format_of_content(text);
}

}  // namespace

polefit::Network network_of(std::string_view text, const std::string& file, polefit::NetworkFormat format) {
  switch (format == polefit::NetworkFormat::by_name ? format_of(text, file) : format) {
    case polefit::NetworkFormat::touchstone:
      return read_touchstone(text, file, polefit::ports_of_extension(file));
    case polefit::NetworkFormat::csv:
      return read_csv(text, file);
    case polefit::NetworkFormat::samples:
    case polefit::NetworkFormat::by_name:
      break;
  }
  return read_samples(text, file);
}

}  // namespace polefit_io
