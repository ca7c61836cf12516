#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <complex>
#include <cstddef>
#include <cstdio>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "polefit/error.hpp"
#include "polefit/model_file.hpp"
#include "polefit/network.hpp"
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

/// Whether the model is to be passive: of a whole matrix whose data are, or that of any where that is asked.
bool to_be_passive(const FitCommand& command, const polefit::Network& network, FitOutcome& outcome) {
  if (!command.passive.value_or(true) || !command.options.stable || polefit::incompleteness(network.matrix)) {
    return false;
  }
  const polefit::SampledPassivity data = polefit::sampled_passivity(network, outcome.noise);
  if (!data.passive) {
    outcome.active = data;
  }
  return data.passive || command.passive.has_value();
}

/// Does what makes the model passive, and what a model that cannot be is told of in its place.
template <class Action>
void correct(const FitCommand& command, FitOutcome& outcome, const Action& action) {
  try {
    action();
  } catch (const polefit::Error& error) {
    const bool kept = command.exact_dc && error.kind() == polefit::ErrorKind::bad_option;
    outcome.not_corrected =
        kept ? "the value at 0 Hz, which --exact-dc keeps, is not passive itself" : error.what();
  }
}

FitOutcome fitted(const FitCommand& command, const polefit::Network& network, polefit::Options options) {
  const std::vector<double> weights = chosen_weights(command, network);
  const polefit::Target target{.error = command.error.value_or(polefit::Target().error),
                               .measure = command.measure.value_or(polefit::Target().measure),
                               .most_poles = command.most_poles};
  FitOutcome outcome;
  if (command.poles) {
    outcome.target = command.error ? std::optional(target) : std::nullopt;
    options.real_poles = command.real.value_or(*command.poles % 2);
    options.complex_pairs = (*command.poles - options.real_poles) / 2;
    outcome.fit = polefit::fit(network, options, weights);
    outcome.to_be_passive = to_be_passive(command, network, outcome);
    if (outcome.to_be_passive) {
      correct(command, outcome, [&] {
        polefit::PassiveFit passive =
            polefit::made_passive_by_refitting(outcome.fit, network, options, weights);
        outcome.fit = std::move(passive.fit);
        outcome.enforcement = std::move(passive.enforcement);
        outcome.first = passive.first;
      });
    }
    return outcome;
  }
  polefit::Search search = polefit::fit_to_error(network, target, options, weights);
  outcome.noise = search.findings.noise;
  outcome.to_be_passive = to_be_passive(command, network, outcome);
  if (outcome.to_be_passive) {
    correct(command, outcome, [&] {
      polefit::PassiveSearch passive = polefit::made_passive(search, network, target, options, weights);
      search = std::move(passive.search);
      outcome.enforcement = std::move(passive.enforcement);
      outcome.first = passive.first;
    });
  }
  outcome.search_succeeded = polefit::succeeded(search);
  outcome.fit = std::move(search.fit);
  outcome.orders_tried = search.steps.size();
  return outcome;
}

/// How far a model is from the values at 0 Hz that it was to take, of the response where it is farthest, as a
/// part of the largest value there.
double off_at_zero(const polefit::Model& model, const polefit::Network& network, std::size_t sample) {
  const std::vector<double> zero{0.0};
  const std::vector<std::complex<double>> values = polefit::evaluate(model, zero);
  const std::size_t samples = network.frequencies.size();
  double farthest = 0.0;
  for (std::size_t r = 0; r < values.size(); ++r) {
    const auto data = network.values.begin() + static_cast<std::ptrdiff_t>(r * samples);
    double largest = 0.0;
    std::for_each_n(data, samples,
                    [&](std::complex<double> value) { largest = std::max(largest, std::abs(value)); });
    const double off = std::abs(values[r] - data[static_cast<std::ptrdiff_t>(sample)]);
    farthest = std::max(farthest, off > 0.0 ? off / largest : 0.0);
  }
  return farthest;
}

}  // namespace

ExitStatus run(const FitCommand& command) {
  const auto start = std::chrono::steady_clock::now();
  check_outputs({command.output, command.quiet ? "" : "-"}, {command.network.file, command.weights_file});
  const polefit::Network network = read_chosen_network(command);
  if (command.passive.value_or(false)) {
    check_whole(network.matrix, network.names.size(), network.file);
  }
  polefit::Options options = command.options;
  if (command.exact_dc) {
    options.exact_sample = sample_at_zero(network);
  }
  const Interruption interruption(!command.output.empty());
  ProgressBar bar(!command.quiet && ::isatty(STDERR_FILENO) == 1);
  options.progress = [&](const polefit::Progress& step) {
    bar.show(step, command.poles ? command.options.iterations : 0);
    return !interruption.wanted();
  };
  FitOutcome outcome = fitted(command, network, options);
  if (options.exact_sample) {
    outcome.off_at_zero = off_at_zero(outcome.fit.model, network, *options.exact_sample);
  }
  outcome.passivity = outcome.enforcement ? outcome.enforcement->passivity : passivity_of(outcome.fit.model);
  if (outcome.passivity) {
    outcome.fit.model.passivity = polefit::certified(*outcome.passivity);
  }
  bar.clear();
  const bool kept_back = !command.output.empty() && !command.write_anyway && harmful(network, outcome);
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
