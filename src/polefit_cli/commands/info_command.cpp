#include <string>

#include "polefit_cli/commands/commands.hpp"
#include "polefit_cli/commands/info_text.hpp"
#include "polefit_cli/commands/models.hpp"
#include "polefit_cli/commands/streams.hpp"

namespace polefit_cli {

ExitStatus run(const InfoCommand& command) {
  check_outputs({"-"}, {command.file.file});
  const std::string text = read_input(command.file.file);
  const std::string shown = shown_input(command.file.file);
  const bool model = command.file.format == polefit::NetworkFormat::by_name && looks_like_model(text);
  write_output("-", model ? info_text(model_of(text, shown), shown)
                          : info_text(polefit::network_from_text(text, shown, command.file.format)));
  return succeeded;
}

}  // namespace polefit_cli
