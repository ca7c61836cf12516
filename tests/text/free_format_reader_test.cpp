#include "text/free_format_reader.hpp"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "io_error_of.hpp"
#include "support.hpp"
#include "text/io_error.hpp"

namespace text {
namespace {

using testing_support::io_error_of;
using Result = FreeFormatReader::Result;
using Triples = std::vector<std::array<double, 3>>;

constexpr std::size_t buffer_size = 65536;  // the border at which a read of the file ends

class FreeFormatReaderTest : public testing_support::InOwnDirectory {
 protected:
  FreeFormatReader reader_of(std::string_view content) const {
    write_data("values", content);
    return FreeFormatReader("..\\tmp_S_Par\\values");
  }

  /// All complete reads of three numbers; a null value shows as -1, -2 or -3, or as the value before it.
  Triples triples_in(std::string_view content) const { return triples_in(reader_of(content)); }
  static Triples triples_in(FreeFormatReader reader) {
    EXPECT_EQ(reader.open_error(), 0);
    Triples triples;
    std::array<double, 3> values{-1, -2, -3};
    while (reader.read(values) == Result::complete) {
      triples.push_back(values);
    }
    return triples;
  }

  void expect_triples(const std::vector<std::string_view>& contents, const Triples& expected) const {
    for (const std::string_view content : contents) {
      SCOPED_TRACE(content);
      EXPECT_EQ(triples_in(content), expected);
    }
  }

  IoErrorDetails error_in(std::string_view content) const {
    return io_error_of([&] { triples_in(content); });
  }

  void expect_errors(const std::vector<std::string>& contents) const {
    for (const std::string& content : contents) {
      SCOPED_TRACE(content);
      EXPECT_THROW(triples_in(content), IoError);
    }
  }
};

TEST_F(FreeFormatReaderTest, blanks_and_tabs_separate_values) {
  expect_triples({"1 2 3\n", "1\t2\t3\n", "  1   2 \t 3  \n", "\t1 2\t3\t\n"}, {{1, 2, 3}});
}

TEST_F(FreeFormatReaderTest, one_comma_with_or_without_blanks_separates_values) {
  expect_triples({"1,2,3\n", "1, 2 ,3\n", "1 , 2\t,\t3\n", " 1,2 3\n"}, {{1, 2, 3}});
}

TEST_F(FreeFormatReaderTest, values_may_be_spread_over_records) {
  expect_triples({"1\n2\n3\n", "1 2\n3\n", "1\n2 3\n"}, {{1, 2, 3}});
}

TEST_F(FreeFormatReaderTest, blank_records_are_skipped) {
  expect_triples({"\n\n1 2 3\n \n\t\n4 5 6\n\n", "1\n\n2\n  \n3\n4\n\n5 6\n"}, {{1, 2, 3}, {4, 5, 6}});
}

TEST_F(FreeFormatReaderTest, each_read_starts_on_a_new_record) {
  expect_triples({"1 2 3 4\n5 6 7\n", "1\n2 3 4 5 6 7 8\n5 6 7\n", "1 2 3,4\n5 6 7,\n"},
                 {{1, 2, 3}, {5, 6, 7}});
}

TEST_F(FreeFormatReaderTest, a_comment_may_follow_the_last_value) {
  expect_triples({"1 2 3 volts, / 2*x \"\n5 6 7\n", "1 2 3,comment\n5 6 7 # 1 2 3\n", "1 2 3 /\n5 6 7\n"},
                 {{1, 2, 3}, {5, 6, 7}});
}

TEST_F(FreeFormatReaderTest, a_comma_belongs_to_the_value_before_it_across_a_records_end) {
  expect_triples({"1,\n2,\n3\n", "1\n,2\n,3\n", "1\n , \n2 3\n", "1,\r\n2\r\n,\r\n3\r\n"}, {{1, 2, 3}});
}

TEST_F(FreeFormatReaderTest, a_comma_at_the_start_of_a_read_is_a_null_value) {
  expect_triples({",2,3\n", " , 2 3\n", "\n,\n2 3\n"}, {{-1, 2, 3}});
  expect_triples({"1 2 3,\n,5,6\n"}, {{1, 2, 3}, {1, 5, 6}});
}

TEST_F(FreeFormatReaderTest, two_commas_with_nothing_between_are_a_null_value) {
  expect_triples({"1,,3\n", "1, ,3\n", "1,\n,3\n", "1\n,\t,\r\n3\n"}, {{1, -2, 3}});
  expect_triples({",,3\n"}, {{-1, -2, 3}});
  expect_triples({"1,2,,\n", "1,2,,", "1,2\n,\n,\n"}, {{1, 2, -3}});
}

TEST_F(FreeFormatReaderTest, a_null_value_keeps_the_value_of_the_read_before) {
  expect_triples({"1 2 3\n,5,,\n7 2* 8\n3*\n"}, {{1, 2, 3}, {1, 5, 3}, {7, 5, 3}, {7, 5, 3}});
}

TEST_F(FreeFormatReaderTest, a_repeat_count_repeats_its_value) {
  expect_triples({"3*4\n", "2*4 4\n", "2*4,4\n", "1*4 2*4\n", "03*4\n", "2*4\n1*4.0d0\n"}, {{4, 4, 4}});
}

TEST_F(FreeFormatReaderTest, a_repeat_count_without_a_value_is_that_many_nulls) {
  expect_triples({"2* 3\n", "2*,3\n", "1* 1*\n3\n", "2*\n3\n"}, {{-1, -2, 3}});
  expect_triples({"3*\n", "3*"}, {{-1, -2, -3}});
}

TEST_F(FreeFormatReaderTest, surplus_repeats_are_dropped_at_the_end_of_the_read) {
  expect_triples({"1 9*2\n4 5 6\n", "1 2 99999999999999999999999*2\n4 5 6\n", "1 2*2 3*7 8\n4 5 6\n"},
                 {{1, 2, 2}, {4, 5, 6}});
  // 2^64 + 1 and 2^64: a count must not wrap around.
  expect_triples({"1 18446744073709551617*2\n4 5 6\n", "1 18446744073709551616*2\n4 5 6\n"},
                 {{1, 2, 2}, {4, 5, 6}});
  expect_triples({"7*\n4 5 6\n"}, {{-1, -2, -3}, {4, 5, 6}});
}

TEST_F(FreeFormatReaderTest, a_repeat_count_is_a_positive_integer_without_a_sign) {
  expect_errors({"0*1 2 3\n", "00* 2 3\n", "-1*1 2 3\n", "+2*1 2 3\n", "1.0*1 2 3\n", "*1 2 3\n", "0*/\n",
                 "1**2 3\n", "2*3*1 1\n", "x*1 2 3\n"});
}

TEST_F(FreeFormatReaderTest, a_slash_ends_the_read_and_the_remaining_items_keep_their_values) {
  expect_triples({"/\n", " / 2 3\n", "/comment\n", "/"}, {{-1, -2, -3}});
  expect_triples({"1 /\n", "1,/ 5 6\n", "1\n/\n", "1 /"}, {{1, -2, -3}});
  expect_triples({"1 2 3\n4,/\n5 6 7\n"}, {{1, 2, 3}, {4, 2, 3}, {5, 6, 7}});
}

TEST_F(FreeFormatReaderTest, a_slash_behind_a_value_ends_the_value_and_then_the_read) {
  expect_triples({"4 5 6/\n", "4 5 6/", "4 5 6/7 8\n", "4 5\n6/ rest\r\n"}, {{4, 5, 6}});
  expect_triples({"4/\n", "4/", "4/poles\n", "4/,5,6\n", "4/5/6\n", "\n4//\r\n"}, {{4, -2, -3}});
  expect_triples({"1 2 3\n4,5/,9\n/\n7 8 9/x\n"}, {{1, 2, 3}, {4, 5, 3}, {4, 5, 3}, {7, 8, 9}});
}

TEST_F(FreeFormatReaderTest, a_slash_behind_a_repeat_ends_the_read_after_the_repeated_values) {
  expect_triples({"2*1.5/\n", "2*1.5/2\n", "2*1.5/*7"}, {{1.5, 1.5, -3}});
  expect_triples({"2*/\n", "1*/ 5 6\n", "9*/5"}, {{-1, -2, -3}});
  expect_triples({"1 2 3\n4 1*/5\n2*7/\n"}, {{1, 2, 3}, {4, 2, 3}, {7, 7, 3}});
}

TEST_F(FreeFormatReaderTest, an_error_names_the_characters_before_a_slash) {
  const IoErrorDetails details = error_in("1 2 3\n4 5x/6\n");
  EXPECT_EQ(details.found.find('/'), std::string::npos) << details.found;
  EXPECT_NE(details.found.find("5x"), std::string::npos) << details.found;
}

TEST_F(FreeFormatReaderTest, cr_before_lf_counts_as_a_blank) {
  expect_triples({"1 2 3\r\n4,5,6\r\n", "\r\n1\r\n2\r\n3\r\n\r\n4 5 6\r\n", "1 2 3\r\n4 5 6\r"},
                 {{1, 2, 3}, {4, 5, 6}});
}

TEST_F(FreeFormatReaderTest, cr_elsewhere_is_part_of_a_value) { expect_errors({"1\r2 3 4\n", "1 2\r 3\n"}); }

TEST_F(FreeFormatReaderTest, the_last_record_may_lack_its_end) {
  expect_triples({"1 2 3\n4 5 6", "1 2 3\n4 5 6 ", "1 2 3\n4\n5\n6"}, {{1, 2, 3}, {4, 5, 6}});
}

TEST_F(FreeFormatReaderTest, a_byte_order_mark_at_the_start_of_the_file_is_skipped) {
  expect_triples({"\xEF\xBB\xBF"
                  "1 2 3\n",
                  "\xEF\xBB\xBF\r\n1 2 3"},
                 {{1, 2, 3}});
  expect_triples({"\xEF\xBB\xBF"}, {});
}

TEST_F(FreeFormatReaderTest, a_byte_order_mark_elsewhere_or_a_part_of_one_is_an_error) {
  expect_errors(
      {"1 2 3\n\xEF\xBB\xBF 1 2 3\n", "\xEF\xBB\xBF\xEF\xBB\xBF 1 2 3\n", "\xEF\xBB", "\xEF\xBB 1 2 3\n"});
}

TEST_F(FreeFormatReaderTest, a_file_without_values_ends_at_once) {
  expect_triples({"", "\n", " ", "\r\n \t\r\n", "\r"}, {});
}

TEST_F(FreeFormatReaderTest, an_end_of_file_inside_a_read_is_reported_every_time) {
  for (const char* content : {"1 2", "1 2\n", "1,2,\n", "1,,\n", "2*1\n\n"}) {
    SCOPED_TRACE(content);
    FreeFormatReader reader = reader_of(content);
    std::array<double, 3> values{};
    EXPECT_EQ(reader.read(values), Result::end_of_file);
    EXPECT_EQ(reader.read(values), Result::end_of_file);
  }
}

TEST_F(FreeFormatReaderTest, a_value_ends_at_a_separator_or_it_is_an_error) {
  for (const std::string bad : {"3comment", "3#", "0x10", "\"3\"", "'3'", "3_8", "infinit", "3;", "1e", "--1",
                                "freq", "1..2", "(1", "2*x"}) {
    SCOPED_TRACE(bad);
    const IoErrorDetails details = error_in("1 2 3\n4 " + bad + " 6\n");
    EXPECT_EQ(details.file, "..\\tmp_S_Par\\values");
    EXPECT_EQ(details.record, 2);
    EXPECT_EQ(details.item, 2);
    EXPECT_NE(details.found.find(bad), std::string::npos) << details.found;
    EXPECT_NE(details.expected.find("real"), std::string::npos) << details.expected;
  }
}

TEST_F(FreeFormatReaderTest, a_bad_value_in_an_incomplete_read_is_an_error) {
  expect_errors({"1 2 3\n4 x", "1 2 3\nx", "1 2 3\n4 5x\n", "2*x"});
}

TEST_F(FreeFormatReaderTest, integers_are_read_by_the_same_rules) {
  FreeFormatReader reader = reader_of("\xEF\xBB\xBF+6 poles\r\n2*7,\n\n,-2147483648\r\n8/9\n1");
  std::array<int, 1> one{};
  EXPECT_EQ(reader.read(one), Result::complete);
  EXPECT_EQ(one.front(), 6);

  using Pair = std::array<int, 2>;
  Pair values{};
  for (const Pair expected : {Pair{7, 7}, Pair{7, -2147483647 - 1}, Pair{8, -2147483647 - 1}}) {
    EXPECT_EQ(reader.read(values), Result::complete);
    EXPECT_EQ(values, expected);
  }
  EXPECT_EQ(reader.read(values), Result::end_of_file);
}

TEST_F(FreeFormatReaderTest, what_is_no_32_bit_integer_is_an_error) {
  for (const std::string bad :
       {"6.0", "6e0", "2147483648", "-2147483649", "99999999999999999999", "6comment", "0x6"}) {
    SCOPED_TRACE(bad);
    FreeFormatReader reader = reader_of("1\n\n" + bad + "\n");
    std::array<int, 2> values{};
    const IoErrorDetails details = io_error_of([&] { static_cast<void>(reader.read(values)); });
    EXPECT_EQ(details.record, 3);
    EXPECT_EQ(details.item, 2);
    EXPECT_NE(details.found.find(bad), std::string::npos) << details.found;
    EXPECT_NE(details.expected.find("integer"), std::string::npos) << details.expected;
  }
}

TEST_F(FreeFormatReaderTest, an_error_counts_records_and_items_however_the_values_are_spread) {
  const auto expect_place = [this](std::string_view content, std::int64_t record, int item) {
    SCOPED_TRACE(content);
    const IoErrorDetails details = error_in(content);
    EXPECT_EQ(details.record, record);
    EXPECT_EQ(details.item, item);
  };
  expect_place("x", 1, 1);
  expect_place("\r\n\r\nx\r\n", 3, 1);
  expect_place("1\n2\nx\n", 3, 3);
  expect_place(",,x\n", 1, 3);
  expect_place("2*1 x\n", 1, 3);
  expect_place("1 2 3 rest\n1 /rest\n4\n\nx\n", 5, 2);
}

TEST_F(FreeFormatReaderTest, an_error_after_very_many_records_tells_the_right_one) {
  std::string content;
  for (int i = 0; i < 100000; ++i) {
    content += "1 2 3 rest\n";
  }
  const IoErrorDetails details = error_in(content + "1 2x 3\n");
  EXPECT_EQ(details.record, 100001);
  EXPECT_EQ(details.item, 2);
}

TEST_F(FreeFormatReaderTest, an_error_shows_a_token_short_and_printable) {
  const std::string found = error_in("\x01\x7F\xFF" + std::string(100000, 'x')).found;
  EXPECT_LT(found.size(), 100U);
  EXPECT_TRUE(std::all_of(found.begin(), found.end(), [](char c) { return c >= ' ' && c <= '~'; })) << found;
}

TEST_F(FreeFormatReaderTest, nothing_changes_where_the_buffer_ends) {
  // Each character of the samples lies once on either side of the border.
  const std::string samples = "12.5,\r\n-7.25\r\n 3*4 /rest\r\n\r\n,\t2*\r\n5/6 7\r\n";
  for (const char padding : {' ', '\n'}) {
    for (std::size_t shift = 0; shift <= samples.size() + 1; ++shift) {
      SCOPED_TRACE(shift);
      const std::string content = std::string(buffer_size + 1 - shift, padding) + samples;
      EXPECT_EQ(triples_in(content), (Triples{{12.5, -7.25, 4}, {12.5, -7.25, 4}, {5, -7.25, 4}}));
    }
  }
}

TEST_F(FreeFormatReaderTest, a_byte_order_mark_moves_the_buffers_end_by_nothing) {
  const std::string samples = "1.5 -2.5 3.5\r\n4 5 6\r\n";
  for (std::size_t shift = 0; shift <= samples.size() + 1; ++shift) {
    SCOPED_TRACE(shift);
    const std::string content = "\xEF\xBB\xBF" + std::string(buffer_size - 2 - shift, ' ') + samples;
    EXPECT_EQ(triples_in(content), (Triples{{1.5, -2.5, 3.5}, {4, 5, 6}}));
  }
}

TEST_F(FreeFormatReaderTest, a_dropped_rest_of_a_record_may_be_longer_than_the_buffer) {
  for (const std::size_t length : {buffer_size - 6, buffer_size - 5, buffer_size, 3 * buffer_size}) {
    SCOPED_TRACE(length);
    EXPECT_EQ(triples_in("1 2 3 " + std::string(length, 'x') + "\n4 5 6\n"), (Triples{{1, 2, 3}, {4, 5, 6}}));
  }
}

TEST_F(FreeFormatReaderTest, a_value_without_end_is_refused_instead_of_held_in_memory) {
  constexpr std::size_t longest = std::size_t{1} << 20;
  const auto sum_of_digits = [&](std::size_t length) {
    write_data("values", "1 " + std::string(length, '0') + "\n");
    FreeFormatReader reader("..\\tmp_S_Par\\values");
    std::array<int, 2> values{};
    reader.read(std::span<int>(values));
    return values[0] + values[1];
  };
  EXPECT_EQ(sum_of_digits(longest), 1);
  const IoErrorDetails details = io_error_of([&] { sum_of_digits(longest + 1); });
  EXPECT_EQ(details.record, 1);
  EXPECT_EQ(details.item, 2);
  EXPECT_EQ(details.found, "a value of more than 1048576 characters");
}

TEST_F(FreeFormatReaderTest, text_in_memory_is_read_as_a_file_is) {
  using Outcome = std::pair<Triples, std::string>;
  const auto outcome = [](FreeFormatReader reader) -> Outcome {
    try {
      return {triples_in(std::move(reader)), ""};
    } catch (const IoError& error) {
      return {{}, error.what()};
    }
  };
  for (const std::string& content :
       {std::string(), std::string("\xEF\xBB\xBF 1 2 3\r\n"), std::string("\xEF\xBB"),
        std::string("1,,3 /\r\n2*5 7 rest"), std::string("1/\r\n2*5/"), std::string("1 2 3\n4 5\r"),
        std::string("1 2 3\n4 x 6\n"), std::string("1\0 2 3", 7),
        std::string(3 * buffer_size, '\n') + "1 2 " + std::string(buffer_size, '0') + "3"}) {
    SCOPED_TRACE(content.substr(0, 40));
    EXPECT_EQ(outcome(FreeFormatReader::in_memory(content, "..\\tmp_S_Par\\values")),
              outcome(reader_of(content)));
  }
}

TEST_F(FreeFormatReaderTest, a_pipe_cannot_be_opened) {
  ASSERT_EQ(mkfifo(data("pipe").c_str(), 0600), 0);
  EXPECT_EQ(FreeFormatReader("..\\tmp_S_Par\\pipe").open_error(), ESPIPE);
}

TEST_F(FreeFormatReaderTest, a_value_may_be_longer_than_the_buffer) {
  for (const std::size_t length : {buffer_size - 1, buffer_size, buffer_size + 1, 5 * buffer_size}) {
    SCOPED_TRACE(length);
    const std::string zeros(length, '0');
    EXPECT_EQ(triples_in("1 " + zeros + "2.5," + zeros + "3\r\n4 5 6"), (Triples{{1, 2.5, 3}, {4, 5, 6}}));
  }
}

TEST_F(FreeFormatReaderTest, a_file_that_cannot_be_opened_is_kept_as_the_systems_error_number) {
  EXPECT_EQ(FreeFormatReader("..\\tmp_S_Par\\missing").open_error(), ENOENT);
  EXPECT_EQ(FreeFormatReader("..\\tmp_S_Par").open_error(), EISDIR);
}

TEST_F(FreeFormatReaderTest, a_file_that_cannot_be_read_on_is_an_error) {
  if (!testing_support::system_has_process_files()) {
    GTEST_SKIP() << "no file of this system opens and cannot be read";
  }
  // The first page of a process is never there, so that reading it fails.
  const IoErrorDetails details = io_error_of([] {
    FreeFormatReader reader("/proc/self/mem");
    std::array<double, 3> values{};
    static_cast<void>(reader.read(values));
  });
  EXPECT_EQ(details.file, "/proc/self/mem");
  EXPECT_FALSE(details.found.empty());
}

}  // namespace
}  // namespace text
