#include "polefit_io/network/touchstone/keywords.hpp"

#include <gtest/gtest.h>

namespace {

using namespace polefit_io;

TEST(TouchstoneKeywords, every_keyword_is_found_as_it_is_shown) {
  for (int i = 0; i <= static_cast<int>(Keyword::end); ++i) {
    const auto keyword = static_cast<Keyword>(i);
    const std::string text = shown(keyword);
    const auto found = keyword_line(text);
    ASSERT_TRUE(found.has_value()) << text;
    EXPECT_EQ(found->keyword, keyword) << text;
    EXPECT_EQ(found->rest, "") << text;
  }
}

TEST(TouchstoneKeywords, case_and_blanks_within_the_brackets_do_not_matter) {
  for (const char* const text : {"[number of ports]", "[NUMBER\tOF  PORTS]", "[ Number of Ports ]"}) {
    const auto found = keyword_line(text);
    ASSERT_TRUE(found.has_value()) << text;
    EXPECT_EQ(found->keyword, Keyword::number_of_ports) << text;
  }
}

TEST(TouchstoneKeywords, the_value_stands_behind_the_bracket_without_outer_blanks) {
  EXPECT_EQ(keyword_line("[Reference]\t 50 75 ")->rest, "50 75");
  EXPECT_EQ(keyword_line("[Version]2.0")->rest, "2.0");
}

TEST(TouchstoneKeywords, other_lines_have_none) {
  for (const char* const text :
       {"", "Version", "[Version", "Version]", "[]", "[Versions]", "[Number of]", "[Number of Ports 2]",
        "[Numberof Ports]", " [End]", "[Two Port Data Order]"}) {
    EXPECT_FALSE(keyword_line(text).has_value()) << text;
  }
}

}  // namespace
