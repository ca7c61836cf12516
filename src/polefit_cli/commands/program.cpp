#include "polefit_cli/commands/program.hpp"

#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <new>
#include <stdexcept>
#include <string>
#include <variant>

#include "polefit_cli/commands/command_line.hpp"
#include "polefit_cli/commands/commands.hpp"
#include "polefit_cli/commands/signals.hpp"
#include "polefit_cli/commands/streams.hpp"
#include "text/io_error.hpp"
#include "text/plain_text.hpp"
#include "text/standard_streams.hpp"

namespace polefit_cli {
namespace {

/// One line, whatever names of files and arguments hold.
void complain(const std::string& message) { text::print_error("polefit", text::printable(message)); }

int run_to_its_end(const Command& command) {
  return std::visit([](const auto& chosen) -> int { return run(chosen); }, command);
}

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
  return run_to_its_end(std::get<Command>(parsed));
}

void tell_of_memory() noexcept { text::print_error("polefit", "there is not enough memory"); }

/// The status of a command or a command line, whatever ends it.
template <class Work>
int status_of(const Work& work) noexcept {
  try {
    try {
      return run_to_its_end(work);
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
    tell_of_memory();
  }
  return bad_input;
}

[[noreturn]] void end_by_terminate() noexcept {
  try {
    if (const std::exception_ptr cause = std::current_exception()) {
      std::rethrow_exception(cause);
    }
  } catch (const std::bad_alloc&) {
    clean_up();
    tell_of_memory();
    ::_exit(bad_input);
  } catch (...) {  // a fault of ours, which a core dump may explain
  }
  std::abort();
}

}  // namespace

void end_without_memory() { std::set_terminate(end_by_terminate); }

int run_program(std::span<const char* const> arguments) noexcept { return status_of(arguments); }

int run_command(const Command& command) noexcept { return status_of(command); }

}  // namespace polefit_cli
