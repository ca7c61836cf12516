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

/// Throws text::IoError when the output is one of the inputs: the same file under whatever name, also behind
/// a standard stream. Names that are empty or of no file yet are none, nor is what is no regular file.
void refuse_output_that_is_an_input(const std::string& output, std::initializer_list<std::string> inputs);

}  // namespace polefit_cli
