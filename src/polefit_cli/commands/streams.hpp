/// Input and output by name, where "-" stands for the standard streams.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

namespace polefit_cli {

/// Whether the name stands for standard input or output.
inline bool is_standard_stream(std::string_view name) { return name == "-"; }

/// An input's name as messages show it.
inline std::string shown_input(const std::string& name) {
  return is_standard_stream(name) ? "standard input" : name;
}

/// The bytes of the file, or all that standard input still gives. Throws text::IoError, in which the
/// latter is "standard input".
std::string read_input(const std::string& name);

/// Makes `content` the file of that name, which until then is the old one (see text/whole_file.hpp), or
/// writes it to standard output behind what is there already. Throws text::IoError, in which the latter
/// is "standard output"; SIGPIPE has to be ignored (see text/standard_streams.hpp) for a reader that goes
/// away to be one.
void write_output(const std::string& name, std::string_view content);

/// Throws text::IoError before anything is done when an output has no place to go, is one of the inputs or is
/// another output too: the same file under whatever name, also behind a standard stream. Empty names stand
/// for nothing, and what is no regular file may be everything at once. No message goes to standard error
/// where that is an input; standard output gets them then.
void check_outputs(std::initializer_list<std::string> outputs, std::initializer_list<std::string> inputs);

}  // namespace polefit_cli
