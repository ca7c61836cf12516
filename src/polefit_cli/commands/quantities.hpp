/// Times and resistances as a user writes them.
#pragma once

#include <string_view>
#include <vector>

namespace polefit_cli {

/// A time such as 3.5e-11, 35p, 35ps or 2 us, in seconds: f, p, n, u or the Greek letter, and m, with or
/// without s behind it. Throws text::IoError for anything else, and for negative and infinite ones.
double read_time(std::string_view text);

/// Resistances in ohms with commas between, such as 50 or 50,1k,inf: k and M, and inf for an open port.
/// Throws text::IoError for anything else, and for negative ones.
std::vector<double> read_resistances(std::string_view text);

}  // namespace polefit_cli
