#include "polefit_cli/commands/progress_bar.hpp"

#include <algorithm>
#include <array>
#include <cstdio>

namespace polefit_cli {
namespace {

/// A line that cannot be shown is no fault of the fit.
void print(const std::string& text) {
  static_cast<void>(std::fputs(text.c_str(), stderr));
  static_cast<void>(std::fflush(stderr));
}

}  // namespace

std::string search_text(const polefit::Progress& step) {
  std::array<char, 160> text;
  const int length = std::snprintf(text.data(), text.size(), "searching   order %zu   error %.1e   %s",
                                   step.order, step.error, step.polishing ? "polishing" : "relocating");
  return {text.data(), static_cast<std::size_t>(std::max(0, length))};
}

std::string progress_text(const polefit::Progress& step, int iterations) {
  constexpr int width = 20;
  const int done = iterations > 0 ? std::clamp(width * step.iteration / iterations, 0, width) : width;
  std::array<char, 160> text;
  const int length = std::snprintf(
      text.data(), text.size(), "[%.*s%*s]  iteration %d of %d   order %zu   error %.1e", done,
      "####################", width - done, "", step.iteration, iterations, step.order, step.residual);
  return {text.data(), static_cast<std::size_t>(std::max(0, length))};
}

void ProgressBar::show(const polefit::Progress& step, int iterations) {
  constexpr std::chrono::milliseconds pause(100);
  const auto now = std::chrono::steady_clock::now();
  if (!shown_ || (visible_ && now - last_ < pause)) {
    return;
  }
  last_ = now;
  visible_ = true;
  // To the beginning of the line, the text, and no rest of a longer one behind it.
  print("\r" + (iterations > 0 ? progress_text(step, iterations) : search_text(step)) + "\033[K");
}

void ProgressBar::clear() {
  if (visible_) {
    print("\r\033[K");
    visible_ = false;
  }
}

}  // namespace polefit_cli
