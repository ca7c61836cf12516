#include "polefit_cli/commands/eye_text.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "polefit_cli/commands/tables.hpp"
#include "text/counted.hpp"
#include "text/decimal.hpp"

namespace polefit_cli {
namespace {

constexpr int digits = 4;

std::string volts(double value) { return short_number(value, digits) + " V"; }

std::string rate_text(double rate) {
  std::string text = frequency_text(rate);
  text.erase(text.rfind("Hz"));
  return text + "bit/s";
}

}  // namespace

std::string time_text(double seconds) {
  struct Unit {
    double size;
    const char* name;
  };
  constexpr std::array<Unit, 6> units{
      {{1.0, " s"}, {1e-3, " ms"}, {1e-6, " us"}, {1e-9, " ns"}, {1e-12, " ps"}, {1e-15, " fs"}}};
  const auto found = std::find_if(units.begin(), units.end(),
                                  [&](const Unit& unit) { return std::abs(seconds) >= unit.size; });
  return found == units.end() ? short_number(seconds, digits) + " s"
                              : short_number(seconds / found->size, digits) + found->name;
}

std::string eye_verdict(const Eye& eye, double interval) {
  if (eye.judged == 0) {
    return "not judged: too few bits";
  }
  return eye.open() ? "open by " + volts(eye.height) + " and " + time_text(eye.width() * interval)
                    : "closed by " + volts(-eye.height);
}

std::string eye_report(const Eye& eye, const EyePattern& pattern) {
  const double interval = 1.0 / pattern.rate;
  const auto with_units = [&](double intervals) {
    return time_text(intervals * interval) + " (" + short_number(intervals, digits) + " unit intervals)";
  };
  std::string text = pattern.model + "\n";
  const auto row = [&](const char* name, const std::string& value) {
    std::string line = std::string("  ") + name;
    line.resize(14, ' ');
    text += line + value + "\n";
  };
  row("channel", "port " + std::to_string(pattern.in) + " to port " + std::to_string(pattern.out));
  row("bits", rate_text(pattern.rate) + ", PRBS" + std::to_string(pattern.sequence) + ", 0 and 1 V, rise " +
                  time_text(pattern.rise));
  if (eye.judged == 0) {
    row("eye", eye_verdict(eye, interval));
    return text;
  }
  row("judged", text::counted(eye.judged, "bit") + ", without the first " + std::to_string(eye.skipped));
  row("sampled", with_units(eye.delay) + " behind the begin of each bit");
  row("eye", (eye.open() ? "open" : "closed") + std::string(eye.inverted ? ", a 1 is the lower level" : ""));
  row("height",
      volts(eye.height) + " (from " + volts(eye.highest_zero) + " to " + volts(eye.lowest_one) + ")");
  row("width", with_units(eye.width()) + " at " + volts(eye.threshold));
  return text;
}

std::string eye_table(const Eye& eye) {
  std::string text = "time [UI],lowest 1 [V],highest 0 [V]\n";
  for (std::size_t i = 0; i < eye.lowest_ones.size(); ++i) {
    text::append_shortest(
        text, (static_cast<double>(i) - static_cast<double>(eye_samples)) / static_cast<double>(eye_samples));
    text += ',';
    text::append_shortest(text, eye.lowest_ones[i]);
    text += ',';
    text::append_shortest(text, eye.highest_zeros[i]);
    text += '\n';
  }
  return text;
}

}  // namespace polefit_cli
