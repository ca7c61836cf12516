/// A line on the terminal that tells how far a fit is.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

#include "polefit/fit.hpp"

namespace polefit_cli {

/// What the line says: "[#####     ]  iteration 15 of 30   order 24   error 1.2e-05".
std::string progress_text(const polefit::Progress& step, int iterations);

/// What it says of a search, which does not know how many steps there will be: "searching   order 24   error
/// 1.2e-05   relocating".
std::string search_text(const polefit::Progress& step);

/// Shows the line on standard error while there is something to show, a few times a second, and takes it
/// away at its end.
class ProgressBar {
 public:
  /// Silent when not `shown`.
  explicit ProgressBar(bool shown) : shown_(shown) {}
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;
  ~ProgressBar() { clear(); }

  /// iterations   at most; 0 in a search
  void show(const polefit::Progress& step, int iterations);
  void clear();

 private:
  bool shown_;
  bool visible_ = false;
  std::chrono::steady_clock::time_point last_;
};

}  // namespace polefit_cli
