#include "text/utf8.hpp"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace {

using text::first_character;
using text::is_control;

/// The bytes of a code as the standard has them (RFC 3629), in `length` bytes whether it needs them or not.
std::string encoded(std::uint32_t code, std::size_t length) {
  if (length == 1) {
    return {static_cast<char>(code)};
  }
  std::string bytes(length, '\0');
  for (std::size_t i = length; i-- > 1;) {
    bytes[i] = static_cast<char>(0x80U | (code & 0x3FU));
    code >>= 6U;
  }
  const std::uint32_t lead = (0xF00U >> length) & 0xFFU;
  bytes[0] = static_cast<char>(lead | code);
  return bytes;
}

TEST(Utf8, the_first_and_the_last_code_of_each_length_are_taken) {
  const struct {
    std::uint32_t code;
    std::size_t length;
  } ends[] = {{0x0, 1},    {0x7F, 1},   {0x80, 2},   {0x7FF, 2},   {0x800, 3},
              {0xD7FF, 3}, {0xE000, 3}, {0xFFFF, 3}, {0x10000, 4}, {0x10FFFF, 4}};
  for (const auto& [code, length] : ends) {
    const auto character = first_character(encoded(code, length) + "a");
    ASSERT_TRUE(character.has_value()) << code;
    EXPECT_EQ(character->code, code);
    EXPECT_EQ(character->length, length);
  }
}

TEST(Utf8, codes_in_more_bytes_than_they_need_are_none) {
  for (const auto& text : {encoded(0x7F, 2), encoded(0x0, 2), encoded(0x7FF, 3), encoded(0xFFFF, 4)}) {
    EXPECT_FALSE(first_character(text).has_value());
  }
}

TEST(Utf8, surrogates_and_codes_beyond_the_last_are_none) {
  for (const auto& text : {encoded(0xD800, 3), encoded(0xDFFF, 3), encoded(0x110000, 4)}) {
    EXPECT_FALSE(first_character(text).has_value());
  }
}

TEST(Utf8, characters_that_are_cut_off_or_begin_in_the_middle_are_none) {
  for (const std::string_view text : {"\x80", "\xBF", "\xC3", "\xC3(", "\xE2\x82", "\xE2\x82(",
                                      "\xF0\x9F\x98", "\xF0(\x98\x80", "\xF5\x80\x80\x80", "\xFF"}) {
    EXPECT_FALSE(first_character(text).has_value());
  }
}

TEST(Utf8, control_characters_stand_below_the_blank_and_from_7f_to_9f) {
  for (std::uint32_t code = 0; code < 0x200; ++code) {
    EXPECT_EQ(is_control(code), code <= 0x1F || (code >= 0x7F && code <= 0x9F)) << code;
  }
}

TEST(Utf8, characters_that_turn_text_end_its_lines_or_are_unseen_are_control_characters) {
  for (const std::uint32_t code : {0x61CU, 0x200EU, 0x200FU, 0x2028U, 0x2029U, 0x202AU, 0x202EU, 0x2066U,
                                   0x2069U, 0x200BU, 0x2060U, 0xFEFFU, 0xE0041U}) {
    EXPECT_TRUE(is_control(code)) << code;
  }
  for (const std::uint32_t code : {0x61BU, 0x200DU, 0x2010U, 0x2027U, 0x202FU, 0x2065U, 0x206AU, 0x3A9U}) {
    EXPECT_FALSE(is_control(code)) << code;
  }
}

}  // namespace
