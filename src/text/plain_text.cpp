#include "text/plain_text.hpp"

#include <algorithm>
#include <cstddef>

#include "text/utf8.hpp"

namespace text {
namespace {

/// The number of bytes of the plain character at the start of `text`, which is not empty; 0 if there is none.
std::size_t plain_length(std::string_view text) {
  const auto character = first_character(text);
  return character && !is_control(character->code) ? character->length : 0;
}

}  // namespace

bool is_plain_text(std::string_view text) {
  while (!text.empty()) {
    const std::size_t length = plain_length(text);
    if (length == 0) {
      return false;
    }
    text.remove_prefix(length);
  }
  return true;
}

std::string printable(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const std::size_t length = plain_length(text);
    result += length == 0 ? "?" : text.substr(0, length);
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return result;
}

}  // namespace text
