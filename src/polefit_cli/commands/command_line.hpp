/// The command line: which command with which choices, or a text that answers it at once.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "polefit/fit.hpp"
#include "polefit/network.hpp"
#include "polefit/order_search.hpp"
#include "polefit/weights.hpp"

namespace polefit_cli {

/// How a network file is read.
struct NetworkSource {
  std::string file;  ///< "-" for standard input
  polefit::NetworkFormat format = polefit::NetworkFormat::by_name;
};

/// What a user says of a single response: that it is S, Y or Z of a one-port.
struct Declaration {
  std::optional<char> parameter;
  std::optional<double> reference;  ///< ohms
};

struct FitCommand {
  NetworkSource network;
  std::string output;                ///< none: no model is written
  std::optional<std::size_t> poles;  ///< the order; without it one is searched for
  std::optional<std::size_t> real;   ///< so many of the poles
  std::optional<double> error;       ///< target of a search, or of the order that is given
  std::optional<polefit::Measure> measure;
  std::optional<std::size_t> most_poles;
  polefit::Options options;
  polefit::Weighting weighting = polefit::Weighting::balanced;
  std::string weights_file;            ///< none, or what says the weights in place of their kind
  std::vector<std::string> responses;  ///< names; all when there are none
  bool exact_dc = false;
  std::optional<bool> passive;  ///< in any case, or never; else where the data are
  bool write_anyway = false;    ///< also a model that does not fit and amplifies
  Declaration declaration;
  bool quiet = false;
};

struct PlotCommand {
  std::string model;
  std::optional<NetworkSource> network;  ///< not needed for poles
  std::string output;
  std::vector<std::string> responses;
  std::size_t panels = 4;
  bool poles = false;
};

struct PassivityCommand {
  std::string model;
  std::string output;  ///< none: no picture is drawn
  bool all = false;    ///< lists every interval
  Declaration declaration;
};

enum class ExportKind { spice, state_space, touchstone, csv, s_solver };

struct ExportCommand {
  std::string model;
  ExportKind kind = ExportKind::spice;
  std::string output = "-";
  std::string name;                 ///< of the subcircuit; by the file when there is none
  std::vector<double> frequencies;  ///< in hertz; the band of the fit when there are none
  polefit::TouchstoneOptions touchstone;
  std::string response;                     ///< for S_Solver, when the model has more than one
  std::optional<double> highest_frequency;  ///< for S_Solver, in place of that of the fit
  Declaration declaration;
};

struct EvalCommand {
  std::string model;
  std::string output = "-";
  std::vector<double> frequencies;    ///< in hertz
  std::optional<NetworkSource> like;  ///< at the frequencies of that network
};

enum class TimeKind { step, impulse, pulse, file, tdr, eye };

struct TimeCommand {
  std::string model;
  TimeKind kind = TimeKind::step;
  std::string output;  ///< none: standard output, unless there is a picture
  std::string plot;    ///< none: no picture
  double width = 0.0;  ///< of a pulse, in seconds
  std::string waveforms;
  std::optional<std::size_t> port;    ///< that is driven, counted from 1
  std::optional<double> rise;         ///< in seconds
  std::vector<double> terminations;   ///< in ohms: none, one for all ports, or one a port
  std::optional<double> span;         ///< in seconds
  std::optional<std::size_t> points;  ///< outputs over the span
  std::optional<double> time_step;    ///< in seconds
  std::optional<double> velocity;     ///< in metres a second, or of 1 and below in those of light
  std::optional<double> rate;         ///< bits a second
  std::optional<std::size_t> in;      ///< ports, counted from 1
  std::optional<std::size_t> out;
  int sequence = 7;  ///< the order of the pseudo-random bits
  std::size_t bits = 8192;
  Declaration declaration;
};

struct ConvertCommand {
  NetworkSource network;
  std::string output;
  std::optional<char> parameter;   ///< S, Y, Z, H or G
  std::vector<double> references;  ///< in ohms; those of the file when there are none
  std::optional<int> version;      ///< of Touchstone, as are the next two
  std::optional<polefit::ComplexFormat> format;
  std::optional<polefit::FrequencyUnit> unit;
};

/// Whether a network written under that name is a table.
bool is_table_name(const std::string& file);

struct InfoCommand {
  NetworkSource file;  ///< a network or a model
};

using Command = std::variant<FitCommand, PlotCommand, PassivityCommand, ExportCommand, EvalCommand,
                             TimeCommand, ConvertCommand, InfoCommand>;

/// What is to be printed in place of a command: help or version, or what is wrong with the command line.
struct Answer {
  std::string text;
  bool is_error = false;
};

/// `arguments` without the program's name.
std::variant<Command, Answer> parse_command_line(std::span<const char* const> arguments);

}  // namespace polefit_cli
