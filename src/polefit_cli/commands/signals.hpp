/// Signals that end the program.
#pragma once

namespace polefit_cli {

/// From now on SIGINT, SIGTERM and SIGHUP clean up before they end the process. A signal that was ignored, as
/// nohup arranges it, stays so.
void clean_up_on_signals();

/// Removes the files that are not finished and ends what is drawing, as the last things that a process does;
/// handlers of signals may call it.
void clean_up() noexcept;

/// Lets the first Ctrl-C end a fit with the model so far; a second one ends the program, as does the first
/// where no model is to be written.
class Interruption {
 public:
  explicit Interruption(bool heeded);
  bool wanted() const;
};

}  // namespace polefit_cli
