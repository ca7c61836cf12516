/// Numbers and tables for readers.
#pragma once

#include <string>
#include <vector>

namespace polefit_cli {

/// With so many significant digits, such as 1.2e-05 or 0.034.
std::string short_number(double value, int digits = 3);

/// With a prefix: 2.4 GHz, 50 Hz.
std::string frequency_text(double hertz);

/// Rows in columns as wide as they need; the first column is aligned to the left, the others to the right.
/// Ends with a line end.
std::string table_text(const std::vector<std::vector<std::string>>& rows);

}  // namespace polefit_cli
