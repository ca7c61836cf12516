#include "text/file_name.hpp"

#include <gtest/gtest.h>

#include <string>

namespace text {
namespace {

TEST(FileName, every_backslash_becomes_a_slash) {
  EXPECT_EQ(system_file_name("..\\tmp_S_Par\\f_data.in"), "../tmp_S_Par/f_data.in");
}

TEST(FileName, a_name_without_backslashes_stays) {
  EXPECT_EQ(system_file_name("../some/file.in"), "../some/file.in");
}

TEST(FileName, the_padding_of_a_fixed_name_is_dropped) {
  std::string fixed = "..\\f_data.in";
  fixed.resize(256, ' ');
  EXPECT_EQ(system_file_name(fixed), "../f_data.in");
}

TEST(FileName, blanks_before_and_inside_a_name_stay) { EXPECT_EQ(system_file_name(" a b\\c "), " a b/c"); }

TEST(FileName, only_trailing_blanks_are_padding) {
  EXPECT_EQ(without_trailing_blanks(" a  b  "), " a  b");
  EXPECT_EQ(without_trailing_blanks("a\t "), "a\t");
  EXPECT_EQ(without_trailing_blanks("a"), "a");
}

TEST(FileName, nothing_is_left_of_blanks_alone) {
  EXPECT_EQ(without_trailing_blanks("   "), "");
  EXPECT_EQ(without_trailing_blanks(""), "");
}

}  // namespace
}  // namespace text
