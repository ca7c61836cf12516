/// Frequencies as a user writes them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace polefit_cli {

/// A frequency such as 2.4e9, 2.4G, 2.4GHz, 10 kHz, in hertz: k, M, G and T in that case (K also), Hz in
/// either. Throws text::IoError for anything else, and for negative and infinite ones.
double read_frequency(std::string_view text);

/// FROM:TO:COUNT, COUNT frequencies evenly from FROM to TO; FROM:TO:COUNT:log, evenly over the decades; or a
/// list of frequencies with commas between. Throws text::IoError, also for more than ten million.
std::vector<double> read_grid(const std::string& text);

/// `count` frequencies evenly from one to the other, both included.
std::vector<double> even_grid(double from, double to, std::size_t count);

}  // namespace polefit_cli
