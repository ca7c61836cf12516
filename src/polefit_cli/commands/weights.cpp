#include "polefit_cli/commands/weights.hpp"

#include <cmath>

#include "text/io_error.hpp"
#include "text/number_text.hpp"
#include "text/text_lines.hpp"

namespace polefit_cli {

std::vector<double> read_weights(std::string_view content, const std::string& file,
                                 const polefit::Network& network) {
  constexpr std::string_view separators = " \t,;";
  std::vector<double> weights;
  text::TextLines lines(content);
  while (lines.next()) {
    std::string_view rest = text::without_blanks(lines.line());
    if (!rest.empty() && (rest.front() == '#' || rest.front() == '!')) {
      continue;
    }
    for (std::size_t first = rest.find_first_not_of(separators); first != std::string_view::npos;
         first = rest.find_first_not_of(separators)) {
      rest.remove_prefix(first);
      const std::string_view token = rest.substr(0, rest.find_first_of(separators));
      rest.remove_prefix(token.size());
      double weight = 0.0;
      if (!text::parse_real(token, weight) || !std::isfinite(weight) || weight < 0.0) {
        throw text::IoError({.file = file,
                             .record = lines.number(),
                             .found = text::excerpt(token),
                             .expected = "a weight, which is finite and not below 0"});
      }
      weights.push_back(weight);
    }
  }
  const std::size_t samples = network.frequencies.size();
  if (weights.size() != samples && weights.size() != network.values.size()) {
    throw text::IoError({.file = file,
                         .found = std::to_string(weights.size()) + " weights",
                         .expected = std::to_string(samples) + ", one a sample, or " +
                                     std::to_string(network.values.size()) + ", one a sample and response"});
  }
  return weights;
}

}  // namespace polefit_cli
