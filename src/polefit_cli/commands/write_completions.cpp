/// Part of the build: writes the completion scripts into a folder. Usage: write_completions FOLDER

#include <cstdio>
#include <exception>
#include <string>

#include "polefit_cli/commands/completion.hpp"
#include "text/standard_streams.hpp"
#include "text/whole_file.hpp"

int main(int argc, char** argv) {
  try {
    if (argc != 2) {
      text::print_error("write_completions", "found no folder, expected one");
      return 2;
    }
    const std::string folder(argv[1]);
    text::replace_whole_file(folder + "/polefit.bash", polefit_cli::bash_completion());
    text::replace_whole_file(folder + "/_polefit", polefit_cli::zsh_completion());
    return 0;
  } catch (const std::exception& error) {
    text::print_error("write_completions", error.what());
    return 2;
  }
}
