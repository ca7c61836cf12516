/// The standard streams of a program of ours, and the one line on standard error that ends a failed run.
#pragma once

#include <string_view>

namespace text {

/// Prepares the process for messages: a reader that goes away, or a limit on the size of files, makes a
/// write fail instead of ending the process with a signal, and a standard stream that was closed at the start
/// is never handed out again as the descriptor of one of our files, so that no message can land in a result.
void prepare_standard_streams();

/// Writes "program: message" to standard error, the last thing a failed run does.
void print_error(std::string_view program, std::string_view message) noexcept;

}  // namespace text
