#include "text/text_lines.hpp"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace {

using text::LineEnds;
using text::TextLines;
using text::without_blanks;
using Lines = std::vector<std::string>;

Lines lines_of(std::string_view text, LineEnds ends = LineEnds::lf) {
  Lines result;
  for (TextLines lines(text, ends); lines.next();) {
    result.emplace_back(lines.line());
    EXPECT_EQ(lines.number(), static_cast<std::int64_t>(result.size()));
  }
  return result;
}

TEST(TextLines, a_line_ends_with_lf_or_cr_lf) {
  EXPECT_EQ(lines_of("a\nb\r\n\nc"), (Lines{"a", "b", "", "c"}));
}

TEST(TextLines, the_last_line_may_lack_its_end) {
  for (const LineEnds ends : {LineEnds::lf, LineEnds::lf_or_cr}) {
    EXPECT_EQ(lines_of("a\nb", ends), (Lines{"a", "b"}));
    EXPECT_EQ(lines_of("a\nb\n", ends), (Lines{"a", "b"}));
    EXPECT_EQ(lines_of("a\nb\r", ends), (Lines{"a", "b"}));
    EXPECT_EQ(lines_of("", ends), Lines{});
    EXPECT_EQ(lines_of("\n", ends), Lines{""});
  }
}

TEST(TextLines, a_cr_by_itself_ends_a_line_only_where_it_is_asked_for) {
  EXPECT_EQ(lines_of("a\rb\r\nc\n\rd"), (Lines{"a\rb", "c", "\rd"}));
  EXPECT_EQ(lines_of("a\rb\r\nc\n\rd", LineEnds::lf_or_cr), (Lines{"a", "b", "c", "", "d"}));
  EXPECT_EQ(lines_of("a\r\r\n", LineEnds::lf), Lines{"a\r"});
  EXPECT_EQ(lines_of("a\r\r\n", LineEnds::lf_or_cr), (Lines{"a", ""}));
}

TEST(TextLines, a_byte_order_mark_before_the_first_line_is_skipped) {
  EXPECT_EQ(lines_of("\xEF\xBB\xBF"
                     "a\n\xEF\xBB\xBF"
                     "b"),
            (Lines{"a",
                   "\xEF\xBB\xBF"
                   "b"}));
  EXPECT_EQ(lines_of("\xEF\xBB\xBF"), Lines{});
}

TEST(TextLines, what_is_left_are_the_bytes_behind_the_end_of_the_line) {
  for (const LineEnds ends : {LineEnds::lf, LineEnds::lf_or_cr}) {
    TextLines lines("ab\r\nc\nd\r", ends);
    EXPECT_EQ(lines.left(), 8U);
    for (const std::size_t left : {4U, 2U, 0U}) {
      EXPECT_TRUE(lines.next());
      EXPECT_EQ(lines.left(), left);
    }
    EXPECT_FALSE(lines.next());
    EXPECT_EQ(lines.left(), 0U);
  }
}

TEST(TextLines, blanks_and_tabs_go_from_both_ends_and_nothing_else) {
  EXPECT_EQ(without_blanks(" \ta \tb\t "), "a \tb");
  EXPECT_EQ(without_blanks("\ra\r"), "\ra\r");
  EXPECT_EQ(without_blanks(" \t"), "");
  EXPECT_EQ(without_blanks(""), "");
}

}  // namespace
