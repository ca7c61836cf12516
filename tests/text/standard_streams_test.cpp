#include "text/standard_streams.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <string_view>

#include "support.hpp"

namespace text {
namespace {

using testing_support::content_of;
using StandardStreamsTest = testing_support::InOwnDirectory;

/// Runs `holds` in a process of its own, which may spoil its standard streams.
void expect_in_own_process(const std::function<bool()>& holds) {
  EXPECT_EXIT(std::_Exit(holds() ? 7 : 1), ::testing::ExitedWithCode(7), "");
}

int created(const char* file) { return open(file, O_WRONLY | O_CREAT, 0600); }

/// The error of an attempt to write to a descriptor, 0 if there is none.
int error_of_write(int descriptor) {
  constexpr std::string_view words = "words\n";
  return write(descriptor, words.data(), words.size()) < 0 ? errno : 0;
}

TEST_F(StandardStreamsTest, a_reader_that_went_away_is_an_error_and_no_signal) {
  expect_in_own_process([] {
    int ends[2];
    if (pipe(ends) != 0) {
      return false;
    }
    close(ends[0]);
    static_cast<void>(std::signal(SIGPIPE, SIG_DFL));
    prepare_standard_streams();
    return error_of_write(ends[1]) == EPIPE;
  });
}

TEST_F(StandardStreamsTest, a_limit_on_the_size_of_files_is_an_error_and_no_signal) {
  expect_in_own_process([] {
    static_cast<void>(std::signal(SIGXFSZ, SIG_DFL));
    prepare_standard_streams();
    const int file = created("out");
    const rlimit nothing{.rlim_cur = 0, .rlim_max = 0};
    setrlimit(RLIMIT_FSIZE, &nothing);
    return error_of_write(file) == EFBIG;
  });
}

TEST_F(StandardStreamsTest, a_stream_that_was_closed_takes_no_words) {
  expect_in_own_process([] {
    close(STDOUT_FILENO);
    prepare_standard_streams();
    return error_of_write(STDOUT_FILENO) == EBADF;
  });
}

TEST_F(StandardStreamsTest, a_file_never_takes_the_place_of_a_closed_one) {
  expect_in_own_process([] {
    close(STDIN_FILENO);
    close(STDOUT_FILENO);
    close(STDERR_FILENO);
    prepare_standard_streams();
    return created("result") > STDERR_FILENO;
  });
}

TEST_F(StandardStreamsTest, those_that_are_open_stay_where_they_lead) {
  expect_in_own_process([] {
    dup2(created("out"), STDOUT_FILENO);
    prepare_standard_streams();
    return error_of_write(STDOUT_FILENO) == 0 && content_of("out") == "words\n";
  });
}

TEST_F(StandardStreamsTest, an_error_is_one_line_on_standard_error_that_names_the_program) {
  ::testing::internal::CaptureStdout();
  ::testing::internal::CaptureStderr();
  print_error("S_Solver", "a.in, record 3: 100 % wrong");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "S_Solver: a.in, record 3: 100 % wrong\n");
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
}

}  // namespace
}  // namespace text
