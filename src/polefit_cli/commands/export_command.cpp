#include <cctype>
#include <filesystem>
#include <string>

#include "polefit/error.hpp"
#include "polefit/exports.hpp"
#include "polefit/network.hpp"
#include "polefit_cli/commands/commands.hpp"
#include "polefit_cli/commands/models.hpp"
#include "polefit_cli/commands/streams.hpp"
#include "polefit_cli/commands/tables.hpp"
#include "text/counted.hpp"
#include "text/io_error.hpp"

namespace polefit_cli {
namespace {

constexpr std::size_t default_count = 1001;

/// A legal name of a subcircuit that is like that of the file.
std::string name_by_file(const std::string& file) {
  constexpr std::size_t longest = 60;
  if (is_standard_stream(file)) {
    return "model";
  }
  std::string name = std::filesystem::path(file).stem().string().substr(0, longest);
  for (char& c : name) {
    if (std::isalnum(static_cast<unsigned char>(c)) == 0) {
      c = '_';
    }
  }
  return !name.empty() && std::isalpha(static_cast<unsigned char>(name.front())) != 0 ? name
                                                                                      : "model_" + name;
}

std::size_t chosen_response(const ExportCommand& command, const polefit::Model& model,
                            const std::string& shown) {
  // Without a name there must be a single one; the refusal lists what there is.
  return command.response.empty() && model.responses() == 1 ? 0
                                                            : find_response(model, command.response, shown);
}

/// A file of another number of ports than its name tells is one that nobody reads.
void check_ports(const std::string& output, const polefit::Model& model) {
  const auto named = polefit::ports_of_extension(output);
  const std::size_t ports = model.network ? model.network->references.size() : 0;
  if (named && ports > 0 && *named != ports) {
    throw text::IoError({.file = output,
                         .found = "a name for " + text::counted(*named, "port"),
                         .expected = "one for the model's " + text::counted(ports, "port")});
  }
}

std::string exported(const ExportCommand& command, polefit::Model& model) {
  const std::string shown = shown_input(command.model);
  if (command.parameter || command.reference) {
    const char known = model.network ? model.network->parameter : 'S';
    polefit::declare_one_port(model, command.parameter.value_or(known), command.reference.value_or(50.0));
  }
  switch (command.kind) {
    case ExportKind::spice:
      return polefit::spice_subcircuit(model,
                                       command.name.empty() ? name_by_file(command.model) : command.name);
    case ExportKind::state_space:
      return polefit::state_space_text(model);
    case ExportKind::touchstone:
      check_ports(command.output, model);
      return polefit::touchstone_text(
          polefit::sampled(model, wanted_frequencies(command.grid, model, default_count, shown), shown),
          command.touchstone);
    case ExportKind::csv:
      return polefit::csv_text(
          polefit::sampled(model, wanted_frequencies(command.grid, model, default_count, shown), shown));
    default:
      return polefit::s_solver_coefficients(model, chosen_response(command, model, shown));
  }
}

}  // namespace

ExitStatus run(const ExportCommand& command) {
  refuse_output_that_is_an_input(command.output, {command.model});
  polefit::Model model = read_model(command.model);
  std::string text;
  try {
    text = exported(command, model);
  } catch (const polefit::Error& error) {
    // An option is no fault of the model's.
    const bool of_model = error.kind() != polefit::ErrorKind::bad_option;
    throw polefit::Error(error.kind(),
                         (of_model ? shown_input(command.model) + ": " : "--name: ") + error.what());
  }
  write_output(command.output, text);
  return succeeded;
}

}  // namespace polefit_cli
