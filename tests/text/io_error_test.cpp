#include "text/io_error.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <system_error>

namespace text {
namespace {

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

TEST(IoError, the_message_names_file_record_item_what_was_found_and_what_was_expected) {
  const IoError error(
      {.file = "samples.in", .record = 417, .item = 2, .found = "a word", .expected = "a sum"});
  const std::string message = error.what();
  for (const char* part : {"samples.in", "record 417", "item 2", "found a word", "expected a sum"}) {
    EXPECT_TRUE(contains(message, part)) << message << " lacks " << part;
  }
}

TEST(IoError, the_details_are_kept) {
  const IoError error({.file = "a", .record = 5'000'000'000, .item = 3, .found = "b", .expected = "c"});
  EXPECT_EQ(error.details().file, "a");
  EXPECT_EQ(error.details().record, 5'000'000'000);
  EXPECT_EQ(error.details().item, 3);
  EXPECT_EQ(error.details().found, "b");
  EXPECT_EQ(error.details().expected, "c");
}

TEST(IoError, a_record_or_an_item_that_is_not_meant_is_not_mentioned) {
  const std::string file_only = IoError({.file = "f", .found = "x", .expected = "y"}).what();
  EXPECT_FALSE(contains(file_only, "record")) << file_only;
  EXPECT_FALSE(contains(file_only, "item")) << file_only;

  const std::string record_only = IoError({.file = "f", .record = 8, .found = "x", .expected = "y"}).what();
  EXPECT_TRUE(contains(record_only, "record 8")) << record_only;
  EXPECT_FALSE(contains(record_only, "item")) << record_only;
}

TEST(IoError, the_message_is_one_line) {
  const std::string message = system_io_error("f", EACCES, "a file that can be read").what();
  EXPECT_FALSE(contains(message, "\n"));
}

TEST(IoError, a_system_error_carries_the_systems_own_words) {
  const IoError error = system_io_error("result.out", ENOSPC, "the records to be written");
  EXPECT_EQ(error.details().file, "result.out");
  EXPECT_EQ(error.details().expected, "the records to be written");
  EXPECT_TRUE(contains(error.details().found, std::generic_category().message(ENOSPC)));
}

TEST(IoError, text_from_outside_is_shown_in_quotes_short_and_printable) {
  EXPECT_EQ(excerpt(""), "\"\"");
  EXPECT_EQ(excerpt("1,5"), "\"1,5\"");
  EXPECT_EQ(excerpt(std::string_view("a\0\xFF\n", 4)), "\"a\\x00\\xFF\\x0A\"");
  EXPECT_EQ(excerpt(std::string(40, 'x')), "\"" + std::string(40, 'x') + "\"");
  EXPECT_EQ(excerpt(std::string(41, 'x')), "\"" + std::string(40, 'x') + "...\"");
}

}  // namespace
}  // namespace text
