/// The process: runs a command and turns what ends it into an exit status.

#include <cstdio>
#include <exception>
#include <span>
#include <string>
#include <variant>

#include "listio/console.hpp"
#include "listio/io_error.hpp"
#include "polefit_cli/commands/command_line.hpp"
#include "polefit_cli/commands/commands.hpp"
#include "polefit_cli/commands/text.hpp"
#include "polefit_cli/files/streams.hpp"

namespace {

using namespace polefit_cli;

/// One line, whatever names of files and arguments hold.
void complain(const std::string& message) { s_solver::print_error("polefit", printable(message)); }

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

/// "file, line 12, value 3: found ..., expected ..."
std::string message_of(const s_solver::IoErrorDetails& details) {
  std::string text = details.file;
  if (details.record > 0) {
    text += ", line " + std::to_string(details.record);
  }
  if (details.item > 0) {
    text += ", value " + std::to_string(details.item);
  }
  return text + ": found " + details.found + ", expected " + details.expected;
}

}  // namespace

int main(int argc, char** argv) {
  s_solver::prepare_standard_streams();
  try {
    const std::span<const char* const> all(argv, static_cast<std::size_t>(argc));
    return run_to_its_end(all.subspan(argc > 0 ? 1 : 0));
  } catch (const s_solver::IoError& error) {
    complain(message_of(error.details()));
  } catch (const std::bad_alloc&) {
    s_solver::print_error("polefit", "there is not enough memory");
  } catch (const std::exception& error) {
    complain(error.what());
  }
  return bad_input;
}
