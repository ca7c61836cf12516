#include "polefit_cli/network/read_network.hpp"

#include <algorithm>
#include <cstddef>
#include <filesystem>

#include "polefit_cli/network/csv_reader.hpp"
#include "polefit_cli/network/sample_reader.hpp"
#include "polefit_cli/network/text_lines.hpp"
#include "polefit_cli/network/touchstone_reader.hpp"

namespace polefit_cli {
namespace {

constexpr char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

NetworkFormat format_of_content(std::string_view text) {
  bool option_line = false;
  for (TextLines lines(text); lines.next();) {
    const std::string_view line = without_blanks(lines.line());
    if (line.empty() || line.front() == '!') {
      continue;
    }
    if (line.front() == '#') {
      option_line = true;
      continue;
    }
    const char first = lower(line.front());
    if (first == '"' || (first >= 'a' && first <= 'z')) {
      return NetworkFormat::csv;
    }
    return option_line || first == '[' ? NetworkFormat::touchstone : NetworkFormat::samples;
  }
  return option_line ? NetworkFormat::touchstone : NetworkFormat::samples;
}

NetworkFormat format_of(std::string_view text, const std::string& file) {
  std::string extension = std::filesystem::path(file).extension().string();
  std::transform(extension.begin(), extension.end(), extension.begin(), lower);
  if (extension == ".ts" || ports_of_extension(file)) {
    return NetworkFormat::touchstone;
  }
  if (extension == ".csv" || extension == ".tsv") {
    return NetworkFormat::csv;
  }
  return format_of_content(text);
}

}  // namespace

Network read_network(std::string_view text, const std::string& file, NetworkFormat format) {
  switch (format == NetworkFormat::by_name ? format_of(text, file) : format) {
    case NetworkFormat::touchstone:
      return read_touchstone(text, file, ports_of_extension(file));
    case NetworkFormat::csv:
      return read_csv(text, file);
    case NetworkFormat::samples:
    case NetworkFormat::by_name:
      break;
  }
  return read_samples(text, file);
}

}  // namespace polefit_cli
