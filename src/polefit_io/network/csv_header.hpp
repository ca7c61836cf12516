/// The header of a table of values with separators (CSV).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "polefit/model/model_faults.hpp"
#include "polefit_io/network/header_cell.hpp"

namespace polefit_io {

inline constexpr std::size_t longest_name = polefit::longest_response_name;

/// A line of the file, for messages.
struct TablePlace {
  const std::string& file;
  std::int64_t line;

  /// `column` counted from 0.
  [[noreturn]] void fail(std::size_t column, std::string found, std::string expected) const;
};

/// The two columns of a response. The value is made of its real part, or magnitude or decibels, first.
struct ResponseColumns {
  Part first = Part::real;
  Part second = Part::imaginary;
  bool swapped = false;  ///< the second stands before the first
};

struct CsvHeader {
  char separator = ',';
  int frequency_power = 0;
  std::vector<ResponseColumns> responses;
  std::vector<std::string> names;

  std::size_t columns() const { return 1 + 2 * responses.size(); }
};

/// The header in `line`; see read_csv for what is refused. Whether names stand twice is not looked at.
CsvHeader csv_header(std::string_view line, const TablePlace& place);

}  // namespace polefit_io
