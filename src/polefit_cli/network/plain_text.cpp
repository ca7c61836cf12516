#include "polefit_cli/network/plain_text.hpp"

namespace polefit_cli {

std::size_t plain_character(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned>(static_cast<unsigned char>(text[i])); };
  const unsigned lead = byte(0);
  if (lead < 0x80) {
    return lead >= 0x20 && lead != 0x7F ? 1 : 0;
  }
  const std::size_t length = lead < 0xE0 ? 2 : (lead < 0xF0 ? 3 : 4);
  if (lead < 0xC0 || lead > 0xF4 || length > text.size()) {
    return 0;
  }
  unsigned code = lead & (0x7FU >> length);
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0U) != 0x80) {
      return 0;
    }
    code = code << 6U | (byte(i) & 0x3FU);
  }
  // Where fewer bytes would do; those of two bytes begin with control characters.
  const unsigned smallest = length == 2 ? 0xA0 : (length == 3 ? 0x800 : 0x10000);
  const bool surrogate = code >= 0xD800 && code < 0xE000;
  return code >= smallest && code <= 0x10FFFF && !surrogate ? length : 0;
}

bool is_plain_text(std::string_view text) {
  while (!text.empty()) {
    const std::size_t length = plain_character(text);
    if (length == 0) {
      return false;
    }
    text.remove_prefix(length);
  }
  return true;
}

}  // namespace polefit_cli
