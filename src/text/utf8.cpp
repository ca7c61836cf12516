#include "text/utf8.hpp"

#include <array>

namespace text {

std::optional<Character> first_character(std::string_view text) {
  const auto byte = [&](std::size_t i) {
    return static_cast<std::uint32_t>(static_cast<unsigned char>(text[i]));
  };
  const std::uint32_t lead = byte(0);
  if (lead < 0x80) {
    return Character{1, lead};
  }
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  constexpr std::array<std::uint32_t, 5> smallest_code = {0, 0, 0x80, 0x800, 0x10000};
  if (lead < 0xC2 || lead > 0xF4 || text.size() < length) {
    return std::nullopt;
  }
  std::uint32_t code = lead & (0x7FU >> length);
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0U) != 0x80) {
      return std::nullopt;
    }
    code = (code << 6U) | (byte(i) & 0x3FU);
  }
  const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
  if (code < smallest_code[length] || code > 0x10FFFF || surrogate) {
    return std::nullopt;
  }
  return Character{length, code};
}

}  // namespace text
