/// Messages: records on standard output.
#pragma once

#include <string_view>

#include "text/free_format_writer.hpp"

namespace s_solver {

/// Writes one record and its line end to standard output at once, whether that is a pipe or a terminal.
/// Throws IoError when it cannot be written.
void print_line(std::string_view record);

/// Writes `items` as one free-format record to standard output (see print_line).
template <class... Items>
void print_record(const Items&... items) {
  print_line(text::free_format_record(items...));
}

/// Closes standard output; throws IoError for a failure that shows only now.
void close_standard_output();

}  // namespace s_solver
