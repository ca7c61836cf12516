/// Characters of a text in UTF-8.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace text {

/// The length in bytes and the code of a character.
struct Character {
  std::size_t length = 0;
  std::uint32_t code = 0;
};

/// The character at the start of `text`, which is not empty; nothing when that is not UTF-8: codes in more
/// bytes than they need, surrogates and what is beyond the last code are none.
std::optional<Character> first_character(std::string_view text);

/// Whether the code is that of a control character, of which there are some beyond ASCII: those that end
/// lines too, those that turn the direction of the text behind them and those that nobody sees, which can
/// make a name look like another one.
constexpr bool is_control(std::uint32_t code) {
  const bool ends_line = code == 0x2028 || code == 0x2029;
  const bool turns_direction = code == 0x061C || code == 0x200E || code == 0x200F ||
                               (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
  const bool unseen = code == 0x200B || (code >= 0x2060 && code <= 0x2064) || code == 0xFEFF ||
                      (code >= 0xE0000 && code <= 0xE007F);
  return code < 0x20 || (code >= 0x7F && code < 0xA0) || ends_line || turns_direction || unseen;
}

}  // namespace text
