/// A text is refused as weights, with the line, or is the numbers that a second reading of the rules finds.

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/fuzz.hpp"
#include "fuzz/reference_reader.hpp"
#include "polefit_cli/commands/weights.hpp"
#include "text/io_error.hpp"

namespace {

using s_solver::fuzz::check;

/// The weights, or the line of the first that is none.
struct Reading {
  std::vector<double> weights;
  std::int64_t bad_line = 0;
};

Reading reference_reading(std::string text) {
  Reading reading;
  if (text.starts_with("\xEF\xBB\xBF")) {
    text.erase(0, 3);
  }
  std::int64_t number = 0;
  while (!text.empty()) {
    ++number;
    const std::size_t end = std::min(text.find('\n'), text.size());
    std::string line = text.substr(0, end);
    text.erase(0, end + 1);
    if (line.ends_with('\r')) {
      line.pop_back();
    }
    std::string token;
    bool first = true;
    for (const char c : line + '\n') {
      const bool blank = c == ' ' || c == '\t' || c == '\n';
      if (first && (c == '#' || c == '!')) {
        break;
      }
      first = first && blank;
      if (!blank && c != ',' && c != ';') {
        token += c;
        continue;
      }
      if (token.empty()) {
        continue;
      }
      const std::optional<double> value = s_solver::fuzz::reference_value(token, 0.0);
      if (!value || !std::isfinite(*value) || *value < 0.0) {
        reading.bad_line = number;
        return reading;
      }
      reading.weights.push_back(*value);
      token.clear();
    }
  }
  return reading;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  s_solver::fuzz::Bytes bytes(data, size);
  polefit::Network network;
  network.file = "network";
  network.frequencies.resize(static_cast<std::size_t>(1 + bytes.take_up_to(3)));
  network.names.resize(static_cast<std::size_t>(1 + bytes.take_up_to(2)));
  network.values.resize(network.frequencies.size() * network.names.size());
  const Reading expected = reference_reading(std::string(bytes.rest()));
  const std::size_t count = expected.weights.size();
  const bool fits = count == network.frequencies.size() || count == network.values.size();
  try {
    const std::vector<double> found = polefit_cli::read_weights(bytes.rest(), "weights", network);
    check(expected.bad_line == 0 && fits, "what is taken is as many weights as there may be");
    check(std::equal(found.begin(), found.end(), expected.weights.begin(), expected.weights.end(),
                     s_solver::fuzz::same_number),
          "weights are those that stand there");
  } catch (const text::IoError& error) {
    check(expected.bad_line != 0 || !fits, "weights that fit are taken");
    check(error.details().file == "weights" && error.details().record == expected.bad_line,
          "a refusal names the line");
    check(!error.details().found.empty() && !error.details().expected.empty(),
          "a refusal says what was found and what was expected");
  }
  return 0;
}
