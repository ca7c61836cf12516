#include "polefit_cli/commands/signals.hpp"

#include <csignal>

#include "polefit_cli/pictures/run_gnuplot.hpp"
#include "text/whole_file.hpp"

namespace polefit_cli {
namespace {

volatile std::sig_atomic_t interrupted = 0;

/// Unless the signal is ignored, as in a shell's background; the next one of its kind ends the process.
void handle_once(int signal, void (*handler)(int)) {
  struct sigaction action {};
  if (::sigaction(signal, nullptr, &action) != 0 || action.sa_handler == SIG_IGN) {
    return;
  }
  action = {};
  action.sa_handler = handler;
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  ::sigaction(signal, &action, nullptr);
}

/// Ends the process by the same signal, which is held back until the handler returns.
void clean_up_and_end(int signal) {
  clean_up();
  static_cast<void>(::raise(signal));
}

}  // namespace

void clean_up() noexcept {
  text::remove_unfinished_files();
  end_drawing();
}

void clean_up_on_signals() {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    handle_once(signal, clean_up_and_end);
  }
}

Interruption::Interruption(bool heeded) {
  if (heeded) {
    handle_once(SIGINT, [](int signal) {
      interrupted = 1;
      handle_once(signal, clean_up_and_end);
    });
  }
}

bool Interruption::wanted() const { return interrupted != 0; }

}  // namespace polefit_cli
