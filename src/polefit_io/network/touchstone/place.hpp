/// Where a Touchstone text is refused.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace polefit_io {

/// A line of a file.
struct TouchstonePlace {
  const std::string& file;
  std::int64_t line;

  /// Throws text::IoError. `item` is the value within the line, counted from 1; 0 where no value is meant.
  [[noreturn]] void fail(std::string found, std::string expected, std::size_t item = 0) const;
};

}  // namespace polefit_io
