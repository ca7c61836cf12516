#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <optional>
#include <string>

#include "listio/console.hpp"
#include "listio/io_error.hpp"
#include "polefit/model_file.hpp"
#include "polefit_cli/commands/commands.hpp"
#include "polefit_cli/commands/fit_report.hpp"
#include "polefit_cli/commands/progress_bar.hpp"
#include "polefit_cli/commands/weights.hpp"
#include "polefit_cli/files/streams.hpp"
#include "polefit_cli/network/selection.hpp"

namespace polefit_cli {
namespace {

Network read_chosen_network(const FitCommand& command) {
  const std::string text = read_input(command.network.file);
  Network network = read_network(text, shown_input(command.network.file), command.network.format);
  if (!command.responses.empty()) {
    network = select_responses(network, command.responses);
  }
  if (command.parameter || command.reference) {
    const char known = network.matrix ? network.matrix->parameter : 'S';
    declare_one_port(network, command.parameter.value_or(known), command.reference.value_or(50.0));
  }
  return network;
}

std::size_t sample_at_zero(const Network& network) {
  const auto found = std::find(network.frequencies.begin(), network.frequencies.end(), 0.0);
  if (found == network.frequencies.end()) {
    throw s_solver::IoError(
        {.file = network.file, .found = "no sample at 0 Hz", .expected = "one for --exact-dc"});
  }
  return static_cast<std::size_t>(found - network.frequencies.begin());
}

FitOutcome fitted(const FitCommand& command, const polefit::NetworkData& data, polefit::Options options) {
  FitOutcome outcome;
  if (command.poles) {
    options.real_poles = command.real.value_or(*command.poles % 2);
    options.complex_pairs = (*command.poles - options.real_poles) / 2;
    outcome.fit = polefit::fit(data, options);
    return outcome;
  }
  polefit::Search search = polefit::fit_to_error(data, command.target, options);
  outcome.fit = std::move(search.fit);
  outcome.search_end = search.end;
  outcome.orders_tried = search.steps.size();
  return outcome;
}

}  // namespace

ExitStatus run(const FitCommand& command) {
  const auto start = std::chrono::steady_clock::now();
  const Network network = read_chosen_network(command);
  std::vector<double> weights =
      command.weighting == Weighting::from_file
          ? read_weights(read_input(command.weights_file), shown_input(command.weights_file), network)
          : weights_by_rule(network, command.weighting);
  polefit::NetworkData data = network.data();
  data.weights = weights;

  polefit::Options options = command.options;
  if (command.exact_dc) {
    options.exact_sample = sample_at_zero(network);
  }
  ProgressBar bar(!command.quiet && ::isatty(STDERR_FILENO) == 1);
  options.progress = [&](const polefit::Progress& step) {
    bar.show(step, command.options.iterations);
    return true;
  };
  FitOutcome outcome;
  try {
    outcome = fitted(command, data, options);
  } catch (const polefit::Error& error) {
    throw polefit::Error(error.kind(), network.file + ": " + error.what());
  }
  bar.clear();
  outcome.fit.model.network = network.matrix;
  if (!command.output.empty()) {
    write_output(command.output, polefit::to_json(outcome.fit.model));
  }
  outcome.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();

  if (!command.quiet) {
    std::string report = fit_report(network, outcome, command.target.error);
    if (command.output.empty()) {
      report += "\nNo model file was asked for: -o MODEL.json writes one.\n";
    }
    if (is_standard_stream(command.output)) {
      static_cast<void>(std::fputs(report.c_str(), stderr));
    } else {
      write_output("-", report);
    }
  }
  return converged(outcome) ? succeeded : not_converged;
}

}  // namespace polefit_cli
