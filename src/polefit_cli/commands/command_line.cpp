#include "polefit_cli/commands/command_line.hpp"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <map>
#include <memory>
#include <sstream>
#include <thread>
#include <utility>

#include "polefit_cli/commands/command_options.hpp"
#include "polefit_cli/commands/help.hpp"
#include "polefit_cli/commands/option_table.hpp"
#include "polefit_cli/commands/option_values.hpp"
#include "polefit_cli/pictures/picture.hpp"
#include "text/io_error.hpp"

namespace polefit_cli {
namespace {

OptionValue network_format(NetworkSource& network) {
  using enum polefit::NetworkFormat;
  return choice(network.format,
                std::vector<std::pair<std::string_view, polefit::NetworkFormat>>{
                    {"auto", by_name}, {"touchstone", touchstone}, {"csv", csv}, {"samples", samples}});
}

/// The file of a network that a command may do without.
OptionValue network_file(std::optional<NetworkSource>& network) {
  return {[&network](const std::string& text) {
    if (!network) {
      network.emplace();
    }
    return name(network->file).take(text);
  }};
}

OptionValue network_format(std::optional<NetworkSource>& network) {
  return {[&network](const std::string& text) {
    if (!network) {
      network.emplace();
    }
    return network_format(*network).take(text);
  }};
}

OptionValue parameter(Declaration& declaration) {
  return choice(declaration.parameter,
                std::vector<std::pair<std::string_view, char>>{{"S", 'S'}, {"Y", 'Y'}, {"Z", 'Z'}});
}

template <class Version>
OptionValue touchstone_version(Version& version) {
  return choice(version, std::vector<std::pair<std::string_view, int>>{
                             {"1", 1}, {"1.1", 11}, {"2", 2}, {"2.0", 2}, {"2.1", 21}});
}

template <class Format>
OptionValue complex_format(Format& format) {
  using enum polefit::ComplexFormat;
  return choice(format, std::vector<std::pair<std::string_view, polefit::ComplexFormat>>{
                            {"ri", ri}, {"ma", ma}, {"db", db}});
}

OptionValues values_of(FitCommand& fit) {
  using Placements = std::vector<std::pair<std::string_view, polefit::Placement>>;
  using Measures = std::vector<std::pair<std::string_view, polefit::Measure>>;
  using Weightings = std::vector<std::pair<std::string_view, polefit::Weighting>>;
  return {{"NETWORK", name(fit.network.file)},
          {"--output", output_name(fit.output)},
          {"--error", above_zero(fit.error)},
          {"--poles", whole_number(fit.poles, {0})},
          {"--real", whole_number(fit.real, {0})},
          {"--measure", choice(fit.measure, Measures{{"rms", polefit::Measure::relative_rms},
                                                     {"worst", polefit::Measure::worst_response},
                                                     {"largest", polefit::Measure::largest_error}})},
          {"--max-poles", whole_number(fit.most_poles, {0})},
          {"--spacing", choice(fit.options.placement, Placements{{"linear", polefit::Placement::linear},
                                                                 {"log", polefit::Placement::logarithmic},
                                                                 {"peaks", polefit::Placement::peaks}})},
          {"--constant", flag(fit.options.constant)},
          {"--proportional", flag(fit.options.proportional)},
          {"--stable", flag(fit.options.stable)},
          {"--weights", choice(fit.weighting, Weightings{{"balanced", polefit::Weighting::balanced},
                                                         {"uniform", polefit::Weighting::uniform},
                                                         {"relative", polefit::Weighting::relative},
                                                         {"root", polefit::Weighting::root}})},
          {"--weights-file", name(fit.weights_file)},
          {"--responses", names(fit.responses)},
          {"--exact-dc", flag(fit.exact_dc)},
          {"--passive", flag(fit.passive)},
          {"--iterations", whole_number(fit.options.iterations, {0})},
          {"--polish", flag(fit.options.polish)},
          {"--write-anyway", flag(fit.write_anyway)},
          {"--threads", whole_number(fit.options.threads, {1})},
          {"--orthogonal", flag(fit.options.orthogonal)},
          {"--parameter", parameter(fit.declaration)},
          {"--reference", above_zero(fit.declaration.reference)},
          {"--format", network_format(fit.network)},
          {"--quiet", flag(fit.quiet)}};
}

OptionValues values_of(PlotCommand& plot) {
  return {{"MODEL", name(plot.model)},
          {"NETWORK", network_file(plot.network)},
          {"--output", output_name(plot.output)},
          {"--responses", names(plot.responses)},
          {"--panels", whole_number(plot.panels, {1, static_cast<int>(most_panels)})},
          {"--poles", flag(plot.poles)},
          {"--format", network_format(plot.network)}};
}

OptionValues values_of(PassivityCommand& passivity) {
  return {{"MODEL", name(passivity.model)},
          {"--output", output_name(passivity.output)},
          {"--all", flag(passivity.all)},
          {"--parameter", parameter(passivity.declaration)},
          {"--reference", above_zero(passivity.declaration.reference)}};
}

OptionValues values_of(ExportCommand& chosen) {
  return {{"MODEL", name(chosen.model)},
          {"--output", output_name(chosen.output)},
          {"--spice", flag_for(chosen.kind, ExportKind::spice)},
          {"--state-space", flag_for(chosen.kind, ExportKind::state_space)},
          {"--touchstone", flag_for(chosen.kind, ExportKind::touchstone)},
          {"--csv", flag_for(chosen.kind, ExportKind::csv)},
          {"--s-solver", flag_for(chosen.kind, ExportKind::s_solver)},
          {"--name", subcircuit_name(chosen.name)},
          {"--grid", grid(chosen.frequencies)},
          {"--data", complex_format(chosen.touchstone.format)},
          {"--touchstone-version", touchstone_version(chosen.touchstone.version)},
          {"--response", name(chosen.response)},
          {"--highest-frequency", frequency_above_zero(chosen.highest_frequency)},
          {"--parameter", parameter(chosen.declaration)},
          {"--reference", above_zero(chosen.declaration.reference)}};
}

OptionValues values_of(EvalCommand& eval) {
  return {{"MODEL", name(eval.model)},
          {"--output", output_name(eval.output)},
          {"--grid", grid(eval.frequencies)},
          {"--like", network_file(eval.like)},
          {"--format", network_format(eval.like)}};
}

OptionValues values_of(TimeCommand& time) {
  using Sequences = std::vector<std::pair<std::string_view, int>>;
  const auto kind = [&](TimeKind meaning) { return flag_for(time.kind, meaning); };
  const auto kind_with = [&](TimeKind meaning, OptionValue value) {
    return OptionValue{[&time, meaning, take = std::move(value.take)](const std::string& text) {
      time.kind = meaning;
      return take(text);
    }};
  };
  return {{"MODEL", name(time.model)},
          {"--output", output_name(time.output)},
          {"--plot", output_name(time.plot)},
          {"--step", kind(TimeKind::step)},
          {"--impulse", kind(TimeKind::impulse)},
          {"--pulse", kind_with(TimeKind::pulse, time_above_zero(time.width))},
          {"--file", kind_with(TimeKind::file, name(time.waveforms))},
          {"--tdr", kind(TimeKind::tdr)},
          {"--eye", kind(TimeKind::eye)},
          {"--port", whole_number(time.port, {1})},
          {"--rise", time_from_zero(time.rise)},
          {"--terminations", resistances(time.terminations)},
          {"--span", time_above_zero(time.span)},
          {"--points", whole_number(time.points, {2, 10'000'000})},
          {"--time-step", time_above_zero(time.time_step)},
          {"--velocity", above_zero(time.velocity)},
          {"--rate", frequency_above_zero(time.rate)},
          {"--in", whole_number(time.in, {1})},
          {"--out", whole_number(time.out, {1})},
          {"--prbs", choice(time.sequence,
                            Sequences{{"7", 7}, {"9", 9}, {"11", 11}, {"15", 15}, {"23", 23}, {"31", 31}})},
          {"--bits", whole_number(time.bits, {1, 131'072})},
          {"--parameter", parameter(time.declaration)},
          {"--reference", above_zero(time.declaration.reference)}};
}

OptionValues values_of(ConvertCommand& convert) {
  using enum polefit::FrequencyUnit;
  using Parameters = std::vector<std::pair<std::string_view, char>>;
  using Units = std::vector<std::pair<std::string_view, polefit::FrequencyUnit>>;
  return {{"IN", name(convert.network.file)},
          {"OUT", output_name(convert.output)},
          {"--parameters",
           choice(convert.parameter, Parameters{{"S", 'S'}, {"Y", 'Y'}, {"Z", 'Z'}, {"H", 'H'}, {"G", 'G'}})},
          {"--reference", references(convert.references)},
          {"--touchstone", touchstone_version(convert.version)},
          {"--format", complex_format(convert.format)},
          {"--unit", choice(convert.unit, Units{{"Hz", hz}, {"kHz", khz}, {"MHz", mhz}, {"GHz", ghz}})},
          {"--read-as", network_format(convert.network)}};
}

OptionValues values_of(InfoCommand& info) {
  return {{"FILE", name(info.file.file)}, {"--format", network_format(info.file)}};
}

constexpr const char* read_twice = "standard input, -, can be read only once";

/// What the values of the options say together; a complaint or nothing.
std::string complaint_about(const FitCommand& fit) {
  if (fit.real && *fit.real > *fit.poles) {
    return "--real " + std::to_string(*fit.real) + " is more than --poles " + std::to_string(*fit.poles);
  }
  if (fit.real && (*fit.poles - *fit.real) % 2 != 0) {
    return "--poles " + std::to_string(*fit.poles) + " without --real " + std::to_string(*fit.real) +
           " leaves a pole without its conjugate";
  }
  if (fit.poles && fit.measure && !fit.error) {
    return "--measure has no effect with --poles and without --error: it says what that means";
  }
  if (fit.passive.value_or(false) && !fit.options.stable) {
    return "--passive and --no-stable were given, expected one of them: a model with poles in the right "
           "half-plane is never passive";
  }
  return fit.network.file == "-" && fit.weights_file == "-" ? read_twice : "";
}

std::string complaint_about(const PlotCommand& plot) {
  if (!plot.poles && !plot.network) {
    return "plot wants the network file with the data, or --poles";
  }
  if (plot.responses.size() > most_panels) {
    return "--responses: found " + std::to_string(plot.responses.size()) + " names, expected " +
           std::to_string(most_panels) + " at most";
  }
  return !plot.poles && plot.model == "-" && plot.network->file == "-" ? read_twice : "";
}

std::string complaint_about(const EvalCommand& eval) {
  return eval.like && eval.model == "-" && eval.like->file == "-" ? read_twice : "";
}

std::string complaint_about(const TimeCommand& time) {
  return time.kind == TimeKind::file && time.model == "-" && time.waveforms == "-" ? read_twice : "";
}

std::string complaint_about(const PassivityCommand&) { return {}; }

std::string complaint_about(const ExportCommand&) { return {}; }

std::string complaint_about(const ConvertCommand& convert) {
  if (!is_table_name(convert.output)) {
    return {};
  }
  const char* const option = convert.version  ? "--touchstone"
                             : convert.format ? "--format"
                                              : (convert.unit ? "--unit" : nullptr);
  return option == nullptr
             ? std::string()
             : std::string(option) + " has no effect with an output that ends in .csv: a table has none";
}

std::string complaint_about(const InfoCommand&) { return {}; }

/// "polefit fit --help", or the help of the whole where no command was recognised.
std::string with_hint(const CLI::App& app, const std::string& complaint) {
  const std::vector<CLI::App*> commands = app.get_subcommands();
  return complaint + "; see polefit " + (commands.empty() ? "" : commands.front()->get_name() + " ") +
         "--help";
}

/// The help or the message that the library has for an end of its own.
Answer answer_to(const CLI::App& app, const CLI::Error& error, std::span<const char* const> arguments) {
  std::ostringstream out;
  std::ostringstream complaint;
  const int status = app.exit(error, out, complaint);
  if (status == 0) {
    return {out.str(), false};
  }
  if (app.get_subcommands().empty() && !arguments.empty()) {
    std::vector<std::string_view> names;
    for (const CommandEntry& entry : command_table()) {
      names.push_back(entry.name);
    }
    return {with_hint(app, "found " + text::excerpt(arguments.front()) + ", expected " + either_of(names)),
            true};
  }
  std::string text = complaint.str();
  text = text.substr(0, text.find('\n'));
  return {with_hint(app, text), true};
}

FitCommand default_fit() {
  FitCommand fit;
  fit.options.threads = static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
  return fit;
}

/// The command with what was given for it.
template <class Chosen>
std::variant<Command, Answer> finished(Chosen command, const CommandOptions& options, const CLI::App& app,
                                       std::span<const char* const> arguments) {
  std::string complaint = options.complaint_about_choice(arguments);
  if (complaint.empty()) {
    complaint = options.take(values_of(command));
  }
  if (complaint.empty()) {
    complaint = complaint_about(command);
  }
  if (!complaint.empty()) {
    return Answer{with_hint(app, complaint), true};
  }
  return Command(std::move(command));
}

}  // namespace

std::variant<Command, Answer> parse_command_line(std::span<const char* const> arguments) {
  CLI::App app("polefit fits network data with rational models for circuit and system simulation.",
               "polefit");
  const auto help = std::make_shared<Help>();
  help->column_width(34);
  app.formatter(help);
  app.require_subcommand(1);
  app.set_version_flag("--version", "polefit " POLEFIT_VERSION);
  app.footer("polefit COMMAND --help tells more, with examples.");
  std::map<std::string_view, CommandOptions> commands;
  for (const CommandEntry& entry : command_table()) {
    const bool may_be_meant = std::find(arguments.begin(), arguments.end(), entry.name) != arguments.end();
    commands.emplace(entry.name, CommandOptions(app, entry, may_be_meant));
  }
  try {
    app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
  } catch (const CLI::Error& error) {
    return answer_to(app, error, arguments);
  }

  const std::string name = app.get_subcommands().front()->get_name();
  const CommandOptions& options = commands.at(name);
  if (name == "fit") {
    return finished(default_fit(), options, app, arguments);
  }
  if (name == "plot") {
    return finished(PlotCommand{}, options, app, arguments);
  }
  if (name == "passivity") {
    return finished(PassivityCommand{}, options, app, arguments);
  }
  if (name == "export") {
    return finished(ExportCommand{}, options, app, arguments);
  }
  if (name == "eval") {
    return finished(EvalCommand{}, options, app, arguments);
  }
  if (name == "time") {
    return finished(TimeCommand{}, options, app, arguments);
  }
  if (name == "convert") {
    return finished(ConvertCommand{}, options, app, arguments);
  }
  return finished(InfoCommand{}, options, app, arguments);
}

}  // namespace polefit_cli
