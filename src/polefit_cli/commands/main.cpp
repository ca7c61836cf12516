#include <cstddef>
#include <span>

#include "polefit_cli/commands/program.hpp"
#include "polefit_cli/commands/signals.hpp"
#include "text/standard_streams.hpp"

int main(int argc, char** argv) {
  text::prepare_standard_streams();
  polefit_cli::clean_up_on_signals();
  polefit_cli::end_without_memory();
  const std::span<const char* const> all(argv, static_cast<std::size_t>(argc));
  return polefit_cli::run_program(all.subspan(argc > 0 ? 1 : 0));
}
