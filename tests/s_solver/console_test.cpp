#include "s_solver/console/console.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <system_error>

#include "io_error_of.hpp"
#include "support.hpp"
#include "text/free_format_writer.hpp"
#include "text/io_error.hpp"

namespace s_solver {
namespace {

using testing_support::content_of;
using testing_support::io_error_of;
using testing_support::records_of;
using ConsoleTest = testing_support::InOwnDirectory;

void send_standard_output_to(const char* file) {
  std::fflush(stdout);
  const int descriptor = open(file, O_WRONLY | O_CREAT, 0600);
  dup2(descriptor, STDOUT_FILENO);
  close(descriptor);
}

/// Runs `holds` in a process of its own, which may spoil its standard streams.
void expect_in_own_process(const std::function<bool()>& holds) {
  EXPECT_EXIT(std::_Exit(holds() ? 7 : 1), ::testing::ExitedWithCode(7), "");
}

bool fails_on_standard_output(int error_number, const std::function<void()>& action) {
  const text::IoErrorDetails details = io_error_of(action);
  return details.file == "standard output" &&
         details.found.find(std::generic_category().message(error_number)) != std::string::npos;
}

TEST_F(ConsoleTest, a_record_is_a_line) {
  EXPECT_EQ(records_of([] {
              print_record("order=", 6);
              print_line("plain");
            }),
            (std::vector<std::string>{text::free_format_record("order=", 6), "plain"}));
}

TEST_F(ConsoleTest, an_empty_record_is_an_empty_line) {
  ::testing::internal::CaptureStdout();
  print_record();
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "\n");
}

TEST_F(ConsoleTest, a_record_is_out_at_once_although_standard_output_is_no_terminal) {
  expect_in_own_process([] {
    send_standard_output_to("out");
    print_line("now");
    return content_of("out") == "now\n";
  });
}

TEST_F(ConsoleTest, a_record_that_cannot_be_written_is_an_output_error) {
  expect_in_own_process([] {
    send_standard_output_to("/dev/full");
    return fails_on_standard_output(ENOSPC, [] { print_line("lost"); });
  });
}

TEST_F(ConsoleTest, a_failure_that_shows_only_at_the_close_is_an_output_error) {
  expect_in_own_process([] {
    send_standard_output_to("/dev/full");
    std::fputs("still in the buffer", stdout);
    return fails_on_standard_output(ENOSPC, close_standard_output);
  });
}

}  // namespace
}  // namespace s_solver
