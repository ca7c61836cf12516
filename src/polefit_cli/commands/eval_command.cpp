#include "polefit_cli/commands/commands.hpp"
#include "polefit_cli/commands/models.hpp"
#include "polefit_cli/files/streams.hpp"
#include "polefit_cli/network/csv_writer.hpp"

namespace polefit_cli {

ExitStatus run(const EvalCommand& command) {
  constexpr std::size_t default_count = 201;
  const polefit::Model model = read_model(command.model);
  const std::string shown = shown_input(command.model);
  std::vector<double> frequencies;
  if (command.like) {
    const NetworkSource& like = *command.like;
    frequencies = read_network(read_input(like.file), shown_input(like.file), like.format).frequencies;
  } else {
    frequencies = wanted_frequencies(command.grid, model, default_count, shown);
  }
  write_output(command.output, csv_text(sampled(model, std::move(frequencies), shown)));
  return succeeded;
}

}  // namespace polefit_cli
