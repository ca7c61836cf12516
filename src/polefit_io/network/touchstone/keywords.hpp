/// The keywords in brackets of Touchstone 2.0.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace polefit_io {

enum class Keyword {
  version,
  number_of_ports,
  two_port_data_order,
  number_of_frequencies,
  number_of_noise_frequencies,
  reference,
  matrix_format,
  mixed_mode_order,
  begin_information,
  end_information,
  network_data,
  noise_data,
  end,
};

/// As messages show it: "[Number of Ports]".
std::string shown(Keyword keyword);

/// A line that begins with a keyword.
struct KeywordLine {
  Keyword keyword;
  std::string_view rest;  ///< what stands behind it, without outer blanks
};

/// Takes a line apart; its keyword may be in any case and with any blanks. Nothing for any other line.
std::optional<KeywordLine> keyword_line(std::string_view line);

}  // namespace polefit_io
