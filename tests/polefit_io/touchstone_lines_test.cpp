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
  text::StreamedLines bytes(text);
  TouchstoneLines lines(bytes);
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
  text::StreamedLines bytes("a\n! b\n\n");
  TouchstoneLines lines(bytes);
  EXPECT_TRUE(lines.next());
  EXPECT_FALSE(lines.next());
  EXPECT_EQ(lines.number(), 3);
  EXPECT_EQ(lines.line(), "");
}

TEST(TouchstoneLines, comments_alone_on_a_line_are_shown_with_their_number) {
  text::StreamedLines bytes("! a\n1 ! no\n  !b !c\n\n!\n2\n! d");
  TouchstoneLines lines(bytes);
  std::string shown;
  const auto show = [&](std::string_view comment, std::int64_t number) {
    shown += std::to_string(number) + "(" + std::string(comment) + ")";
  };
  EXPECT_TRUE(lines.next(show));
  EXPECT_EQ(shown, "1( a)");
  EXPECT_TRUE(lines.next(show));
  EXPECT_EQ(lines.line(), "2");
  EXPECT_EQ(shown, "1( a)3(b !c)5()");
  EXPECT_FALSE(lines.next(show));
  EXPECT_EQ(shown, "1( a)3(b !c)5()7( d)");
}

TEST(TouchstoneLines, looking_ahead_ends_at_the_same_line) {
  text::StreamedLines bytes("a\n! b\nc\nd");
  TouchstoneLines lines(bytes);
  lines.next();
  lines.next();
  const bool more = lines.looked_ahead([&] {
    lines.next();
    return lines.next();
  });
  EXPECT_FALSE(more);
  EXPECT_EQ(lines.line(), "c");
  EXPECT_EQ(lines.number(), 3);
  EXPECT_TRUE(lines.next());
  EXPECT_EQ(lines.line(), "d");
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
