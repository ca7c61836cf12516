#include "text/letters.hpp"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace text;

/// All characters of which it holds, in the order of their codes.
template <class Predicate>
std::string all_with(const Predicate& holds) {
  std::string result;
  for (int code = 0; code < 256; ++code) {
    const char c = static_cast<char>(static_cast<unsigned char>(code));
    if (holds(c)) {
      result += c;
    }
  }
  return result;
}

TEST(Letters, letters_and_digits_are_those_of_ascii) {
  EXPECT_EQ(all_with(is_letter), "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz");
  EXPECT_EQ(all_with(is_digit), "0123456789");
}

TEST(Letters, only_capital_letters_change_to_lower_case) {
  EXPECT_EQ(all_with([](char c) { return lower(c) != c; }), "ABCDEFGHIJKLMNOPQRSTUVWXYZ");
  EXPECT_EQ(lower_case("Touchstone 2.0 [END] \xC3\x84"), "touchstone 2.0 [end] \xC3\x84");
}

TEST(Letters, texts_are_compared_in_any_case_and_as_a_whole) {
  EXPECT_TRUE(equal_in_any_case("gHz", "ghz"));
  EXPECT_TRUE(equal_in_any_case("", ""));
  for (const char* const other : {"ghz ", "gh", "g z", "GH2", "\xC7hz"}) {
    EXPECT_FALSE(equal_in_any_case(other, "ghz")) << other;
  }
}

}  // namespace
