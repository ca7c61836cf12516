#include "text/text_lines.hpp"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace {

using text::TextLines;
using text::without_blanks;
using Lines = std::vector<std::string>;

Lines lines_of(std::string_view text) {
  Lines result;
  for (TextLines lines(text); lines.next();) {
    result.emplace_back(lines.line());
    EXPECT_EQ(lines.number(), static_cast<std::int64_t>(result.size()));
  }
  return result;
}

TEST(TextLines, a_line_ends_with_lf_or_cr_lf) {
  EXPECT_EQ(lines_of("a\nb\r\n\nc"), (Lines{"a", "b", "", "c"}));
}

TEST(TextLines, the_last_line_may_lack_its_end) {
  EXPECT_EQ(lines_of("a\nb"), (Lines{"a", "b"}));
  EXPECT_EQ(lines_of("a\nb\n"), (Lines{"a", "b"}));
  EXPECT_EQ(lines_of("a\nb\r"), (Lines{"a", "b"}));
  EXPECT_EQ(lines_of(""), Lines{});
  EXPECT_EQ(lines_of("\n"), Lines{""});
}

TEST(TextLines, a_cr_by_itself_ends_no_line) {
  EXPECT_EQ(lines_of("a\rb\r\nc\n\rd"), (Lines{"a\rb", "c", "\rd"}));
  EXPECT_EQ(lines_of("a\r\r\n"), Lines{"a\r"});
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

TEST(TextLines, blanks_and_tabs_go_from_both_ends_and_nothing_else) {
  EXPECT_EQ(without_blanks(" \ta \tb\t "), "a \tb");
  EXPECT_EQ(without_blanks("\ra\r"), "\ra\r");
  EXPECT_EQ(without_blanks(" \t"), "");
  EXPECT_EQ(without_blanks(""), "");
}

}  // namespace
