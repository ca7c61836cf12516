/// The settings file: number of poles and iteration limit.
#pragma once

#include <string_view>

namespace s_solver {

/// Reads order and max_iterations, an integer in a record each, and reports them on standard output; any
/// integer is taken. What the file leaves out keeps its value. A file that cannot be opened is reported
/// and leaves both as they are. Throws IoError when the file ends early or holds something else.
void read_settings_file(std::string_view file_name, int& order, int& max_iterations);

}  // namespace s_solver
