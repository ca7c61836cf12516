#include "polefit_io/network/touchstone/option_line.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <string>
#include <utility>

#include "polefit_io/network/touchstone/lines.hpp"
#include "text/io_error.hpp"
#include "text/letters.hpp"
#include "text/number_text.hpp"

namespace polefit_io {
namespace {

enum class OptionKind { unit, parameter, format, references };

struct OptionWord {
  std::string_view word;
  OptionKind kind;
  int value;
};

constexpr std::array option_words{
    OptionWord{"hz", OptionKind::unit, static_cast<int>(polefit::FrequencyUnit::hz)},
    OptionWord{"khz", OptionKind::unit, static_cast<int>(polefit::FrequencyUnit::khz)},
    OptionWord{"mhz", OptionKind::unit, static_cast<int>(polefit::FrequencyUnit::mhz)},
    OptionWord{"ghz", OptionKind::unit, static_cast<int>(polefit::FrequencyUnit::ghz)},
    OptionWord{"s", OptionKind::parameter, 'S'},
    OptionWord{"y", OptionKind::parameter, 'Y'},
    OptionWord{"z", OptionKind::parameter, 'Z'},
    OptionWord{"g", OptionKind::parameter, 'G'},
    OptionWord{"h", OptionKind::parameter, 'H'},
    OptionWord{"ri", OptionKind::format, static_cast<int>(polefit::ComplexFormat::ri)},
    OptionWord{"ma", OptionKind::format, static_cast<int>(polefit::ComplexFormat::ma)},
    OptionWord{"db", OptionKind::format, static_cast<int>(polefit::ComplexFormat::db)},
    OptionWord{"r", OptionKind::references, 0},
};

const OptionWord& option_of(std::string_view word, const TouchstonePlace& place) {
  const auto* const found = std::find_if(option_words.begin(), option_words.end(), [&](const OptionWord& o) {
    return text::equal_in_any_case(word, o.word);
  });
  if (found == option_words.end()) {
    place.fail(text::excerpt(word),
               "Hz, kHz, MHz or GHz, S, Y, Z, G or H, MA, DB or RI, or R and a resistance");
  }
  return *found;
}

/// The resistances that follow R, up to a word that begins with a letter.
std::vector<double> take_references(std::string_view& line, const TouchstonePlace& place) {
  std::vector<double> references;
  for (std::string_view rest = line; !rest.empty(); line = rest) {
    const std::string_view word = take_word(rest);
    if (word.empty() || text::is_letter(word.front())) {
      break;
    }
    references.push_back(reference_resistance(word, place));
  }
  if (references.empty()) {
    place.fail("R without a resistance", "R and a reference resistance in ohms");
  }
  return references;
}

}  // namespace

double reference_resistance(std::string_view word, const TouchstonePlace& place) {
  double value = 0.0;
  if (!text::parse_real(word, value) || !std::isfinite(value) || value <= 0.0) {
    place.fail(text::excerpt(word),
               "a reference resistance in ohms, above 0 (complex ones are not supported)");
  }
  return value;
}

OptionLine read_option_line(std::string_view line, const TouchstonePlace& place) {
  OptionLine options;
  std::array<bool, 4> seen{};  // of each kind
  for (std::string_view word = take_word(line); !word.empty(); word = take_word(line)) {
    const OptionWord& option = option_of(word, place);
    if (std::exchange(seen.at(static_cast<std::size_t>(option.kind)), true)) {
      place.fail(text::excerpt(word) + " beside another option of its kind", "each option once");
    }
    switch (option.kind) {
      case OptionKind::unit:
        options.unit = static_cast<polefit::FrequencyUnit>(option.value);
        break;
      case OptionKind::parameter:
        options.parameter = static_cast<char>(option.value);
        break;
      case OptionKind::format:
        options.format = static_cast<polefit::ComplexFormat>(option.value);
        break;
      case OptionKind::references:
        options.references = take_references(line, place);
        break;
    }
  }
  return options;
}

}  // namespace polefit_io
