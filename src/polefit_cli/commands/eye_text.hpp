/// What is told of an eye.
#pragma once

#include <cstddef>
#include <string>

#include "polefit_cli/commands/eye.hpp"

namespace polefit_cli {

/// 35 ps, 1.2 ns.
std::string time_text(double seconds);

/// The pattern that made an eye.
struct EyePattern {
  std::string model;   ///< as messages show it
  std::size_t in = 1;  ///< ports, counted from 1
  std::size_t out = 2;
  int sequence = 7;
  double rate = 1.0;  ///< bits a second
  double rise = 0.0;  ///< in seconds
};

/// One line: how high and how wide, or that it is closed.
std::string eye_verdict(const Eye& eye, double interval);

/// A table.
std::string eye_report(const Eye& eye, const EyePattern& pattern);

/// The opening as CSV: time in unit intervals from the sampling moment, lowest 1 and highest 0.
std::string eye_table(const Eye& eye);

}  // namespace polefit_cli
