#include "polefit_cli/pictures/gnuplot_text.hpp"

#include <cassert>
#include <cmath>
#include <cstdint>
#include <optional>

#include "text/decimal.hpp"
#include "text/utf8.hpp"

namespace polefit_cli {
namespace {

constexpr std::string_view replacement_mark = "\xEF\xBF\xBD";

/// What gnuplot or a picture would take for a control character, line separators included.
bool breaks_a_line(std::uint32_t code) { return text::is_control(code) || code == 0x2028 || code == 0x2029; }

std::string octal_escape(char c) {
  const auto code = static_cast<unsigned char>(c);
  const auto digit = [&](unsigned shift) { return static_cast<char>('0' + ((code >> shift) & 7U)); };
  return {'\\', digit(6), digit(3), digit(0)};
}

// XML, and with it SVG, has no place for these two.
bool is_no_character(std::uint32_t code) { return code == 0xFFFE || code == 0xFFFF; }

/// Takes the first character, or a byte that is none, from the front of `text`.
std::string_view take_character(std::string_view& text) {
  const auto character = text::first_character(text);
  const std::string_view taken = text.substr(0, character ? character->length : 1);
  text.remove_prefix(taken.size());
  return taken;
}

/// Of DejaVu Sans, in units of its size, with three classes in place of its table.
double character_width(std::string_view character) {
  constexpr std::string_view narrow = " !'()*,-./:;I[\\]`fijlrt{|}\"";
  constexpr std::string_view wide = "#%&+<=>@MW^mw~";
  if (character.size() > 1 || wide.find(character) != std::string_view::npos) {
    return 1.0;
  }
  return narrow.find(character) != std::string_view::npos ? 0.42 : 0.66;
}

}  // namespace

std::string script_number(double value) {
  assert(std::isfinite(value));
  return text::shortest(value);
}

std::string script_text(std::string_view text) {
  // What would end the string, or means something to gnuplot somewhere. Single quotes are no way out: gnuplot
  // takes two of them for one in some places of a string only.
  constexpr std::string_view escaped = "\"'\\`$@{}#";
  std::string quoted = "\"";
  while (!text.empty()) {
    const auto character = text::first_character(text);
    const std::size_t length = character ? character->length : 1;
    if (!character || is_no_character(character->code)) {
      quoted += replacement_mark;
    } else if (breaks_a_line(character->code)) {
      quoted += ' ';
    } else if (escaped.find(text.front()) != std::string_view::npos) {
      quoted += octal_escape(text.front());
    } else {
      quoted += text.substr(0, length);
    }
    text.remove_prefix(length);
  }
  return quoted + '"';
}

std::size_t character_count(std::string_view text) {
  std::size_t count = 0;
  for (; !text.empty(); ++count) {
    take_character(text);
  }
  return count;
}

double text_width(std::string_view text, double size) {
  double width = 0.0;
  while (!text.empty()) {
    width += character_width(take_character(text));
  }
  return width * size;
}

std::string shortened(std::string_view text, double width, double size) {
  if (text_width(text, size) <= width) {
    return std::string(text);
  }
  const std::string ellipsis = "…";
  double rest = width / size - character_width(ellipsis);
  std::string_view after = text;
  while (!after.empty()) {
    std::string_view next = after;
    rest -= character_width(take_character(next));
    if (rest < 0.0) {
      break;
    }
    after = next;
  }
  return std::string(text.substr(0, text.size() - after.size())) + ellipsis;
}

}  // namespace polefit_cli
