#include "s_solver/driver/settings_file.hpp"

#include <cerrno>
#include <string>
#include <string_view>
#include <vector>

#include "io_error_of.hpp"
#include "support.hpp"
#include "text/free_format_writer.hpp"
#include "text/io_error.hpp"

namespace s_solver {
namespace {

using testing_support::io_error_of;
using testing_support::records_of;
using testing_support::words_of;
using Words = std::vector<std::string>;

constexpr std::string_view file_name = "..\\tmp_S_Par\\f_data.ini";

class SettingsFileTest : public testing_support::InOwnDirectory {
 protected:
  /// Reads `content` and returns the printed records.
  std::vector<std::string> read(std::string_view content) {
    write_data("f_data.ini", content);
    return records_of([this] { read_settings_file(file_name, order_, max_iterations_); });
  }

  void expect_settings(std::string_view content, int order, int max_iterations) {
    SCOPED_TRACE(content);
    order_ = max_iterations_ = 1;
    read(content);
    EXPECT_EQ(order_, order);
    EXPECT_EQ(max_iterations_, max_iterations);
  }

  /// Fails to read `content`; `records` are what was printed before.
  text::IoErrorDetails error_in(std::string_view content, std::vector<std::string>& records) {
    text::IoErrorDetails details;
    write_data("f_data.ini", content);
    records = records_of(
        [&] { details = io_error_of([this] { read_settings_file(file_name, order_, max_iterations_); }); });
    EXPECT_EQ(details.file, "..\\tmp_S_Par\\f_data.ini");
    return details;
  }

  int order_ = 1;
  int max_iterations_ = 1;
};

TEST_F(SettingsFileTest, two_records_hold_order_and_iteration_limit_and_are_reported) {
  const auto records = read("6\n20\n");
  EXPECT_EQ(order_, 6);
  EXPECT_EQ(max_iterations_, 20);
  ASSERT_EQ(records.size(), 3U);
  EXPECT_EQ(records[0], " lese ini");
  EXPECT_TRUE(records[1].starts_with(" order= "));
  EXPECT_EQ(words_of(records[1]), (Words{"order=", "6"}));
  EXPECT_TRUE(records[2].starts_with(" max_iterations= "));
  EXPECT_EQ(words_of(records[2]), (Words{"max_iterations=", "20"}));
}

TEST_F(SettingsFileTest, the_rest_of_a_record_is_a_comment) {
  expect_settings("6 poles\n20,at most\n", 6, 20);
  expect_settings("6 / poles\r\n20 30\r\n", 6, 20);
  expect_settings("4/poles\n20/\n", 4, 20);
}

TEST_F(SettingsFileTest, records_after_the_second_are_never_read) {
  expect_settings("6\n20\nx y z\n", 6, 20);
}

TEST_F(SettingsFileTest, the_iteration_limit_comes_from_a_record_of_its_own) {
  expect_settings("6 20\n9\n", 6, 9);
}

TEST_F(SettingsFileTest, without_a_second_record_the_file_ends_too_early) {
  std::vector<std::string> records;
  const text::IoErrorDetails details = error_in("6 20\n", records);
  EXPECT_NE(details.found.find("end of the file"), std::string::npos) << details.found;
  EXPECT_NE(details.expected.find("integer"), std::string::npos) << details.expected;
  ASSERT_EQ(records.size(), 2U) << "what was read before is reported";
  EXPECT_EQ(words_of(records[1]), (Words{"order=", "6"}));
}

TEST_F(SettingsFileTest, an_empty_file_ends_too_early) {
  for (const char* content : {"", "\n \n", "\xEF\xBB\xBF"}) {
    SCOPED_TRACE(content);
    std::vector<std::string> records;
    error_in(content, records);
    EXPECT_EQ(records, (std::vector<std::string>{" lese ini"}));
  }
}

TEST_F(SettingsFileTest, a_record_without_an_integer_is_an_error) {
  for (const std::string bad : {"6.0", "6e0", "2147483648", "six", "6poles", "6#", "0x6"}) {
    SCOPED_TRACE(bad);
    std::vector<std::string> records;
    text::IoErrorDetails details = error_in(bad + "\n20\n", records);
    EXPECT_EQ(details.record, 1);
    EXPECT_EQ(details.item, 1);
    EXPECT_NE(details.found.find(bad), std::string::npos) << details.found;
    EXPECT_EQ(records.size(), 1U);

    details = error_in("4\n" + bad + "\n", records);
    EXPECT_EQ(details.record, 2);
    EXPECT_EQ(records.size(), 2U);
  }
}

TEST_F(SettingsFileTest, any_integer_is_taken) {
  expect_settings("0\n0\n", 0, 0);
  expect_settings("-3\n-1\n", -3, -1);
  expect_settings("2147483647\n-2147483648\n", 2147483647, -2147483647 - 1);
}

TEST_F(SettingsFileTest, null_values_leave_the_defaults) {
  expect_settings(",\n20\n", 1, 20);
  expect_settings("1*\n/\n", 1, 1);
  expect_settings("6\n,5\n", 6, 1);
}

TEST_F(SettingsFileTest, the_one_reader_also_takes_a_byte_order_mark_blank_records_and_cr_lf) {
  expect_settings("\xEF\xBB\xBF\r\n6\r\n\r\n20", 6, 20);
}

TEST_F(SettingsFileTest, a_missing_file_is_reported_with_the_systems_error_number_and_leaves_the_defaults) {
  const auto records = records_of([this] { read_settings_file(file_name, order_, max_iterations_); });
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0], text::free_format_record("Beim OEffenen der ini Datei ist ein Fehler Nr.", ENOENT,
                                                 " aufgetreten"));
  EXPECT_TRUE(records[0].ends_with("  aufgetreten"));
  EXPECT_EQ(order_, 1);
  EXPECT_EQ(max_iterations_, 1);
}

TEST_F(SettingsFileTest, a_directory_in_its_place_cannot_be_opened_either) {
  std::filesystem::create_directory(data("f_data.ini"));
  const auto records = records_of([this] { read_settings_file(file_name, order_, max_iterations_); });
  ASSERT_EQ(records.size(), 1U);
  EXPECT_TRUE(records[0].starts_with(" Beim OEffenen der ini Datei ist ein Fehler Nr. "));
}

}  // namespace
}  // namespace s_solver
