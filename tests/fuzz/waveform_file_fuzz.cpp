/// A text is refused as waveforms, with the line, or is the numbers that a second reading of the rules finds.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/fuzz.hpp"
#include "fuzz/reference_reader.hpp"
#include "polefit_cli/commands/waveform_file.hpp"
#include "text/io_error.hpp"

namespace {

using s_solver::fuzz::check;

struct Reading {
  std::vector<std::vector<double>> rows;
  std::int64_t bad_line = 0;
};

/// Tokens between marks, which may be empty but for the last, and of each the parts between blanks.
std::vector<std::string> tokens_of(std::string line) {
  const auto trim = [](std::string& text) {
    text.erase(0, std::min(text.find_first_not_of(" \t"), text.size()));
    text.erase(text.find_last_not_of(" \t") + 1);
  };
  std::vector<std::string> tokens;
  line += ',';
  std::string cell;
  bool last_was_empty = false;
  for (const char c : line) {
    if (c != ',' && c != ';') {
      cell += c;
      continue;
    }
    trim(cell);
    last_was_empty = cell.empty();
    do {
      const std::size_t blank = std::min(cell.find_first_of(" \t"), cell.size());
      tokens.push_back(cell.substr(0, blank));
      cell.erase(0, blank);
      trim(cell);
    } while (!cell.empty());
  }
  if (last_was_empty) {
    tokens.pop_back();
  }
  return tokens;
}

bool begins_like_a_number(const std::string& token) {
  return !token.empty() && std::string("+-.0123456789").find(token[0]) != std::string::npos;
}

Reading reference_reading(std::string text) {
  Reading reading;
  if (text.starts_with("\xEF\xBB\xBF")) {
    text.erase(0, 3);
  }
  bool header = true;
  for (std::int64_t line = 1; !text.empty(); ++line) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    std::string content = text.substr(0, end);
    text.erase(0, end + 1);
    if (content.ends_with('\r')) {
      content.pop_back();
    }
    const std::vector<std::string> tokens = tokens_of(content);
    const bool nothing =
        std::all_of(tokens.begin(), tokens.end(), [](const std::string& token) { return token.empty(); });
    if (nothing || tokens[0].starts_with('#') || tokens[0].starts_with('!')) {
      continue;
    }
    std::vector<double> row;
    bool good = true;
    for (std::size_t i = 0; i < tokens.size(); ++i) {
      const std::optional<double> value = s_solver::fuzz::reference_value(tokens[i], 0.0);
      if (i == 0 && header && !value && !begins_like_a_number(tokens[0])) {
        good = false;
        break;
      }
      row.push_back(value.value_or(std::nan("")));
    }
    const bool skipped = header && !good;
    header = false;
    if (skipped) {
      continue;
    }
    const std::size_t count = reading.rows.size();
    const bool one_mark = content.find(',') == std::string::npos || content.find(';') == std::string::npos;
    const bool fits = one_mark && row.size() > 1 && (count == 0 || row.size() == reading.rows[0].size()) &&
                      std::all_of(row.begin(), row.end(), [](double x) { return std::isfinite(x); }) &&
                      (count == 0 || row[0] >= reading.rows[count - 1][0]) &&
                      (count < 2 || row[0] != reading.rows[count - 2][0]);
    if (!fits) {
      reading.bad_line = line;
      return reading;
    }
    reading.rows.push_back(row);
  }
  return reading;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const Reading expected = reference_reading(text);
  const bool good = expected.bad_line == 0 && !expected.rows.empty();
  try {
    const std::vector<polefit::Waveform> found = polefit_cli::read_waveforms(text, "waveforms");
    check(good, "what is taken is times and values");
    check(found.size() + 1 == expected.rows[0].size(), "there is a waveform for every value");
    for (std::size_t i = 0; i < found.size(); ++i) {
      check(found[i].times.size() == expected.rows.size(), "there is a point for every line");
      for (std::size_t k = 0; k < expected.rows.size(); ++k) {
        check(s_solver::fuzz::same_number(found[i].times[k], expected.rows[k][0]) &&
                  s_solver::fuzz::same_number(found[i].values[k], expected.rows[k][i + 1]),
              "points are those that stand there");
      }
    }
  } catch (const text::IoError& error) {
    check(!good, "a table that fits is taken");
    check(error.details().file == "waveforms" && error.details().record == expected.bad_line,
          "a refusal names the line");
    check(!error.details().found.empty() && !error.details().expected.empty(),
          "a refusal says what was found and what was expected");
  }
  return 0;
}
