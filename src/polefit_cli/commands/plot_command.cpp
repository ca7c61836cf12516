#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdio>
#include <string>
#include <vector>

#include "polefit/network.hpp"
#include "polefit_cli/commands/about.hpp"
#include "polefit_cli/commands/commands.hpp"
#include "polefit_cli/commands/models.hpp"
#include "polefit_cli/commands/networks.hpp"
#include "polefit_cli/commands/picture_file.hpp"
#include "polefit_cli/commands/streams.hpp"
#include "polefit_cli/commands/tables.hpp"
#include "polefit_cli/pictures/gnuplot_script.hpp"
#include "polefit_cli/pictures/picture.hpp"
#include "text/counted.hpp"
#include "text/io_error.hpp"
#include "text/plain_text.hpp"

namespace polefit_cli {
namespace {

/// The responses of the model that the network has too; of one response each, these two, unless they
/// are of different parameters. Throws text::IoError when there are none.
std::vector<MatchedResponse> matched_responses(const polefit::Model& model, const polefit::Network& network) {
  std::vector<MatchedResponse> matched;
  for (std::size_t r = 0; r < model.responses(); ++r) {
    const auto found = std::find(network.names.begin(), network.names.end(), response_name(model, r));
    if (found != network.names.end()) {
      matched.push_back({r, static_cast<std::size_t>(found - network.names.begin())});
    }
  }
  const bool alike =
      !model.network || !network.matrix || model.network->parameter == network.matrix->parameter;
  if (matched.empty() && alike && model.responses() == 1 && network.names.size() == 1) {
    matched.push_back({0, 0});
  }
  if (matched.empty()) {
    throw text::IoError({.file = network.file,
                         .found = "none of the model's responses",
                         .expected = "one of them, such as " + text::printable(response_name(model, 0))});
  }
  return matched;
}

/// The relative error of each.
std::vector<double> relative_errors(const polefit::Model& model, const polefit::Network& network,
                                    const std::vector<MatchedResponse>& matched) {
  const std::vector<std::complex<double>> values = polefit::evaluate(model, network.frequencies);
  const std::size_t samples = network.frequencies.size();
  std::vector<double> errors;
  for (const MatchedResponse& response : matched) {
    double difference = 0.0;
    double size = 0.0;
    for (std::size_t k = 0; k < samples; ++k) {
      const std::complex<double> data = network.values[response.in_network * samples + k];
      difference = std::hypot(difference, std::abs(data - values[response.in_model * samples + k]));
      size = std::hypot(size, std::abs(data));
    }
    errors.push_back(size > 0.0 ? difference / size : difference);
  }
  return errors;
}

/// Of those that both have, the ones that were asked for, or those with the largest errors.
std::vector<MatchedResponse> chosen_responses(const PlotCommand& command, const polefit::Model& model,
                                              const polefit::Network& network) {
  const std::vector<MatchedResponse> matched = matched_responses(model, network);
  std::vector<MatchedResponse> chosen;
  if (command.responses.empty()) {
    const std::vector<double> errors = relative_errors(model, network, matched);
    for (const std::size_t i : worst_responses(errors, command.panels)) {
      chosen.push_back(matched[i]);
    }
    return chosen;
  }
  for (const std::string& name : command.responses) {
    const std::size_t wanted = find_response(model, name, shown_input(command.model));
    const auto found = std::find_if(matched.begin(), matched.end(), [&](const MatchedResponse& response) {
      return response.in_model == wanted;
    });
    if (found == matched.end()) {
      throw text::IoError({.file = network.file,
                           .found = "no response \"" + text::printable(name) + "\"",
                           .expected = "it, since the model has it"});
    }
    chosen.push_back(*found);
  }
  return chosen;
}

std::string fit_title(const PlotCommand& command, const polefit::Model& model) {
  return title_of(command.network->file) + ", " + text::counted(model.poles.size(), "pole");
}

}  // namespace

ExitStatus run(const PlotCommand& command) {
  check_outputs({command.output}, {command.model, command.network ? command.network->file : ""});
  const PictureFormat format = picture_format(command.output);
  const polefit::Model model = read_model(command.model);
  std::string script;
  if (command.poles) {
    script = pole_script(
        about(shown_input(command.model), [&] { return pole_picture(model, title_of(command.model)); }),
        format);
  } else {
    const polefit::Network network = read_network(*command.network);
    script = fit_script(
        fit_picture(model, network, chosen_responses(command, model, network), fit_title(command, model)),
        format);
  }
  static_cast<void>(std::fputs(draw_to(command.output, script, format).c_str(), stderr));
  return succeeded;
}

}  // namespace polefit_cli
