#include "text/plain_text.hpp"

#include <gtest/gtest.h>

#include <string_view>

namespace {

using text::is_plain_text;
using text::printable;

TEST(PlainText, characters_of_all_lengths_are_plain_text) {
  EXPECT_TRUE(is_plain_text(""));
  EXPECT_TRUE(is_plain_text(" a\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80~"));
}

TEST(PlainText, control_characters_and_bytes_that_are_not_utf8_are_none) {
  for (const std::string_view text :
       {std::string_view("a\0b", 3), std::string_view("a\tb"), std::string_view("a\n"),
        std::string_view("\x7F"), std::string_view("a\xC2\x9B"), std::string_view("a\xFC")}) {
    EXPECT_FALSE(is_plain_text(text));
  }
}

TEST(PlainText, each_byte_that_cannot_be_shown_becomes_a_question_mark_and_the_rest_stays) {
  EXPECT_EQ(printable("a\033[2Jb\n"), "a?[2Jb?");
  EXPECT_EQ(printable("\xC3\xBC \xFC\xC3"), "\xC3\xBC ??");
  EXPECT_EQ(printable("\xC2\x9B"
                      "2J"),
            "??2J");
  EXPECT_EQ(printable(""), "");
}

}  // namespace
