#include "polefit_cli/commands/waveform_file.hpp"

#include <cmath>
#include <utility>

#include "text/counted.hpp"
#include "text/io_error.hpp"
#include "text/number_text.hpp"
#include "text/text_lines.hpp"

namespace polefit_cli {
namespace {

constexpr std::string_view separators = " \t,;";

/// The cells of a line, without those that are empty.
std::vector<std::string_view> cells_of(std::string_view line) {
  std::vector<std::string_view> cells;
  for (std::size_t first = line.find_first_not_of(separators); first != std::string_view::npos;
       first = line.find_first_not_of(separators)) {
    line.remove_prefix(first);
    cells.push_back(line.substr(0, line.find_first_of(separators)));
    line.remove_prefix(cells.back().size());
  }
  return cells;
}

}  // namespace

std::vector<polefit::Waveform> read_waveforms(std::string_view content, const std::string& file) {
  std::vector<polefit::Waveform> waveforms;
  text::TextLines lines(content);
  const auto refuse = [&](std::string found, std::string expected) {
    throw text::IoError(
        {.file = file, .record = lines.number(), .found = std::move(found), .expected = std::move(expected)});
  };
  bool first = true;
  while (lines.next()) {
    const std::vector<std::string_view> cells = cells_of(lines.line());
    if (cells.empty() || cells.front().front() == '#' || cells.front().front() == '!') {
      continue;
    }
    double time = 0.0;
    const bool has_time = text::parse_real(cells.front(), time);
    if (std::exchange(first, false) && !has_time) {
      continue;
    }
    if (!has_time || !std::isfinite(time)) {
      refuse(text::excerpt(cells.front()), "a time in seconds");
    }
    if (waveforms.empty()) {
      if (cells.size() < 2) {
        refuse("a time alone", "a value for it, or one for each port");
      }
      waveforms.resize(cells.size() - 1);
    }
    if (cells.size() != waveforms.size() + 1) {
      refuse(text::counted(cells.size(), "value"),
             std::to_string(waveforms.size() + 1) + " as on the lines before");
    }
    const std::vector<double>& times = waveforms.front().times;
    if (!times.empty() && time < times.back()) {
      refuse("the time " + text::excerpt(cells.front()), "one that is not before that of the line above");
    }
    if (times.size() > 1 && time == times[times.size() - 2]) {
      refuse("the time " + text::excerpt(cells.front()) + " for the third time",
             "two lines of a time, a jump, at most");
    }
    for (std::size_t i = 0; i < waveforms.size(); ++i) {
      double value = 0.0;
      if (!text::parse_real(cells[i + 1], value) || !std::isfinite(value)) {
        refuse(text::excerpt(cells[i + 1]), "a finite number of volts");
      }
      waveforms[i].times.push_back(time);
      waveforms[i].values.push_back(value);
    }
  }
  if (waveforms.empty()) {
    throw text::IoError({.file = file, .found = "no line with numbers", .expected = "times and values"});
  }
  return waveforms;
}

}  // namespace polefit_cli
