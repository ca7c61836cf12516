#include "polefit_cli/commands/option_table.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

#include "text/parts.hpp"

namespace polefit_cli {
namespace {

using enum ValueKind;

constexpr std::string_view formats = "Formats, of which one is wanted";
constexpr std::string_view frequencies = "Frequencies";
constexpr std::string_view drives = "What drives the network, of which one is wanted";

constexpr std::string_view network_formats = "auto|touchstone|csv|samples";
constexpr std::string_view parameters = "S|Y|Z";
constexpr std::string_view touchstone_versions = "1|1.1|2|2.0|2.1";

constexpr std::string_view how_read =
    "How the network file is read (default: by its name, then by what it holds)";
constexpr std::string_view single_response = "What a single response is: S, Y or Z of a one-port";
constexpr std::string_view its_reference =
    "Reference resistance of that port in ohms (default: what the file tells, or 50)";
constexpr std::string_view model_file = "Model file (JSON), or -";
constexpr std::string_view output_file = "File to write (default: standard output)";

constexpr Condition own_way{"--poles", "a search chooses its own"};
constexpr std::array<Condition, 1> no_search{{{"--poles", "an order that is given is not searched for"}}};
constexpr std::array<Condition, 1> weights_told{{{"--weights-file", "the file tells them"}}};
constexpr std::array<Condition, 1> no_data{{{"--poles", "a picture of the poles shows no data"}}};
constexpr std::array<Condition, 2> no_default{no_data.front(),
                                              {"--responses", "those that are named are drawn"}};

constexpr std::array<Condition, 1> bits_told{{{"--eye", "it takes as long as its bits"}}};
constexpr std::array<Condition, 2> no_step_in_time{bits_told.front(),
                                                   {"--points", "the span is divided into so many"}};

constexpr auto fit_options = std::to_array<OptionEntry>(
    {{.names = "NETWORK",
      .kind = file,
      .description = "Touchstone file (.sNp, .ts), CSV table, S_Solver sample file, or - for standard input",
      .required = true},
     {.names = "-o,--output",
      .kind = file,
      .type = "MODEL.json",
      .description = "Model file to write (JSON); - for standard output"},
     {.names = "--error",
      .kind = any,
      .type = "X",
      .description =
          "Search for the order that reaches this error (the default, with 0.001); with --poles, what "
          "the exit status is decided by"},
     {.names = "--poles",
      .kind = any,
      .type = "N",
      .description =
          "Fit with that many poles, without a search; fewer where these make a better passive model"},
     {.names = "--real",
      .kind = any,
      .type = "N",
      .description = "So many of the poles start as real ones, the others in pairs",
      .wanted_by = own_way},
     {.names = "--measure",
      .kind = choice,
      .type = "rms|worst|largest",
      .description =
          "What --error means: rms over all responses, each relative to its own (default), that of the "
          "worst response, or the largest modulus of a difference"},
     {.names = "--max-poles",
      .kind = any,
      .type = "N",
      .description = "Largest order of a search (default: 100, up to 400 for long delays)",
      .superseded_by = no_search},
     {.names = "--spacing",
      .kind = choice,
      .type = "linear|log|peaks",
      .description =
          "Where poles start: evenly (default), evenly over the decades, or on the peaks of the data",
      .wanted_by = own_way},
     {.names = "--constant,--no-constant", .description = "Constant term (default)"},
     {.names = "--proportional,--no-proportional", .description = "Term proportional to s (default: none)"},
     {.names = "--stable,--no-stable", .description = "Keep all poles in the left half-plane (default)"},
     {.names = "--weights",
      .kind = choice,
      .type = "balanced|uniform|relative|root",
      .description =
          "Weights of the residuals: by response (balanced, default), uniform, relative to the modulus "
          "of each sample, or by its root",
      .superseded_by = weights_told},
     {.names = "--weights-file",
      .kind = file,
      .type = "FILE",
      .description = "Weights as numbers in a text file: one a sample, or one a sample and response"},
     {.names = "--responses",
      .kind = any,
      .type = "NAMES",
      .description = "Responses to fit, such as S21,S11 (default: all)"},
     {.names = "--exact-dc", .description = "Take the values at 0 Hz exactly"},
     {.names = "--passive,--no-passive",
      .description =
          "Make the model of a whole S, Y or Z matrix passive in any case, or never (default: where "
          "the data are passive)"},
     {.names = "--iterations",
      .kind = any,
      .type = "N",
      .description = "Relocations of the poles at most (default: 30)",
      .wanted_by = own_way},
     {.names = "--polish,--no-polish",
      .description = "Move the poles downhill when relocations have ended (default)",
      .wanted_by = own_way},
     {.names = "--write-anyway",
      .description = "Write a model of S parameters too that does not fit and amplifies",
      .wanted_by = {"--output", "no model is written without"}},
     {.names = "--threads",
      .kind = any,
      .type = "N",
      .description = "Threads (default: as many as processors; the result does not depend on it)"},
     {.names = "--orthogonal", .description = "The slow and safe path throughout"},
     {.names = "--parameter", .kind = choice, .type = parameters, .description = single_response},
     {.names = "--reference", .kind = any, .type = "OHMS", .description = its_reference},
     {.names = "--format", .kind = choice, .type = network_formats, .description = how_read},
     {.names = "-q,--quiet", .description = "No progress and no table"}});

constexpr auto plot_options = std::to_array<OptionEntry>(
    {{.names = "MODEL", .kind = file, .description = model_file, .required = true},
     {.names = "NETWORK",
      .kind = file,
      .description = "The network file with the data; not with --poles",
      .superseded_by = no_data},
     {.names = "-o,--output",
      .kind = file,
      .type = "FILE.svg|png|pdf",
      .description = "Picture to write; its ending says the format",
      .required = true},
     {.names = "--responses",
      .kind = any,
      .type = "NAMES",
      .description = "Responses to draw (default: those with the largest errors)",
      .superseded_by = no_data},
     {.names = "--panels",
      .kind = any,
      .type = "N",
      .description = "Number of responses drawn by default (default: 4)",
      .superseded_by = no_default},
     {.names = "--poles", .description = "Draw the poles in the complex plane instead"},
     {.names = "--format",
      .kind = choice,
      .type = network_formats,
      .description = how_read,
      .wanted_by = {"NETWORK"}}});

constexpr auto passivity_options = std::to_array<OptionEntry>(
    {{.names = "MODEL", .kind = file, .description = model_file, .required = true},
     {.names = "-o,--output",
      .kind = file,
      .type = "FILE.svg|png|pdf",
      .description = "Picture of the distance to the limit to write; its ending says the format"},
     {.names = "--all", .description = "List all intervals of violation (default: the worst 20)"},
     {.names = "--parameter", .kind = choice, .type = parameters, .description = single_response},
     {.names = "--reference", .kind = any, .type = "OHMS", .description = its_reference}});

constexpr auto export_options = std::to_array<OptionEntry>(
    {{.names = "MODEL", .kind = file, .description = model_file, .required = true},
     {.names = "-o,--output", .kind = file, .type = "FILE", .description = output_file},
     {.names = "--spice", .description = "SPICE subcircuit", .group = formats},
     {.names = "--state-space", .description = "State-space matrices as text", .group = formats},
     {.names = "--touchstone",
      .description = "The model at the frequencies of a grid, as Touchstone",
      .group = formats},
     {.names = "--csv", .description = "The same as a CSV table", .group = formats},
     {.names = "--s-solver", .description = "S_Solver's coefficient file, of one response", .group = formats},
     {.names = "--name",
      .kind = any,
      .type = "NAME",
      .description = "Name of the subcircuit (default: that of the model file)",
      .wanted_by = {"--spice", "it names a subcircuit"}},
     {.names = "--grid",
      .kind = any,
      .type = "GRID",
      .description = "Frequencies: FROM:TO:COUNT, evenly, or FROM:TO:COUNT:log, or a list F1,F2,...; "
                     "units such as 10k, 2.4GHz are understood (default: 1001 over the band of the fit)",
      .wanted_by = {"--touchstone|--csv", "no other format holds frequencies"}},
     {.names = "--data",
      .kind = choice,
      .type = "ri|ma|db",
      .description = "Touchstone: real and imaginary part (default), magnitude and angle, dB and angle",
      .wanted_by = {"--touchstone", "no other format has a choice"}},
     {.names = "--touchstone-version",
      .kind = choice,
      .type = touchstone_versions,
      .description = "Touchstone: version 1 (default), 1.1, 2.0 or 2.1; 2 is 2.0",
      .wanted_by = {"--touchstone"}},
     {.names = "--response",
      .kind = any,
      .type = "NAME",
      .description = "S_Solver: the response, where there are more than one",
      .wanted_by = {"--s-solver", "every other format holds all responses"}},
     {.names = "--highest-frequency",
      .kind = any,
      .type = "F",
      .description = "S_Solver: the frequency that normalises (default: the highest of the fit)",
      .wanted_by = {"--s-solver", "no other format is normalised"}},
     {.names = "--parameter",
      .kind = choice,
      .type = parameters,
      .description = single_response,
      .wanted_by = {"--spice|--touchstone|--state-space", "no other format tells it"}},
     {.names = "--reference",
      .kind = any,
      .type = "OHMS",
      .description = its_reference,
      .wanted_by = {"--spice|--touchstone", "no other format tells it"}}});

constexpr auto eval_options = std::to_array<OptionEntry>(
    {{.names = "MODEL", .kind = file, .description = model_file, .required = true},
     {.names = "-o,--output", .kind = file, .type = "FILE", .description = output_file},
     {.names = "--grid",
      .kind = any,
      .type = "GRID",
      .description = "Frequencies: FROM:TO:COUNT, evenly, or FROM:TO:COUNT:log, or a list F1,F2,...; "
                     "units such as 10k, 2.4GHz are understood",
      .group = frequencies},
     {.names = "--like",
      .kind = file,
      .type = "NETWORK",
      .description = "The frequencies of that network file",
      .group = frequencies},
     {.names = "--format",
      .kind = choice,
      .type = network_formats,
      .description = how_read,
      .wanted_by = {"--like", "there is no network to read"}}});

constexpr auto time_options = std::to_array<OptionEntry>(
    {{.names = "MODEL", .kind = file, .description = model_file, .required = true},
     {.names = "-o,--output",
      .kind = file,
      .type = "FILE",
      .description =
          "CSV table to write: voltages and currents of all ports, the impedance of a reflectometer, or "
          "the opening of an eye (default: standard output, unless there is a picture or an eye)"},
     {.names = "--plot",
      .kind = file,
      .type = "FILE.svg|png|pdf",
      .description = "Picture to write; its ending says the format"},
     {.names = "--step", .description = "A step of 1 V", .group = drives},
     {.names = "--impulse",
      .description = "An impulse of 1 Vs, which rises and falls in --rise",
      .group = drives},
     {.names = "--pulse",
      .kind = any,
      .type = "WIDTH",
      .description = "A pulse of 1 V, so wide at half of it",
      .group = drives},
     {.names = "--file",
      .kind = file,
      .type = "WAVEFORM.csv",
      .description = "Volts over time: a time and one value, or one for each port, on each line",
      .group = drives},
     {.names = "--tdr",
      .description = "A reflectometer: impedance over time as the reflected step shows it",
      .group = drives},
     {.names = "--eye", .description = "Pseudo-random bits, 0 and 1 V: an eye diagram", .group = drives},
     {.names = "--port",
      .kind = any,
      .type = "K",
      .description = "The port that is driven (default: 1)",
      .wanted_by = {"--step|--impulse|--pulse|--file|--tdr"}},
     {.names = "--rise",
      .kind = any,
      .type = "TIME",
      .description =
          "From 0 to 1 V, such as 35p; 0 for a jump (default: one over the highest frequency of the "
          "fit, but at most half a pulse; a fifth of a bit)",
      .wanted_by = {"--step|--impulse|--pulse|--tdr|--eye", "the file tells it"}},
     {.names = "--terminations",
      .kind = any,
      .type = "OHMS",
      .description =
          "Resistance at every port, or R1,R2,... (default: the reference resistances); inf for an open "
          "port of S or Z"},
     {.names = "--span",
      .kind = any,
      .type = "TIME",
      .description = "How long (default: until the poles have settled)",
      .superseded_by = bits_told},
     {.names = "--points",
      .kind = any,
      .type = "N",
      .description = "Points over the span (default: 2001)",
      .superseded_by = bits_told},
     {.names = "--time-step",
      .kind = any,
      .type = "TIME",
      .description = "Time between two points instead",
      .superseded_by = no_step_in_time},
     {.names = "--velocity",
      .kind = any,
      .type = "V",
      .description = "Over distance too, with that velocity in m/s, or up to 1 in parts of that of light",
      .wanted_by = {"--tdr", "nothing else tells a distance"}},
     {.names = "--rate",
      .kind = any,
      .type = "BITS",
      .description = "Bits a second, such as 10G (default: the highest frequency of the fit)",
      .wanted_by = {"--eye"}},
     {.names = "--in",
      .kind = any,
      .type = "K",
      .description = "The port that gets the bits (default: 1)",
      .wanted_by = {"--eye"}},
     {.names = "--out",
      .kind = any,
      .type = "K",
      .description = "The port whose eye it is (default: 2)",
      .wanted_by = {"--eye"}},
     {.names = "--prbs",
      .kind = choice,
      .type = "7|9|11|15|23|31",
      .description = "The order of the sequence (default: 7)",
      .wanted_by = {"--eye"}},
     {.names = "--bits",
      .kind = any,
      .type = "N",
      .description = "So many bits (default: 8192)",
      .wanted_by = {"--eye"}},
     {.names = "--parameter", .kind = choice, .type = parameters, .description = single_response},
     {.names = "--reference", .kind = any, .type = "OHMS", .description = its_reference}});

constexpr auto info_options = std::to_array<OptionEntry>(
    {{.names = "FILE", .kind = file, .description = "Network or model file, or -", .required = true},
     {.names = "--format", .kind = choice, .type = network_formats, .description = how_read}});

constexpr auto convert_options = std::to_array<OptionEntry>(
    {{.names = "IN", .kind = file, .description = "Network file, or - for standard input", .required = true},
     {.names = "OUT",
      .kind = file,
      .description =
          "File to write: a table when it ends in .csv, otherwise Touchstone; - for standard output",
      .required = true},
     {.names = "--parameters",
      .kind = choice,
      .type = "S|Y|Z|H|G",
      .description = "Parameters to write (default: those that are read)"},
     {.names = "--reference",
      .kind = any,
      .type = "OHMS",
      .description = "Reference resistances, one or with commas one for each port; S is renormalised"},
     {.names = "--touchstone",
      .kind = choice,
      .type = touchstone_versions,
      .description = "Version of Touchstone: 1 (default), 1.1, 2.0 or 2.1; 2 is 2.0"},
     {.names = "--format",
      .kind = choice,
      .type = "ri|ma|db",
      .description = "Touchstone: real and imaginary part (default), magnitude and angle, dB and angle"},
     {.names = "--unit",
      .kind = choice,
      .type = "Hz|kHz|MHz|GHz",
      .description = "Touchstone: unit of the frequencies (default: Hz)"},
     {.names = "--read-as", .kind = choice, .type = network_formats, .description = how_read}});

constexpr auto commands = std::to_array<CommandEntry>(
    {{.name = "fit",
      .description = "Fit a network file with a rational model",
      .footer = "Examples:\n"
                "  polefit fit filter.s2p -o filter.json\n"
                "  polefit fit package.s20p --poles 40 --threads 2 -o package.json\n"
                "  polefit fit antenna.csv --responses S11 --error 1e-4 --exact-dc -o antenna.json\n\n"
                "Exit status: 0 converged, 1 not converged, or not passive where it is to be (the model is "
                "written all the same), 2 bad input.",
      .options = fit_options},
     {.name = "plot",
      .description = "Draw data and model, or the poles, through gnuplot",
      .footer = "Examples:\n"
                "  polefit plot filter.json filter.s2p -o fit.svg\n"
                "  polefit plot filter.json filter.s2p --responses S21 -o s21.pdf\n"
                "  polefit plot filter.json --poles -o poles.png",
      .options = plot_options},
     {.name = "passivity",
      .description = "Tell whether a model is passive at all frequencies, and where it is not",
      .footer = "Examples:\n"
                "  polefit passivity filter.json\n"
                "  polefit passivity filter.json -o passivity.svg\n"
                "  polefit passivity antenna.json --parameter S\n\n"
                "Exit status: 0 passive, 1 not passive or not told, 2 bad input.",
      .options = passivity_options},
     {.name = "export",
      .description = "Write a model for another program",
      .footer = "Examples:\n"
                "  polefit export filter.json --spice -o filter.cir\n"
                "  polefit export filter.json --touchstone --grid 1G:10G:1001 -o filter_model.s2p\n"
                "  polefit export filter.json --s-solver --response S21 -o Tarn.coe",
      .wanted_group = formats,
      .options = export_options},
     {.name = "eval",
      .description = "Print a model's values as a CSV table",
      .footer = "Without a grid the band of the fit is taken, with 201 frequencies.\n\n"
                "Examples:\n"
                "  polefit eval filter.json --grid 2.4GHz\n"
                "  polefit eval filter.json --grid 1M:10G:401:log -o filter.csv\n"
                "  polefit eval filter.json --like filter.s2p",
      .options = eval_options},
     {.name = "time",
      .description = "Follow a model in time: steps, pulses, a reflectometer, eyes",
      .footer =
          "Examples:\n"
          "  polefit time filter.json --step --rise 1n -o step.csv --plot step.svg\n"
          "  polefit time line.json --tdr --port 1 --rise 35p --velocity 0.5 --plot tdr.svg\n"
          "  polefit time channel.json --eye --rate 10G --in 1 --out 3 --plot eye.png\n\n"
          "Exit status: 0 done, 1 steps that could not be made short enough, or a closed eye, 2 bad input.",
      .wanted_group = drives,
      .options = time_options},
     {.name = "convert",
      .description = "Write a network file in another form, with other parameters or references",
      .footer = "Examples:\n"
                "  polefit convert filter.s2p filter.csv\n"
                "  polefit convert filter.s2p filter_y.s2p --parameters Y --touchstone 2.1\n"
                "  polefit convert solver.s4p plain.s4p --reference 50 --format ma --unit GHz",
      .options = convert_options},
     {.name = "info",
      .description = "Tell what is in a network or model file",
      .footer = "Examples:\n"
                "  polefit info filter.s2p\n"
                "  polefit info filter.json",
      .options = info_options}});

}  // namespace

std::span<const CommandEntry> command_table() { return commands; }

std::string_view main_name(const OptionEntry& entry) {
  const std::vector<std::string_view> names = text::parts_of(entry.names, ',');
  const auto found =
      std::find_if(names.begin(), names.end(), [](std::string_view name) { return name.starts_with("--"); });
  return found == names.end() ? names.front() : *found;
}

bool has_name(const OptionEntry& entry, std::string_view name) {
  const std::vector<std::string_view> names = text::parts_of(entry.names, ',');
  return std::find(names.begin(), names.end(), name) != names.end();
}

std::string either_of(std::span<const std::string_view> words) {
  std::string list;
  for (std::size_t i = 0; i < words.size(); ++i) {
    list += i == 0 ? "" : (i + 1 == words.size() ? " or " : ", ");
    list += words[i];
  }
  return list;
}

}  // namespace polefit_cli
