#include <string>
#include <variant>

#include "polefit_cli/commands/commands.hpp"
#include "polefit_cli/commands/info_text.hpp"
#include "polefit_cli/commands/models.hpp"
#include "polefit_cli/commands/networks.hpp"
#include "polefit_cli/commands/streams.hpp"

namespace polefit_cli {

ExitStatus run(const InfoCommand& command) {
  check_outputs({"-"}, {command.file.file});
  const auto content = read_network_or_model(command.file);
  const std::string shown = shown_input(command.file.file);
  const std::string* const model = std::get_if<std::string>(&content);
  write_output("-", model != nullptr ? info_text(model_of(*model, shown), shown)
                                     : info_text(std::get<polefit::Network>(content)));
  return succeeded;
}

}  // namespace polefit_cli
