/// Messages: records on standard output, and the one line on standard error that ends a failed run.
#pragma once

#include <string_view>

#include "listio/free_format_writer.hpp"

namespace s_solver {

/// Prepares the process for messages: a reader that goes away, or a limit on the size of files, makes a
/// write fail instead of ending the process with a signal, and a standard stream that was closed at the start
/// is never handed out again as the descriptor of one of our files, so that no message can land in a result.
void prepare_standard_streams();

/// Writes one record and its line end to standard output at once, whether that is a pipe or a terminal.
/// Throws IoError when it cannot be written.
void print_line(std::string_view record);

/// Writes `items` as one free-format record to standard output (see print_line).
template <class... Items>
void print_record(const Items&... items) {
  print_line(free_format_record(items...));
}

/// Closes standard output; throws IoError for a failure that shows only now.
void close_standard_output();

/// Writes "program: message" to standard error, the last thing a failed run does.
void print_error(std::string_view program, std::string_view message) noexcept;

}  // namespace s_solver
