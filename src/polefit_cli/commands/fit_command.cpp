#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

#include "polefit/error.hpp"
#include "polefit/model_file.hpp"
#include "polefit/network.hpp"
#include "polefit/whole_fit.hpp"
#include "polefit_cli/commands/about.hpp"
#include "polefit_cli/commands/commands.hpp"
#include "polefit_cli/commands/declaration.hpp"
#include "polefit_cli/commands/fit_report.hpp"
#include "polefit_cli/commands/networks.hpp"
#include "polefit_cli/commands/passivity_text.hpp"
#include "polefit_cli/commands/progress_bar.hpp"
#include "polefit_cli/commands/signals.hpp"
#include "polefit_cli/commands/streams.hpp"
#include "polefit_cli/commands/tables.hpp"
#include "polefit_cli/commands/weights.hpp"
#include "text/io_error.hpp"

namespace polefit_cli {
namespace {

polefit::Network read_chosen_network(const FitCommand& command) {
  polefit::Network network = read_network(command.network);
  if (!command.responses.empty()) {
    network = polefit::select_responses(network, command.responses);
  }
  declare(network, command.declaration);
  return network;
}

std::size_t sample_at_zero(const polefit::Network& network) {
  const auto found = std::find(network.frequencies.begin(), network.frequencies.end(), 0.0);
  if (found == network.frequencies.end()) {
    throw text::IoError(
        {.file = network.file, .found = "no sample at 0 Hz", .expected = "one for --exact-dc"});
  }
  return static_cast<std::size_t>(found - network.frequencies.begin());
}

std::vector<double> chosen_weights(const FitCommand& command, const polefit::Network& network) {
  return command.weights_file.empty()
             ? polefit::weights(network.data(), command.weighting)
             : read_weights(read_input(command.weights_file), shown_input(command.weights_file), network);
}

polefit::WholeFitOptions options_of(const FitCommand& command) {
  return {.poles = command.poles,
          .real_poles = command.real,
          .error = command.error,
          .measure = command.measure,
          .most_poles = command.most_poles,
          .passive = command.passive,
          .options = command.options};
}

}  // namespace

ExitStatus run(const FitCommand& command) {
  const auto start = std::chrono::steady_clock::now();
  check_outputs({command.output, command.quiet ? "" : "-"}, {command.network.file, command.weights_file});
  const polefit::Network network = read_chosen_network(command);
  if (command.passive.value_or(false)) {
    check_whole(network.matrix, network.names.size(), network.file);
  }
  polefit::WholeFitOptions options = options_of(command);
  if (command.exact_dc) {
    options.options.exact_sample = sample_at_zero(network);
  }
  const Interruption interruption(!command.output.empty());
  ProgressBar bar(!command.quiet && ::isatty(STDERR_FILENO) == 1);
  options.options.progress = [&](const polefit::Progress& step) {
    bar.show(step, command.poles ? command.options.iterations : 0);
    return !interruption.wanted();
  };
  FitOutcome outcome{polefit::whole_fit(network, options, chosen_weights(command, network))};
  bar.clear();
  const bool kept_back = !command.output.empty() && !command.write_anyway && harmful(outcome, network.matrix);
  outcome.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  std::string report = command.quiet ? "" : fit_report(network, outcome);
  if (!command.quiet && command.output.empty()) {
    report += "\nNo model file was asked for: -o MODEL.json writes one.\n";
  }
  if (!command.output.empty() && !kept_back) {
    write_output(command.output, about(network.file, [&] { return polefit::to_json(outcome.fit.model); }));
  }
  if (is_standard_stream(command.output)) {
    static_cast<void>(std::fputs(report.c_str(), stderr));
  } else {
    write_output("-", report);
  }
  if (kept_back) {
    throw text::IoError({.file = command.output,
                         .found = "a model that does not fit and amplifies up to " +
                                  short_number(outcome.fit.report.gain, 2) + " times what the data ever are",
                         .expected = "--write-anyway, to write it all the same"});
  }
  return converged(outcome) ? succeeded : not_converged;
}

}  // namespace polefit_cli
