#include "s_solver/console/console.hpp"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <system_error>

#include "io_error_of.hpp"
#include "support.hpp"
#include "text/free_format_writer.hpp"
#include "text/io_error.hpp"
#include "text/standard_streams.hpp"

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

TEST_F(ConsoleTest, a_reader_that_went_away_is_an_output_error_and_no_signal) {
  expect_in_own_process([] {
    int ends[2];
    if (pipe(ends) != 0) {
      return false;
    }
    dup2(ends[1], STDOUT_FILENO);
    close(ends[0]);
    close(ends[1]);
    std::signal(SIGPIPE, SIG_DFL);
    text::prepare_standard_streams();
    return fails_on_standard_output(EPIPE, [] { print_line("unheard"); });
  });
}

TEST_F(ConsoleTest, a_limit_on_the_size_of_files_is_an_output_error_instead_of_a_signal) {
  expect_in_own_process([] {
    std::signal(SIGXFSZ, SIG_DFL);
    text::prepare_standard_streams();
    send_standard_output_to("out");
    const rlimit nothing{.rlim_cur = 0, .rlim_max = 0};
    setrlimit(RLIMIT_FSIZE, &nothing);
    return fails_on_standard_output(EFBIG, [] { print_line("too much"); });
  });
}

TEST_F(ConsoleTest, a_standard_output_that_was_closed_before_is_an_output_error) {
  expect_in_own_process([] {
    close(STDOUT_FILENO);
    text::prepare_standard_streams();
    return fails_on_standard_output(EBADF, [] { print_line("unheard"); });
  });
}

TEST_F(ConsoleTest, a_file_never_takes_the_place_of_a_closed_standard_stream) {
  expect_in_own_process([] {
    close(STDIN_FILENO);
    close(STDOUT_FILENO);
    close(STDERR_FILENO);
    text::prepare_standard_streams();
    return open("result", O_WRONLY | O_CREAT, 0600) > STDERR_FILENO;
  });
}

TEST_F(ConsoleTest, standard_streams_that_are_open_stay_where_they_lead) {
  expect_in_own_process([] {
    send_standard_output_to("out");
    text::prepare_standard_streams();
    print_line("kept");
    return content_of("out") == "kept\n";
  });
}

TEST_F(ConsoleTest, an_error_is_one_line_on_standard_error_that_names_the_program) {
  ::testing::internal::CaptureStdout();
  ::testing::internal::CaptureStderr();
  text::print_error("S_Solver", "a.in, record 3: 100 % wrong");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "S_Solver: a.in, record 3: 100 % wrong\n");
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
}

}  // namespace
}  // namespace s_solver
