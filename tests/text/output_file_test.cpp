#include "text/output_file.hpp"
#include "text/io_error.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <system_error>

#include "io_error_of.hpp"
#include "support.hpp"

namespace text {
namespace {

using testing_support::content_of;
using testing_support::io_error_of;
using OutputFileTest = testing_support::InOwnDirectory;

void expect_system_error(const IoErrorDetails& details, const std::string& file, int error_number) {
  EXPECT_EQ(details.file, file);
  EXPECT_NE(details.found.find(std::generic_category().message(error_number)), std::string::npos)
      << details.found;
  EXPECT_FALSE(details.expected.empty());
}

TEST_F(OutputFileTest, each_record_becomes_a_line) {
  OutputFile file("..\\tmp_S_Par\\result");
  file.write_record("one ");
  file.write_record("");
  file.write_record(" three");
  file.close();
  EXPECT_EQ(content_of(data("result")), "one \n\n three\n");
}

TEST_F(OutputFileTest, a_file_without_records_is_empty) {
  OutputFile("..\\tmp_S_Par\\result").close();
  EXPECT_EQ(content_of(data("result")), "");
}

TEST_F(OutputFileTest, an_existing_longer_file_is_replaced_wholly) {
  write_data("result", std::string(100000, 'x'));
  OutputFile file("..\\tmp_S_Par\\result");
  file.write_record("new");
  file.close();
  EXPECT_EQ(content_of(data("result")), "new\n");
}

TEST_F(OutputFileTest, many_and_long_records_arrive_complete_and_in_order) {
  OutputFile file("..\\tmp_S_Par\\result");
  std::string expected;
  for (int i = 0; i < 3000; ++i) {
    const std::string record = std::to_string(i) + std::string(i % 1000 == 0 ? 200000 : 50, '.');
    file.write_record(record);
    expected += record + '\n';
  }
  file.close();
  EXPECT_TRUE(content_of(data("result")) == expected);  // not EXPECT_EQ: the difference would be printed
}

TEST_F(OutputFileTest, a_full_device_is_an_error_at_the_close_at_the_latest) {
  OutputFile file("/dev/full");
  file.write_record("lost");
  expect_system_error(io_error_of([&] { file.close(); }), "/dev/full", ENOSPC);
}

TEST_F(OutputFileTest, a_full_device_is_an_error_while_much_is_written) {
  OutputFile file("/dev/full");
  const IoErrorDetails details = io_error_of([&] {
    for (int i = 0; i < 10000; ++i) {
      file.write_record(std::string(1000, 'x'));
    }
  });
  expect_system_error(details, "/dev/full", ENOSPC);
}

TEST_F(OutputFileTest, a_directory_that_takes_no_files_is_an_error) {
  expect_system_error(io_error_of([] { OutputFile("..\\missing\\result"); }), "..\\missing\\result", ENOENT);
  // A directory that refuses even a privileged user.
  EXPECT_THROW(OutputFile("/proc/self/result"), IoError);
}

TEST_F(OutputFileTest, a_directory_in_the_place_of_the_file_is_an_error) {
  std::filesystem::create_directory(data("result"));
  expect_system_error(io_error_of([] { OutputFile("..\\tmp_S_Par\\result"); }), "..\\tmp_S_Par\\result",
                      EISDIR);
}

TEST_F(OutputFileTest, a_failure_that_shows_only_at_close_is_an_error) {
  // The next descriptor is the file's own; taking it away makes nothing but the close fail.
  const int next = open("/dev/null", O_RDONLY);
  close(next);
  OutputFile file("..\\tmp_S_Par\\result");
  ASSERT_EQ(close(next), 0);
  expect_system_error(io_error_of([&] { file.close(); }), "..\\tmp_S_Par\\result", EBADF);
}

}  // namespace
}  // namespace text
