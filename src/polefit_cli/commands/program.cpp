#include "polefit_cli/commands/program.hpp"

#include <exception>
#include <new>
#include <stdexcept>
#include <string>
#include <variant>

#include "polefit_cli/commands/command_line.hpp"
#include "polefit_cli/commands/commands.hpp"
#include "polefit_cli/commands/streams.hpp"
#include "text/io_error.hpp"
#include "text/plain_text.hpp"
#include "text/standard_streams.hpp"

namespace polefit_cli {
namespace {

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

int run_program(std::span<const char* const> arguments) noexcept {
  try {
    try {
      return run_to_its_end(arguments);
    } catch (const text::IoError& error) {
      complain(text::line_message(error.details()));
    } catch (const std::bad_alloc&) {
      throw;
    } catch (const std::length_error&) {  // of more elements than there are addresses
      throw std::bad_alloc();
    } catch (const std::exception& error) {
      complain(error.what());
    }
  } catch (...) {  // memory, which even a message can lack
    text::print_error("polefit", "there is not enough memory");
  }
  return bad_input;
}

}  // namespace polefit_cli
