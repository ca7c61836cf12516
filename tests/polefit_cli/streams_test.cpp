#include "polefit_cli/commands/streams.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>
#include <thread>

#include "io_error_of.hpp"
#include "s_solver/console/console.hpp"
#include "support.hpp"
#include "text/io_error.hpp"
#include "text/standard_streams.hpp"

namespace {

using namespace polefit_cli;
using testing_support::content_of;
using testing_support::io_error_of;

/// Puts `file`, which it closes, in the place of a standard stream for as long as it lives.
class Redirection {
 public:
  Redirection(int standard, int file) : standard_(standard), before_(dup(standard)) {
    EXPECT_GE(file, 0);
    std::fflush(stdout);
    EXPECT_EQ(dup2(file, standard_), standard_);
    close(file);
  }
  Redirection(const Redirection&) = delete;
  Redirection& operator=(const Redirection&) = delete;
  ~Redirection() {
    std::fflush(stdout);
    dup2(before_, standard_);
    close(before_);
  }

 private:
  int standard_;
  int before_;
};

class Streams : public testing_support::InOwnDirectory {};

/// Every byte, also those that text streams of some systems change, and more than a pipe holds.
std::string any_content() {
  std::string content = "\r\n\x1a\n";
  for (int i = 0; i < 300000; ++i) {
    content += static_cast<char>(i % 256);
  }
  return content;
}

void expect_standard_output_error(const text::IoErrorDetails& details, int error_number) {
  EXPECT_EQ(details.file, "standard output");
  EXPECT_EQ(details.found, "the system error \"" + std::generic_category().message(error_number) + "\"");
  EXPECT_EQ(details.expected, "the content to be written");
}

TEST_F(Streams, a_name_is_that_of_a_file) {
  write_output("file", any_content());
  EXPECT_TRUE(content_of("file") == any_content());
  EXPECT_TRUE(read_input("file") == any_content());
  EXPECT_EQ(io_error_of([] { read_input("missing"); }).file, "missing");
  EXPECT_EQ(io_error_of([] { write_output("missing/file", ""); }).file, "missing/file");
}

TEST_F(Streams, a_minus_is_standard_input) {
  write_output("file", any_content());
  const Redirection input(STDIN_FILENO, open("file", O_RDONLY));
  EXPECT_TRUE(read_input("-") == any_content());
  EXPECT_EQ(read_input("-"), "");
}

TEST_F(Streams, standard_input_may_be_a_pipe) {
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe(ends.data()), 0);
  const Redirection input(STDIN_FILENO, ends[0]);
  std::thread writer([&] {
    const Redirection output(STDOUT_FILENO, ends[1]);
    write_output("-", any_content());
  });
  const std::string content = read_input("-");
  writer.join();
  EXPECT_TRUE(content == any_content());
}

TEST_F(Streams, standard_input_that_cannot_be_read_is_an_error) {
  const Redirection input(STDIN_FILENO, open(".", O_RDONLY));
  const text::IoErrorDetails details = io_error_of([] { read_input("-"); });
  EXPECT_EQ(details.file, "standard input");
  EXPECT_EQ(details.found, "the system error \"" + std::generic_category().message(EISDIR) + "\"");
}

TEST_F(Streams, a_minus_is_standard_output_behind_what_was_printed) {
  {
    const Redirection output(STDOUT_FILENO, open("out", O_WRONLY | O_CREAT, 0600));
    std::fputs("printed ", stdout);
    write_output("-", any_content());
  }
  EXPECT_TRUE(content_of("out") == "printed " + any_content());
  EXPECT_FALSE(std::filesystem::exists("-"));
}

TEST_F(Streams, a_reader_that_goes_away_is_an_error) {
  text::prepare_standard_streams();
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe(ends.data()), 0);
  close(ends[0]);
  text::IoErrorDetails details;
  {
    const Redirection output(STDOUT_FILENO, ends[1]);
    details = io_error_of([] { write_output("-", "lost"); });
  }
  expect_standard_output_error(details, EPIPE);
}

TEST_F(Streams, a_full_device_is_an_error_for_the_content_and_for_what_was_printed_before) {
  text::IoErrorDetails content;
  text::IoErrorDetails printed;
  {
    const Redirection output(STDOUT_FILENO, open("/dev/full", O_WRONLY));  // written to, never replaced
    content = io_error_of([] { write_output("-", "lost"); });
    std::fputs("lost", stdout);
    printed = io_error_of([] { write_output("-", ""); });
  }
  expect_standard_output_error(content, ENOSPC);
  expect_standard_output_error(printed, ENOSPC);
}

}  // namespace
