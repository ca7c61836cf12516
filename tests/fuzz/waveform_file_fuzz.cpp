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

std::vector<std::string> tokens_of(const std::string& line) {
  std::vector<std::string> tokens(1);
  for (const char c : line) {
    if (c == ' ' || c == '\t' || c == ',' || c == ';') {
      tokens.emplace_back();
    } else {
      tokens.back() += c;
    }
  }
  tokens.erase(std::remove(tokens.begin(), tokens.end(), std::string()), tokens.end());
  return tokens;
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
    if (tokens.empty() || tokens[0][0] == '#' || tokens[0][0] == '!') {
      continue;
    }
    std::vector<double> row;
    bool good = true;
    for (std::size_t i = 0; i < tokens.size(); ++i) {
      const std::optional<double> value = s_solver::fuzz::reference_value(tokens[i], 0.0);
      if (i == 0 && header && !value) {
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
    const bool fits = row.size() > 1 && (count == 0 || row.size() == reading.rows[0].size()) &&
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
