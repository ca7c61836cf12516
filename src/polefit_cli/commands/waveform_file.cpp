#include "polefit_cli/commands/waveform_file.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "text/counted.hpp"
#include "text/io_error.hpp"
#include "text/number_text.hpp"
#include "text/text_lines.hpp"

namespace polefit_cli {
namespace {

constexpr std::string_view marks = ",;";

/// The cells of a line: between blanks, and between marks too where nothing stands, but for the end.
std::vector<std::string_view> cells_of(std::string_view line) {
  std::vector<std::string_view> cells;
  bool filled = false;  // since the last mark
  while (!line.empty()) {
    const std::size_t length = std::min(line.find_first_of(",; \t"), line.size());
    if (length > 0) {
      cells.push_back(line.substr(0, length));
      filled = true;
    } else if (marks.find(line.front()) != std::string_view::npos && !std::exchange(filled, false)) {
      cells.emplace_back();
    }
    line.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return cells;
}

/// What a name in a header does not.
bool begins_like_a_number(std::string_view cell) {
  return !cell.empty() && std::string_view("+-.0123456789").find(cell.front()) != std::string_view::npos;
}

/// Semicolons are between values where commas are in numbers.
bool has_decimal_commas(std::string_view line) {
  return line.find(';') != std::string_view::npos && line.find(',') != std::string_view::npos;
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
    const bool nothing =
        std::all_of(cells.begin(), cells.end(), [](std::string_view cell) { return cell.empty(); });
    if (nothing || cells.front().starts_with('#') || cells.front().starts_with('!')) {
      continue;
    }
    double time = 0.0;
    const bool has_time = text::parse_real(cells.front(), time);
    if (std::exchange(first, false) && !has_time && !begins_like_a_number(cells.front())) {
      continue;
    }
    if (has_decimal_commas(lines.line())) {
      refuse("commas beside semicolons", "one of them between values, and points in numbers");
    }
    const auto empty = std::find(cells.begin(), cells.end(), std::string_view());
    if (empty != cells.end()) {
      refuse("nothing for value " + std::to_string(empty - cells.begin() + 1), "a number");
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
