/// The mark that some programs put before a text in UTF-8.
#pragma once

#include <string_view>

namespace text {

inline constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";

/// `text` without the mark at its start, if it has one.
constexpr std::string_view without_byte_order_mark(std::string_view text) {
  return text.starts_with(byte_order_mark) ? text.substr(byte_order_mark.size()) : text;
}

}  // namespace text
