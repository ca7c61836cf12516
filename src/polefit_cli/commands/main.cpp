/// The process: runs a command and turns what ends it into an exit status.

#include <cstdio>
#include <exception>
#include <span>
#include <string>
#include <variant>

#include "polefit_cli/commands/command_line.hpp"
#include "polefit_cli/commands/commands.hpp"
#include "polefit_cli/commands/streams.hpp"
#include "polefit_cli/commands/tables.hpp"
#include "text/io_error.hpp"
#include "text/plain_text.hpp"
#include "text/standard_streams.hpp"

namespace {

using namespace polefit_cli;

/// One line, whatever names of files and arguments hold.
void complain(const std::string& message) { text::print_error("polefit", text::printable(message)); }

int run_to_its_end(std::span<const char* const> arguments) {
  const std::variant<Command, Answer> parsed = parse_command_line(arguments);
  if (const Answer* const answer = std::get_if<Answer>(&parsed)) {
    if (answer->is_error) {
      complain(answer->text);
      return bad_input;
    }
    write_output("-", answer->text);
    return succeeded;
  }
  return std::visit([](const auto& command) -> int { return run(command); }, std::get<Command>(parsed));
}

}  // namespace

int main(int argc, char** argv) {
  text::prepare_standard_streams();
  try {
    const std::span<const char* const> all(argv, static_cast<std::size_t>(argc));
    return run_to_its_end(all.subspan(argc > 0 ? 1 : 0));
  } catch (const text::IoError& error) {
    complain(text::line_message(error.details()));
  } catch (const std::bad_alloc&) {
    text::print_error("polefit", "there is not enough memory");
  } catch (const std::exception& error) {
    complain(error.what());
  }
  return bad_input;
}
