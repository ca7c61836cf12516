#include "polefit_io/network/touchstone/header.hpp"

#include <algorithm>
#include <string>

#include "polefit_io/network/touchstone/lines.hpp"
#include "polefit_io/network/touchstone/option_line.hpp"
#include "text/counted.hpp"
#include "text/io_error.hpp"
#include "text/letters.hpp"
#include "text/number_text.hpp"

namespace polefit_io {
namespace {

void check_version(std::string_view text, const TouchstonePlace& place) {
  if (text != "2.0" && text != "2.1") {
    place.fail("[Version] " + text::excerpt(text), "2.0 or 2.1, or no such line for versions 1.x");
  }
}

/// A number of things of which there is at least one.
std::size_t count_of(std::string_view text, const TouchstonePlace& place) {
  int value = 0;
  if (!text::parse_integer(text, value) || value < 1) {
    place.fail(text.empty() ? "no number" : text::excerpt(text), "an integer from 1 to 2147483647");
  }
  return static_cast<std::size_t>(value);
}

PortOrder order_of(std::string_view text, const TouchstonePlace& place) {
  if (text != "12_21" && text != "21_12") {
    place.fail("[Two-Port Data Order] " + text::excerpt(text), "12_21 or 21_12");
  }
  return text == "12_21" ? PortOrder::by_rows : PortOrder::by_columns;
}

MatrixFormat format_of(std::string_view text, const TouchstonePlace& place) {
  if (text::equal_in_any_case(text, "full")) {
    return MatrixFormat::full;
  }
  if (text::equal_in_any_case(text, "lower")) {
    return MatrixFormat::lower;
  }
  if (text::equal_in_any_case(text, "upper")) {
    return MatrixFormat::upper;
  }
  place.fail("[Matrix Format] " + text::excerpt(text), "Full, Lower or Upper");
}

/// A port's number; 0 for anything else.
std::size_t port_of(std::string_view text) {
  int value = 0;
  return text::parse_integer(text, value) && value > 0 ? static_cast<std::size_t>(value) : 0;
}

/// "S3", "D1,2" or "C1,2", in any case.
polefit::PortMode mode_of(std::string_view word, const TouchstonePlace& place) {
  const char kind = text::upper(word.front());
  const std::string_view ports = word.substr(1);
  const std::size_t comma = ports.find(',');
  const bool single = comma == std::string_view::npos;
  const polefit::PortMode mode{.kind = kind,
                               .port = port_of(ports.substr(0, comma)),
                               .other = single ? 0 : port_of(ports.substr(comma + 1))};
  if ((kind != 'S' || !single || mode.port == 0) &&
      ((kind != 'D' && kind != 'C') || single || mode.port == 0 || mode.other == 0)) {
    place.fail(text::excerpt(word), "a mode, such as S3 of a single port, D1,2 or C1,2 of a pair");
  }
  return mode;
}

void expect_no_value(const KeywordLine& line, const TouchstonePlace& place) {
  if (!line.rest.empty()) {
    place.fail(text::excerpt(line.rest) + " behind " + shown(line.keyword), "nothing there");
  }
}

}  // namespace

void TouchstoneHeader::admit(Keyword keyword, const TouchstonePlace& place) {
  if (seen_.empty() && keyword != Keyword::version) {
    place.fail(shown(keyword), "[Version] 2.0 before any other keyword");
  }
  if (std::find(seen_.begin(), seen_.end(), keyword) != seen_.end()) {
    place.fail("a second " + shown(keyword), "each keyword once");
  }
  if (keyword != Keyword::begin_information && keyword != Keyword::end_information) {
    seen_.push_back(keyword);
  }
}

void TouchstoneHeader::declare(const KeywordLine& line, const TouchstonePlace& place) {
  switch (line.keyword) {
    case Keyword::version:
      check_version(line.rest, place);
      break;
    case Keyword::number_of_ports:
      ports_ = count_of(line.rest, place);
      if (named_ports_ && *named_ports_ != *ports_) {
        place.fail("[Number of Ports] " + std::to_string(*ports_),
                   std::to_string(*named_ports_) + ", which the file's name says");
      }
      break;
    case Keyword::two_port_data_order:
      two_port_order_ = order_of(line.rest, place);
      break;
    case Keyword::number_of_frequencies:
      frequencies_ = count_of(line.rest, place);
      break;
    case Keyword::number_of_noise_frequencies:
      noise_frequencies_ = count_of(line.rest, place);
      break;
    case Keyword::reference:
      append_references(line.rest, place);
      break;
    case Keyword::matrix_format:
      format_ = format_of(line.rest, place);
      break;
    case Keyword::mixed_mode_order: {
      std::string_view rest = line.rest;
      for (std::string_view word = take_word(rest); !word.empty(); word = take_word(rest)) {
        modes_.push_back(mode_of(word, place));
      }
      modes_line_ = place.line;
      break;
    }
    default:
      expect_no_value(line, place);
  }
}

void TouchstoneHeader::append_references(std::string_view text, const TouchstonePlace& place) {
  for (std::string_view word = take_word(text); !word.empty(); word = take_word(text)) {
    references_.push_back(reference_resistance(word, place));
  }
}

Layout TouchstoneHeader::layout(const TouchstonePlace& place) const {
  if (!ports_) {
    place.fail("[Network Data]", "[Number of Ports] before it");
  }
  if (!references_.empty() && references_.size() != *ports_) {
    place.fail(text::counted(references_.size(), "resistance") + " of [Reference]",
               std::to_string(*ports_) + ", one for each port");
  }
  if (modes_line_ > 0) {
    if (const auto fault = polefit::modes_fault(modes_, *ports_)) {
      TouchstonePlace{place.file, modes_line_}.fail(
          "[Mixed-Mode Order] in which " + *fault,
          "each port once, as S alone or in a pair that has D and C");
    }
  }
  return {.ports = *ports_,
          .format = format_,
          .order = *ports_ == 2 ? two_port_order_.value_or(PortOrder::by_columns) : PortOrder::by_rows};
}

void TouchstoneHeader::check_counts(std::size_t frequencies, std::size_t noise_frequencies,
                                    const TouchstonePlace& place) const {
  if (frequencies_ && *frequencies_ != frequencies) {
    place.fail(std::to_string(frequencies) + " frequencies of network data",
               std::to_string(*frequencies_) + ", as [Number of Frequencies] says");
  }
  if (noise_frequencies_ && *noise_frequencies_ != noise_frequencies) {
    place.fail(std::to_string(noise_frequencies) + " noise frequencies",
               std::to_string(*noise_frequencies_) + ", as [Number of Noise Frequencies] says");
  }
}

}  // namespace polefit_io
