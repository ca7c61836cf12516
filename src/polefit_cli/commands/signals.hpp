/// Signals that end the program.
#pragma once

namespace polefit_cli {

/// From now on SIGINT, SIGTERM and SIGHUP remove the files that are not finished, and end what is drawing,
/// before they end the process. A signal that was ignored, as nohup arranges it, stays so.
void clean_up_on_signals();

/// Lets the first Ctrl-C end a fit with the model so far; a second one ends the program, as does the first
/// where no model is to be written.
class Interruption {
 public:
  explicit Interruption(bool heeded);
  bool wanted() const;
};

}  // namespace polefit_cli
