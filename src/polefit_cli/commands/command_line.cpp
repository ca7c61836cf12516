#include "polefit_cli/commands/command_line.hpp"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <memory>
#include <thread>
#include <utility>

#include "polefit_cli/pictures/picture.hpp"
#include "text/io_error.hpp"
#include "text/number_text.hpp"

namespace polefit_cli {
namespace {

using Arguments = std::vector<std::string>;

template <class Value>
using Names = std::map<std::string, Value>;

const Names<polefit::NetworkFormat> network_formats{{"auto", polefit::NetworkFormat::by_name},
                                                    {"touchstone", polefit::NetworkFormat::touchstone},
                                                    {"csv", polefit::NetworkFormat::csv},
                                                    {"samples", polefit::NetworkFormat::samples}};
const Names<polefit::Placement> placements{{"linear", polefit::Placement::linear},
                                           {"log", polefit::Placement::logarithmic},
                                           {"peaks", polefit::Placement::peaks}};
const Names<polefit::Measure> measures{{"rms", polefit::Measure::relative_rms},
                                       {"worst", polefit::Measure::worst_response},
                                       {"largest", polefit::Measure::largest_error}};
const Names<polefit::Weighting> weightings{{"balanced", polefit::Weighting::balanced},
                                           {"uniform", polefit::Weighting::uniform},
                                           {"relative", polefit::Weighting::relative},
                                           {"root", polefit::Weighting::root}};
const Names<polefit::ComplexFormat> complex_formats{{"ri", polefit::ComplexFormat::ri},
                                                    {"ma", polefit::ComplexFormat::ma},
                                                    {"db", polefit::ComplexFormat::db}};

/// A choice by name, in either case.
template <class Value>
CLI::Option* add_choice(CLI::App& app, const std::string& name, Value& value, const Names<Value>& names,
                        const std::string& description) {
  std::string all;
  for (const auto& [choice, meaning] : names) {
    all += (all.empty() ? "" : "|") + choice;
  }
  const auto take = [&value, &names](const std::string& text) {
    const auto found = names.find(CLI::detail::to_lower(text));
    if (found == names.end()) {
      return false;
    }
    value = found->second;
    return true;
  };
  const auto complaint = [take, all](const std::string& text) {
    return take(text) ? std::string() : "found " + text::excerpt(text) + ", expected " + all;
  };
  return app
      .add_option(
          name, [take](const CLI::results_t& results) { return take(results.front()); }, description)
      ->type_name(all)
      ->expected(1)
      ->check(CLI::Validator(complaint, ""));
}

/// A condition on an argument with a message of its own; numbers are read as everywhere in the program.
CLI::Validator condition(const std::function<bool(double)>& holds, const std::string& expected) {
  return {[holds, expected](const std::string& text) {
            double value = 0.0;
            const bool good = text::parse_real(text, value) && std::isfinite(value) && holds(value);
            return good ? std::string() : "found " + text::excerpt(text) + ", expected " + expected;
          },
          ""};
}

template <class Number>
struct Plain {
  using type = Number;
};
template <class Number>
struct Plain<std::optional<Number>> {
  using type = Number;
};

/// A number under a condition.
template <class Number>
CLI::Option* add_checked(CLI::App& app, const std::string& name, Number& value,
                         const CLI::Validator& condition, const std::string& description) {
  const auto take = [&value](const CLI::results_t& results) {
    double number = 0.0;
    const bool good = text::parse_real(results.front(), number);
    value = static_cast<typename Plain<Number>::type>(number);
    return good;
  };
  return app.add_option(name, take, description)->expected(1)->check(condition);
}

template <class Number>
CLI::Option* add_above_zero(CLI::App& app, const std::string& name, Number& value,
                            const std::string& description) {
  return add_checked(app, name, value,
                     condition([](double number) { return number > 0.0; }, "a number above 0"), description);
}

struct Limits {
  int least;
  int most = 1'000'000;
};

/// A whole number.
template <class Number>
CLI::Option* add_number(CLI::App& app, const std::string& name, Number& value, Limits limits,
                        const std::string& description) {
  const auto holds = [limits](double number) {
    return number >= limits.least && number <= limits.most && number == std::floor(number);
  };
  const std::string expected =
      "a whole number from " + std::to_string(limits.least) + " to " + std::to_string(limits.most);
  return add_checked(app, name, value, condition(holds, expected), description)->type_name("N");
}

/// A text that is not empty, which a script's unset variable would be.
CLI::Option* add_text(CLI::App& app, const std::string& name, std::string& value, const std::string& type,
                      const std::string& description) {
  const auto complaint = [](const std::string& text) {
    return text.empty() ? std::string("found nothing, expected a text") : std::string();
  };
  return app.add_option(name, value, description)->type_name(type)->check(CLI::Validator(complaint, ""));
}

CLI::Option* add_names(CLI::App& app, std::vector<std::string>& names, const std::string& description) {
  return app.add_option("--responses", names, description)
      ->delimiter(',')
      ->allow_extra_args(false)
      ->type_name("NAMES");
}

void add_network_format(CLI::App& app, NetworkSource& network) {
  add_choice(app, "--format", network.format, network_formats,
             "How the network file is read (default: by its name, then by what it holds)");
}

void add_declaration(CLI::App& app, std::optional<char>& parameter, std::optional<double>& reference) {
  app.add_option("--parameter", parameter, "What a single response is: S, Y or Z of a one-port")
      ->type_name("S|Y|Z")
      ->transform(CLI::IsMember(std::vector<std::string>{"S", "Y", "Z"}, CLI::ignore_case));
  add_above_zero(app, "--reference", reference, "Reference resistance of that port in ohms (default: 50)")
      ->type_name("OHMS");
}

constexpr const char* grid_help =
    "Frequencies: FROM:TO:COUNT, evenly, or FROM:TO:COUNT:log, or a list F1,F2,...; "
    "units such as 10k, 2.4GHz are understood";

CLI::App* add_fit(CLI::App& app, FitCommand& fit) {
  CLI::App* const command = app.add_subcommand("fit", "Fit a network file with a rational model");
  command
      ->add_option("NETWORK", fit.network.file,
                   "Touchstone file (.sNp, .ts), CSV table, S_Solver sample file, or - for standard input")
      ->required();
  add_text(*command, "-o,--output", fit.output, "MODEL.json",
           "Model file to write (JSON); - for standard output");

  CLI::Option* const error =
      add_above_zero(*command, "--error", fit.target.error,
                     "Search for the order that reaches this error (the default, with 0.001)")
          ->type_name("X");
  add_number(*command, "--poles", fit.poles, {0}, "Fit with that many poles, without a search")
      ->excludes(error);
  add_number(*command, "--real", fit.real, {0},
             "So many of the poles start as real ones, the others in pairs");
  add_choice(*command, "--measure", fit.target.measure, measures,
             "What --error means: rms over all responses, each relative to its own (default), that of the "
             "worst response, or the largest modulus of a difference");
  add_number(*command, "--max-poles", fit.target.most_poles, {0}, "Largest order of a search (default: 100)");
  command->add_flag("--hold-out,!--no-hold-out", fit.target.hold_out,
                    "Check the orders of a search on samples held out (default)");
  add_choice(*command, "--spacing", fit.options.placement, placements,
             "Where poles start: evenly (default), evenly over the decades, or on the peaks of the data");
  command->add_flag("--constant,!--no-constant", fit.options.constant, "Constant term (default)");
  command->add_flag("--proportional,!--no-proportional", fit.options.proportional,
                    "Term proportional to s (default: none)");
  command->add_flag("--stable,!--no-stable", fit.options.stable,
                    "Keep all poles in the left half-plane (default)");
  CLI::Option* const weights = add_choice(
      *command, "--weights", fit.weighting, weightings,
      "Weights of the residuals: by response (balanced, default), uniform, relative to the modulus "
      "of each sample, or by its root");
  add_text(*command, "--weights-file", fit.weights_file, "FILE",
           "Weights as numbers in a text file: one a sample, or one a sample and response")
      ->excludes(weights);
  add_names(*command, fit.responses, "Responses to fit, such as S21,S11 (default: all)");
  command->add_flag("--exact-dc", fit.exact_dc, "Take the values at 0 Hz exactly");
  add_number(*command, "--iterations", fit.options.iterations, {0},
             "Relocations of the poles at most (default: 30)");
  add_number(*command, "--threads", fit.options.threads, {1},
             "Threads (default: as many as processors; the result does not depend on it)");
  command->add_flag("--orthogonal", fit.options.orthogonal, "The slow and safe path throughout");
  add_declaration(*command, fit.parameter, fit.reference);
  add_network_format(*command, fit.network);
  command->add_flag("-q,--quiet", fit.quiet, "No progress and no table");
  command->footer(
      "Examples:\n"
      "  polefit fit filter.s2p -o filter.json\n"
      "  polefit fit package.s20p --poles 40 --threads 2 -o package.json\n"
      "  polefit fit antenna.csv --responses S11 --error 1e-4 --exact-dc -o antenna.json\n\n"
      "Exit status: 0 converged, 1 not converged (the model is written all the same), 2 bad input.");
  return command;
}

CLI::App* add_plot(CLI::App& app, PlotCommand& plot) {
  CLI::App* const command = app.add_subcommand("plot", "Draw data and model, or the poles, through gnuplot");
  command->add_option("MODEL", plot.model, "Model file (JSON), or -")->required();
  plot.network.emplace();
  command->add_option("NETWORK", plot.network->file, "The network file with the data; not with --poles");
  add_text(*command, "-o,--output", plot.output, "FILE.svg|png|pdf",
           "Picture to write; its ending says the format")
      ->required();
  add_names(*command, plot.responses, "Responses to draw (default: those with the largest errors)");
  add_number(*command, "--panels", plot.panels, {1, static_cast<int>(most_panels)},
             "Number of responses drawn by default (default: 4)");
  command->add_flag("--poles", plot.poles, "Draw the poles in the complex plane instead");
  add_network_format(*command, *plot.network);
  command->footer(
      "Examples:\n"
      "  polefit plot filter.json filter.s2p -o fit.svg\n"
      "  polefit plot filter.json filter.s2p --responses S21 -o s21.pdf\n"
      "  polefit plot filter.json --poles -o poles.png");
  return command;
}

CLI::App* add_export(CLI::App& app, ExportCommand& chosen) {
  CLI::App* const command = app.add_subcommand("export", "Write a model for another program");
  command->add_option("MODEL", chosen.model, "Model file (JSON), or -")->required();
  add_text(*command, "-o,--output", chosen.output, "FILE", "File to write (default: standard output)");
  CLI::Option_group* const kinds = command->add_option_group("Formats, of which one is wanted");
  const auto add_kind = [&](const std::string& name, ExportKind kind, const std::string& description) {
    kinds->add_flag_callback(
        name, [&chosen, kind] { chosen.kind = kind; }, description);
  };
  add_kind("--spice", ExportKind::spice, "SPICE subcircuit");
  add_kind("--state-space", ExportKind::state_space, "State-space matrices as text");
  add_kind("--touchstone", ExportKind::touchstone, "The model at the frequencies of a grid, as Touchstone");
  add_kind("--csv", ExportKind::csv, "The same as a CSV table");
  add_kind("--s-solver", ExportKind::s_solver, "S_Solver's coefficient file, of one response");
  kinds->require_option(1);
  add_text(*command, "--name", chosen.name, "NAME",
           "Name of the subcircuit (default: that of the model file)");
  add_text(*command, "--grid", chosen.grid, "GRID",
           std::string(grid_help) + " (default: the band of the fit)");
  add_choice(*command, "--data", chosen.touchstone.format, complex_formats,
             "Touchstone: real and imaginary part (default), magnitude and angle, dB and angle");
  add_number(*command, "--touchstone-version", chosen.touchstone.version, {1, 2},
             "Touchstone: version 1 (default) or 2");
  add_text(*command, "--response", chosen.response, "NAME",
           "S_Solver: the response, where there are more than one");
  add_declaration(*command, chosen.parameter, chosen.reference);
  command->footer(
      "Examples:\n"
      "  polefit export filter.json --spice -o filter.cir\n"
      "  polefit export filter.json --touchstone --grid 1G:10G:1001 -o filter_model.s2p\n"
      "  polefit export filter.json --s-solver --response S21 -o Tarn.coe");
  return command;
}

CLI::App* add_eval(CLI::App& app, EvalCommand& eval) {
  CLI::App* const command = app.add_subcommand("eval", "Print a model's values as a CSV table");
  command->add_option("MODEL", eval.model, "Model file (JSON), or -")->required();
  CLI::Option_group* const grids = command->add_option_group("Frequencies");
  add_text(*grids, "--grid", eval.grid, "GRID", grid_help);
  eval.like.emplace();
  add_text(*grids, "--like", eval.like->file, "NETWORK", "The frequencies of that network file");
  grids->require_option(0, 1);
  add_text(*command, "-o,--output", eval.output, "FILE", "File to write (default: standard output)");
  command->footer(
      "Without a grid the band of the fit is taken, with 201 frequencies.\n\n"
      "Examples:\n"
      "  polefit eval filter.json --grid 2.4GHz\n"
      "  polefit eval filter.json --grid 1M:10G:401:log -o filter.csv\n"
      "  polefit eval filter.json --like filter.s2p");
  return command;
}

CLI::App* add_info(CLI::App& app, InfoCommand& info) {
  CLI::App* const command = app.add_subcommand("info", "Tell what is in a network or model file");
  command->add_option("FILE", info.file.file, "Network or model file, or -")->required();
  add_network_format(*command, info.file);
  command->footer(
      "Examples:\n"
      "  polefit info filter.s2p\n"
      "  polefit info filter.json");
  return command;
}

/// Help that fits a terminal: lines that are not too long, and no more about an option than a user needs.
class Help : public CLI::Formatter {
 public:
  std::string make_expanded(const CLI::App* group) const override {
    return make_group(group->get_group(), false, group->get_options([group](const CLI::Option* option) {
      return option != group->get_help_ptr();
    }));
  }
  std::string make_option_name(const CLI::Option* option, bool is_positional) const override {
    std::string name = CLI::Formatter::make_option_name(option, is_positional);
    // How a flag is told from its opposite is no matter of the user's.
    constexpr std::string_view mark = "{false}";
    for (std::size_t found = name.find(mark); found != std::string::npos; found = name.find(mark)) {
      name.erase(found, mark.size());
    }
    return name;
  }
  std::string make_option_opts(const CLI::Option* option) const override {
    std::string type = option->get_type_name();
    type.resize(std::min(type.find(':'), type.size()));  // no conditions behind it
    return option->get_positional() || type.empty() ? "" : " " + type;
  }
  std::string make_option_desc(const CLI::Option* option) const override {
    constexpr std::size_t width = 60;
    std::string text = CLI::Formatter::make_option_desc(option);
    std::size_t line = 0;
    while (text.size() - line > width) {
      const std::size_t blank = text.rfind(' ', line + width);
      if (blank == std::string::npos || blank <= line) {
        break;
      }
      text[blank] = '\n';
      line = blank + 1;
    }
    return text;
  }
};

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
    return {with_hint(app, "found " + text::excerpt(arguments.front()) +
                               ", expected fit, plot, export, eval or info"),
            true};
  }
  std::string text = complaint.str();
  text = text.substr(0, text.find('\n'));
  return {with_hint(app, text), true};
}

constexpr const char* read_twice = "standard input, -, can be read only once";

/// What the options say together; a complaint or nothing.
std::string complaint_about(const FitCommand& fit) {
  if (fit.poles && fit.real && *fit.real > *fit.poles) {
    return "--real " + std::to_string(*fit.real) + " is more than --poles " + std::to_string(*fit.poles);
  }
  if (fit.poles && fit.real && (*fit.poles - *fit.real) % 2 != 0) {
    return "--poles " + std::to_string(*fit.poles) + " without --real " + std::to_string(*fit.real) +
           " leaves a pole without its conjugate";
  }
  if (fit.real && !fit.poles) {
    return "--real wants --poles, since a search chooses its own";
  }
  if (fit.network.file == "-" && fit.weights_file == "-") {
    return read_twice;
  }
  return {};
}

std::string complaint_about(const PlotCommand& plot) {
  if (!plot.poles && !plot.network) {
    return "plot wants the network file with the data, or --poles";
  }
  if (!plot.poles && plot.model == "-" && plot.network->file == "-") {
    return read_twice;
  }
  return {};
}

std::string complaint_about(const EvalCommand& eval) {
  return eval.like && eval.model == "-" && eval.like->file == "-" ? read_twice : "";
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

  FitCommand fit;
  fit.options.threads = static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
  PlotCommand plot;
  ExportCommand chosen;
  EvalCommand eval;
  InfoCommand info;
  const CLI::App* const fit_app = add_fit(app, fit);
  const CLI::App* const plot_app = add_plot(app, plot);
  const CLI::App* const export_app = add_export(app, chosen);
  const CLI::App* const eval_app = add_eval(app, eval);
  add_info(app, info);

  Arguments reversed(arguments.rbegin(), arguments.rend());
  try {
    app.parse(std::move(reversed));
  } catch (const CLI::Error& error) {
    return answer_to(app, error, arguments);
  }

  std::string complaint;
  std::optional<Command> command;
  if (fit_app->parsed()) {
    complaint = complaint_about(fit);
    command = std::move(fit);
  } else if (plot_app->parsed()) {
    if (plot.network->file.empty()) {
      plot.network.reset();
    }
    complaint = complaint_about(plot);
    command = std::move(plot);
  } else if (export_app->parsed()) {
    command = std::move(chosen);
  } else if (eval_app->parsed()) {
    if (eval.like->file.empty()) {
      eval.like.reset();
    }
    complaint = complaint_about(eval);
    command = std::move(eval);
  } else {
    command = std::move(info);
  }
  if (!complaint.empty()) {
    return Answer{with_hint(app, complaint), true};
  }
  return std::move(*command);
}

}  // namespace polefit_cli
