#include <cctype>
#include <filesystem>
#include <optional>
#include <string>

#include "polefit/exports.hpp"
#include "polefit/network.hpp"
#include "polefit_cli/commands/about.hpp"
#include "polefit_cli/commands/commands.hpp"
#include "polefit_cli/commands/declaration.hpp"
#include "polefit_cli/commands/models.hpp"
#include "polefit_cli/commands/passivity_text.hpp"
#include "polefit_cli/commands/streams.hpp"
#include "polefit_cli/commands/tables.hpp"
#include "text/counted.hpp"
#include "text/io_error.hpp"
#include "text/plain_text.hpp"
#include "text/standard_streams.hpp"

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

/// What a response is that stands alone only the user can say.
void check_matrix(const polefit::Model& model, const std::string& shown) {
  if (!model.network && model.responses() == 1) {
    throw text::IoError({.file = shown,
                         .found = "one response that is of no matrix",
                         .expected = "that of a one-port, which --parameter S, Y or Z makes it"});
  }
}

std::string coefficients(const ExportCommand& command, const polefit::Model& model,
                         const std::string& shown) {
  const std::size_t response = chosen_response(command, model, shown);
  if (!command.highest_frequency && !model.origin) {
    throw text::IoError({.file = shown,
                         .found = "no band that the model was fitted in",
                         .expected =
                             "one, by whose highest frequency S_Solver's coefficients are normalised, "
                             "or --highest-frequency F"});
  }
  return about(shown,
               [&] { return polefit::s_solver_coefficients(model, response, command.highest_frequency); });
}

/// Why a model is not passive, or what leaves that open.
std::string cause_text(const polefit::Model& model, const Judgement& judgement) {
  if (!judgement.passivity) {
    return judgement.reason;
  }
  return judgement.passivity->proportional_fault.empty()
             ? extreme_text(*judgement.passivity, model.network->parameter)
             : judgement.passivity->proportional_fault;
}

/// Else it may be passive for all that is known.
bool is_known_to_be_active(const polefit::Model& model, const Judgement& judgement) {
  return judgement.passivity
             ? judgement.passivity->decided || !judgement.passivity->proportional_fault.empty()
             : !is_stable(model);
}

/// What there is to say of a model with which a simulation in time can grow without bound, because it gives
/// back more energy than it was given; nothing of others.
std::string warning_of_growth(const polefit::Model& model, const std::string& shown) {
  if (polefit::incompleteness(model.network)) {
    return {};
  }
  const Judgement judgement = judgement_in_passing(model);
  if (judgement.passivity && judgement.passivity->passive) {
    return {};
  }
  const bool known = is_known_to_be_active(model, judgement);
  return text::printable("warning: " + shown + (known ? " is not passive" : " may not be passive") + ": " +
                         cause_text(model, judgement) +
                         "; a circuit with it may grow without bound. polefit fit --passive makes a passive "
                         "model, polefit passivity tells more");
}

std::string exported(const ExportCommand& command, polefit::Model& model) {
  const std::string shown = shown_input(command.model);
  declare(model, shown, command.declaration);
  const auto sampled = [&] {
    return polefit::sampled(model, wanted_frequencies(command.frequencies, model, default_count, shown),
                            shown);
  };
  switch (command.kind) {
    case ExportKind::spice:
      check_matrix(model, shown);
      return about(shown, [&] {
        return polefit::spice_subcircuit(model,
                                         command.name.empty() ? name_by_file(command.model) : command.name);
      });
    case ExportKind::state_space:
      return about(shown, [&] { return polefit::state_space_text(model); });
    case ExportKind::touchstone:
      check_matrix(model, shown);
      check_ports(command.output, model);
      return polefit::touchstone_text(sampled(), command.touchstone);
    case ExportKind::csv:
      return polefit::csv_text(sampled());
    default:
      return coefficients(command, model, shown);
  }
}

}  // namespace

ExitStatus run(const ExportCommand& command) {
  check_outputs({command.output}, {command.model});
  polefit::Model model = read_model(command.model);
  const std::string text = exported(command, model);
  const bool of_time = command.kind == ExportKind::spice || command.kind == ExportKind::state_space;
  const std::string warning = of_time ? warning_of_growth(model, shown_input(command.model)) : "";
  write_output(command.output, text);
  if (!warning.empty()) {
    text::print_error("polefit", warning);
  }
  return succeeded;
}

}  // namespace polefit_cli
