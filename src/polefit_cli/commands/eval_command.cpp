#include "polefit/network.hpp"
#include "polefit_cli/commands/commands.hpp"
#include "polefit_cli/commands/models.hpp"
#include "polefit_cli/commands/networks.hpp"
#include "polefit_cli/commands/streams.hpp"

namespace polefit_cli {

ExitStatus run(const EvalCommand& command) {
  constexpr std::size_t default_count = 201;
  check_outputs({command.output}, {command.model, command.like ? command.like->file : ""});
  const polefit::Model model = read_model(command.model);
  const std::string shown = shown_input(command.model);
  std::vector<double> frequencies;
  if (command.like) {
    frequencies = read_network(*command.like).frequencies;
  } else {
    frequencies = wanted_frequencies(command.frequencies, model, default_count, shown);
  }
  write_output(command.output, polefit::csv_text(polefit::sampled(model, std::move(frequencies), shown)));
  return succeeded;
}

}  // namespace polefit_cli
