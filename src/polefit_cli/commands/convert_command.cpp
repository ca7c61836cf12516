#include <algorithm>
#include <filesystem>
#include <string>
#include <utility>

#include "polefit/conversion.hpp"
#include "polefit/network.hpp"
#include "polefit_cli/commands/commands.hpp"
#include "polefit_cli/commands/networks.hpp"
#include "polefit_cli/commands/streams.hpp"
#include "text/counted.hpp"
#include "text/io_error.hpp"
#include "text/letters.hpp"
#include "text/plain_text.hpp"
#include "text/standard_streams.hpp"

namespace polefit_cli {
namespace {

bool is_hybrid(const ConvertCommand& command) {
  const char parameter = command.parameter.value_or('S');
  return parameter == 'H' || parameter == 'G';
}

/// A file of another number of ports than its name tells is one that nobody reads.
void check_ports(const std::string& output, const polefit::Network& network) {
  const auto named = polefit::ports_of_extension(output);
  if (named && network.matrix && *named != network.matrix->ports()) {
    throw text::IoError(
        {.file = output,
         .found = "a name for " + text::counted(*named, "port"),
         .expected = "one for the network's " + text::counted(network.matrix->ports(), "port")});
  }
}

polefit::Network changed(polefit::Network network, const ConvertCommand& command) {
  if (!command.references.empty()) {
    network = polefit::renormalised(network, command.references);
  }
  return command.parameter && !is_hybrid(command) ? polefit::converted(network, *command.parameter)
                                                  : std::move(network);
}

/// What a table loses, which whoever reads it has to know; nothing where that takes 50 ohms, as it is.
void warn_of_references(const ConvertCommand& command, const polefit::Network& network) {
  constexpr double reference_of_tables = 50.0;
  const bool other = network.matrix && network.matrix->parameter == 'S' && !is_hybrid(command) &&
                     (network.matrix->references_vary ||
                      std::any_of(network.matrix->references.begin(), network.matrix->references.end(),
                                  [](double r) { return r != reference_of_tables; }));
  if (other) {
    text::print_error("polefit",
                      text::printable("warning: " + command.output +
                                      ": a table does not tell references, and these are not all 50 ohms"));
  }
}

}  // namespace

bool is_table_name(const std::string& file) {
  return text::lower_case(std::filesystem::path(file).extension().string()) == ".csv";
}

ExitStatus run(const ConvertCommand& command) {
  check_outputs({command.output}, {command.network.file});
  const polefit::Network network = changed(read_network(command.network), command);
  if (is_table_name(command.output)) {
    write_output(
        command.output,
        polefit::csv_text(is_hybrid(command) ? polefit::hybrid(network, *command.parameter) : network));
    warn_of_references(command, network);
    return succeeded;
  }
  check_ports(command.output, network);
  const polefit::TouchstoneOptions defaults;
  write_output(command.output, polefit::touchstone_text(
                                   network, {.format = command.format.value_or(defaults.format),
                                             .unit = command.unit.value_or(defaults.unit),
                                             .version = command.version.value_or(defaults.version),
                                             .parameter = is_hybrid(command) ? *command.parameter : '\0'}));
  return succeeded;
}

}  // namespace polefit_cli
