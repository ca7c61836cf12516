#include "polefit_cli/commands/signals.hpp"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <functional>

#include "support.hpp"
#include "text/whole_file.hpp"

namespace {

using namespace polefit_cli;

class Signals : public testing_support::InOwnDirectory {
 protected:
  /// The signal that ends a process which does this, 0 for none.
  static int signal_that_ends(const std::function<void()>& action) {
    const pid_t child = fork();
    if (child == 0) {
      for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
        static_cast<void>(std::signal(signal, SIG_DFL));  // whatever the tests were started under
      }
      action();
      _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
  }
};

TEST_F(Signals, end_the_process_and_what_is_not_finished_goes) {
  text::replace_whole_file("result", "old");
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    const int ended_by = signal_that_ends([&] {
      clean_up_on_signals();
      text::ReplacementFile file("result");
      file.write("new");
      raise(signal);
    });
    EXPECT_EQ(ended_by, signal);
    EXPECT_EQ(testing_support::content_of("result"), "old");
    EXPECT_EQ(std::distance(begin(std::filesystem::directory_iterator(".")), {}), 1);
  }
}

TEST_F(Signals, that_are_ignored_stay_so) {
  const int ended_by = signal_that_ends([] {
    static_cast<void>(std::signal(SIGHUP, SIG_IGN));
    static_cast<void>(std::signal(SIGINT, SIG_IGN));
    clean_up_on_signals();
    const Interruption interruption(true);
    raise(SIGHUP);
    raise(SIGINT);
    if (interruption.wanted()) {
      raise(SIGKILL);
    }
  });
  EXPECT_EQ(ended_by, 0);
}

TEST_F(Signals, the_first_interruption_is_a_wish_and_the_second_an_end) {
  int ended_by = signal_that_ends([] {
    clean_up_on_signals();
    const Interruption interruption(true);
    raise(SIGINT);
    if (!interruption.wanted()) {
      raise(SIGKILL);
    }
  });
  EXPECT_EQ(ended_by, 0);
  ended_by = signal_that_ends([] {
    clean_up_on_signals();
    const Interruption interruption(true);
    raise(SIGINT);
    const text::ReplacementFile file("result");
    raise(SIGINT);
  });
  EXPECT_EQ(ended_by, SIGINT);
  EXPECT_TRUE(std::filesystem::is_empty("."));
}

TEST_F(Signals, an_interruption_that_is_not_heeded_is_an_end) {
  EXPECT_EQ(signal_that_ends([] {
              clean_up_on_signals();
              const Interruption interruption(false);
              raise(SIGINT);
            }),
            SIGINT);
}

}  // namespace
