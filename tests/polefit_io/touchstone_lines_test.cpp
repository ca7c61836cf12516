#include "polefit_io/network/touchstone/lines.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using namespace polefit_io;
using Lines = std::vector<std::pair<std::int64_t, std::string>>;

/// Every line with its number.
Lines lines_of(std::string_view text) {
  Lines result;
  TouchstoneLines lines(text);
  while (lines.next()) {
    result.emplace_back(lines.number(), lines.line());
  }
  return result;
}

TEST(TouchstoneLines, a_line_ends_with_lf_cr_lf_or_cr) {
  EXPECT_EQ(lines_of("a\nb\r\nc\rd"), (Lines{{1, "a"}, {2, "b"}, {3, "c"}, {4, "d"}}));
}

TEST(TouchstoneLines, a_comment_reaches_to_the_end_of_its_line) {
  EXPECT_EQ(lines_of("a ! b\r!c\rd!!e\nf"), (Lines{{1, "a"}, {3, "d"}, {4, "f"}}));
}

TEST(TouchstoneLines, lines_of_blanks_are_counted_and_left_out) {
  EXPECT_EQ(lines_of("\n \t\r\n! c\n\r a \t\n"), (Lines{{5, "a"}}));
}

TEST(TouchstoneLines, the_number_at_the_end_is_that_of_the_last_line) {
  TouchstoneLines lines("a\n! b\n\n");
  EXPECT_TRUE(lines.next());
  EXPECT_FALSE(lines.next());
  EXPECT_EQ(lines.number(), 3);
  EXPECT_EQ(lines.line(), "");
}

TEST(TouchstoneLines, what_is_left_are_the_bytes_behind_the_end_of_the_line) {
  TouchstoneLines lines("a\r\nbcd\re");
  const std::vector<std::size_t> expected{5, 1, 0};
  for (const std::size_t left : expected) {
    EXPECT_TRUE(lines.next());
    EXPECT_EQ(lines.left(), left);
  }
}

TEST(TouchstoneLines, words_have_blanks_and_tabs_between_them) {
  std::string_view text = " \ta\t bc ";
  EXPECT_EQ(words_in(text), 2U);
  EXPECT_EQ(take_word(text), "a");
  EXPECT_EQ(take_word(text), "bc");
  EXPECT_EQ(take_word(text), "");
  EXPECT_EQ(words_in(" \t"), 0U);
}

}  // namespace
