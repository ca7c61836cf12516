#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <limits>
#include <numeric>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "polefit/network_matrix.hpp"
#include "polefit_cli/commands/about.hpp"
#include "polefit_cli/commands/commands.hpp"
#include "polefit_cli/commands/declaration.hpp"
#include "polefit_cli/commands/eye.hpp"
#include "polefit_cli/commands/eye_text.hpp"
#include "polefit_cli/commands/models.hpp"
#include "polefit_cli/commands/picture_file.hpp"
#include "polefit_cli/commands/streams.hpp"
#include "polefit_cli/commands/tables.hpp"
#include "polefit_cli/commands/time_setup.hpp"
#include "polefit_cli/commands/waveform_file.hpp"
#include "polefit_cli/pictures/time_script.hpp"
#include "text/counted.hpp"
#include "text/decimal.hpp"
#include "text/io_error.hpp"

namespace polefit_cli {
namespace {

constexpr std::size_t default_points = 2001;

/// What a command works with.
struct Setting {
  const TimeCommand& command;
  std::string shown;  ///< the model's file
  polefit::Model model;
  TimeScale scale;
  std::vector<polefit::Termination> terminations;  ///< without sources

  std::size_t ports() const { return terminations.size(); }
};

[[noreturn]] void refuse(std::string option, std::string found, std::string expected) {
  throw text::IoError(
      {.file = std::move(option), .found = std::move(found), .expected = std::move(expected)});
}

/// The port of an option, counted from 0.
std::size_t port_of(const char* option, const std::optional<std::size_t>& wanted, std::size_t otherwise,
                    std::size_t ports) {
  const std::size_t port = wanted.value_or(otherwise);
  if (port > ports) {
    refuse(option, std::to_string(port), "a port of the model, 1 to " + std::to_string(ports));
  }
  return port - 1;
}

std::vector<polefit::Termination> terminations_of(const TimeCommand& command,
                                                  const polefit::NetworkMatrix& network) {
  const std::size_t ports = network.ports();
  std::vector<double> resistances = network.references;
  if (command.terminations.size() == 1) {
    std::fill(resistances.begin(), resistances.end(), command.terminations.front());
  } else if (command.terminations.size() == ports) {
    resistances = command.terminations;
  } else if (!command.terminations.empty()) {
    refuse("--terminations", text::counted(command.terminations.size(), "resistance"),
           ports == 1 ? "one" : "one, or " + std::to_string(ports) + ", one a port");
  }
  std::vector<polefit::Termination> terminations(ports);
  for (std::size_t port = 0; port < ports; ++port) {
    terminations[port].resistance = resistances[port];
  }
  return terminations;
}

Setting setting_of(const TimeCommand& command) {
  Setting setting{command, shown_input(command.model), read_model(command.model), {}, {}};
  declare(setting.model, setting.shown, command.declaration);
  if (const auto lack = polefit::incompleteness(setting.model.network)) {
    throw text::IoError({.file = setting.shown,
                         .found = *lack,
                         .expected = setting.model.responses() == 1
                                         ? "a one-port, which --parameter S, Y or Z makes of a response"
                                         : "the whole matrix of a network, which signals at its ports take"});
  }
  setting.scale = time_scale(setting.model);
  setting.terminations = terminations_of(command, *setting.model.network);
  return setting;
}

/// Outputs from `begin` on, over the span that was asked for or `otherwise`.
std::vector<double> output_times(const Setting& setting, double begin, double otherwise) {
  const TimeCommand& command = setting.command;
  const double span = command.span.value_or(otherwise);
  const double count = command.time_step ? std::floor(span / *command.time_step * (1.0 + 1e-12)) + 1.0
                                         : static_cast<double>(command.points.value_or(default_points));
  if (!(count <= most_outputs) || !(count * static_cast<double>(setting.ports()) <= most_output_values)) {
    refuse(command.time_step ? "--time-step" : "--points",
           short_number(count) + " points of " + text::counted(setting.ports(), "port"),
           "at most ten million points, and twenty million values of all ports");
  }
  if (!(count >= 2.0)) {
    refuse("--time-step", time_text(*command.time_step), "at most the span, which is " + time_text(span));
  }
  const auto points = static_cast<std::size_t>(count);
  std::vector<double> times = polefit::even_times(command.time_step.value_or(span / (count - 1.0)), points);
  for (double& time : times) {
    time += begin;
  }
  return times;
}

/// A message where steps could not be made short enough.
ExitStatus told_of_steps(const Settled& settled, const std::string& shown) {
  if (settled.settled) {
    return succeeded;
  }
  const std::string message = shown + ": steps could not be made short enough: voltages still change by " +
                              short_number(100.0 * settled.difference) + " per cent of the largest\n";
  static_cast<void>(std::fputs(message.c_str(), stderr));
  return not_settled;
}

Settled follow(const Setting& setting, const std::vector<double>& times) {
  return about(setting.shown, [&] { return settled_response(setting.model, setting.terminations, times); });
}

/// A table of columns, which are named.
std::string table_of(const std::vector<double>& times,
                     const std::vector<std::pair<std::string, std::vector<double>>>& columns) {
  std::string text = "time [s]";
  for (const auto& column : columns) {
    text.append(",").append(column.first);
  }
  text += '\n';
  for (std::size_t k = 0; k < times.size(); ++k) {
    text::append_shortest(text, times[k]);
    for (const auto& column : columns) {
      text += ',';
      text::append_shortest(text, column.second[k]);
    }
    text += '\n';
  }
  return text;
}

/// To where the table goes: standard output where nothing else was asked for.
void write_table(const TimeCommand& command, const std::string& table) {
  if (!command.output.empty()) {
    write_output(command.output, table);
  } else if (command.plot.empty()) {
    write_output("-", table);
  }
}

void draw_picture(const TimeCommand& command, const std::string& script, PictureFormat format) {
  static_cast<void>(std::fputs(draw_to(command.plot, script, format).c_str(), stderr));
}

std::vector<double> part_of(const std::vector<double>& values, std::size_t port, std::size_t count) {
  const auto begin = values.begin() + static_cast<std::ptrdiff_t>(port * count);
  return {begin, begin + static_cast<std::ptrdiff_t>(count)};
}

/// The driven port, then those with the largest voltages, as many as can be told apart.
std::vector<std::size_t> drawn_ports(const polefit::PortSignals& signals, std::size_t ports,
                                     std::size_t driven, std::size_t count) {
  std::vector<double> sizes(ports);
  for (std::size_t i = 0; i < signals.voltages.size(); ++i) {
    sizes[i / count] = std::max(sizes[i / count], std::abs(signals.voltages[i]));
  }
  sizes[driven] = std::numeric_limits<double>::infinity();
  std::vector<std::size_t> order(ports);
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t a, std::size_t b) { return sizes[a] > sizes[b]; });
  order.resize(std::min(ports, most_curves));
  return order;
}

double rise_of(const Setting& setting) { return setting.command.rise.value_or(setting.scale.shortest); }

/// Sources of a step, an impulse, a pulse or a file; the driven port, of several the first.
std::size_t drive(Setting& setting) {
  const TimeCommand& command = setting.command;
  if (command.kind == TimeKind::file) {
    std::vector<polefit::Waveform> waveforms =
        read_waveforms(read_input(command.waveforms), shown_input(command.waveforms));
    if (waveforms.size() == 1) {
      const std::size_t port = port_of("--port", command.port, 1, setting.ports());
      setting.terminations[port].source = std::move(waveforms.front());
      return port;
    }
    if (waveforms.size() != setting.ports()) {
      throw text::IoError({.file = shown_input(command.waveforms),
                           .found = text::counted(waveforms.size(), "waveform"),
                           .expected = "one, or " + std::to_string(setting.ports()) + ", one a port"});
    }
    if (command.port) {
      refuse("--port", std::to_string(*command.port), "a file with one waveform, or no --port");
    }
    for (std::size_t port = 0; port < setting.ports(); ++port) {
      setting.terminations[port].source = std::move(waveforms[port]);
    }
    return 0;
  }
  const std::size_t port = port_of("--port", command.port, 1, setting.ports());
  polefit::Waveform& source = setting.terminations[port].source;
  if (command.kind == TimeKind::pulse) {
    const double rise = command.rise.value_or(std::min(setting.scale.shortest, 0.5 * command.width));
    if (rise > command.width) {
      refuse("--pulse", time_text(command.width), "at least --rise, which is " + time_text(rise));
    }
    source = pulse_waveform(rise, command.width);
  } else if (command.kind == TimeKind::impulse) {
    if (rise_of(setting) == 0.0) {
      refuse("--rise", "0", "a time above 0 for an impulse");
    }
    source = impulse_waveform(rise_of(setting));
  } else {
    source = step_waveform(rise_of(setting));
  }
  return port;
}

/// Refuses sources that nothing comes from.
void check_sources(const Setting& setting) {
  for (std::size_t port = 0; port < setting.ports(); ++port) {
    const polefit::Termination& termination = setting.terminations[port];
    const std::vector<double>& volts = termination.source.values;
    if (std::isinf(termination.resistance) &&
        std::any_of(volts.begin(), volts.end(), [](double value) { return value != 0.0; })) {
      refuse("--terminations", "inf ohms at port " + std::to_string(port + 1),
             "a finite resistance, through which a source drives it");
    }
  }
}

/// The first and the last time at which a source changes.
std::pair<double, double> driven_span(const Setting& setting) {
  double begin = 0.0;
  double end = 0.0;
  for (const polefit::Termination& termination : setting.terminations) {
    if (!termination.source.times.empty()) {
      begin = std::min(begin, termination.source.times.front());
      end = std::max(end, termination.source.times.back());
    }
  }
  return {begin, end};
}

ExitStatus run_signals(Setting setting, PictureFormat format) {
  const TimeCommand& command = setting.command;
  const std::size_t driven = drive(setting);
  check_sources(setting);
  const auto [begin, end] = driven_span(setting);
  const std::vector<double> times = output_times(setting, begin, end - begin + setting.scale.settling);
  const Settled settled = follow(setting, times);
  const std::size_t count = times.size();
  if (!command.plot.empty()) {
    TimePicture picture{title_of(command.model), "voltage / V", times, {}, std::nullopt, std::nullopt};
    const std::vector<std::size_t> drawn = drawn_ports(settled.signals, setting.ports(), driven, count);
    if (drawn.size() < setting.ports()) {
      picture.title += ", the largest at " + std::to_string(drawn.size()) + " of " +
                       std::to_string(setting.ports()) + " ports";
    }
    for (const std::size_t port : drawn) {
      picture.curves.push_back(
          {"port " + std::to_string(port + 1), part_of(settled.signals.voltages, port, count)});
    }
    draw_picture(command, time_script(picture, format), format);
  }
  std::vector<std::pair<std::string, std::vector<double>>> columns;
  for (std::size_t port = 0; port < setting.ports(); ++port) {
    columns.emplace_back("V" + std::to_string(port + 1) + " [V]",
                         part_of(settled.signals.voltages, port, count));
    columns.emplace_back("I" + std::to_string(port + 1) + " [A]",
                         part_of(settled.signals.currents, port, count));
  }
  write_table(command, table_of(times, columns));
  return told_of_steps(settled, setting.shown);
}

ExitStatus run_reflectometer(Setting setting, PictureFormat format) {
  const TimeCommand& command = setting.command;
  const std::size_t port = drive(setting);
  const double resistance = setting.terminations[port].resistance;
  if (!(resistance > 0.0) || std::isinf(resistance)) {
    refuse("--terminations", text::significant(resistance) + " ohms at the driven port",
           "a finite resistance above 0, which a reflectometer has");
  }
  const std::vector<double> times = output_times(setting, 0.0, rise_of(setting) + setting.scale.settling);
  const Settled settled = follow(setting, times);
  const std::vector<double> voltages = part_of(settled.signals.voltages, port, times.size());
  const std::vector<double> source = polefit::values_at(setting.terminations[port].source, times);
  std::vector<double> reflections;
  std::vector<double> impedances;
  for (std::size_t k = 0; k < times.size(); ++k) {
    // Half of the source's voltage goes out, and the rest of what is there came back.
    const double reflection = (voltages[k] - 0.5 * source[k]) / 0.5;
    reflections.push_back(reflection);
    impedances.push_back(reflection < 1.0 ? resistance * (1.0 + reflection) / (1.0 - reflection)
                                          : std::numeric_limits<double>::infinity());
  }
  std::vector<std::pair<std::string, std::vector<double>>> columns;
  std::optional<TimePicture::Distance> distance;
  if (command.velocity) {
    constexpr double light = 299792458.0;
    // There and back, from the middle of the rise on.
    distance = TimePicture::Distance{0.5 * *command.velocity * (*command.velocity <= 1.0 ? light : 1.0),
                                     0.5 * rise_of(setting)};
    std::vector<double> distances;
    std::transform(times.begin(), times.end(), std::back_inserter(distances),
                   [&](double time) { return distance->velocity * (time - distance->begin); });
    columns.emplace_back("distance [m]", std::move(distances));
  }
  if (!command.plot.empty()) {
    // An open end is infinitely far up.
    constexpr double highest_drawn = 6.0;
    TimePicture picture{title_of(command.model) + ", port " + std::to_string(port + 1) + ", rise " +
                            time_text(rise_of(setting)),
                        "impedance / Ω",
                        times,
                        {{"impedance", impedances}},
                        resistance,
                        distance};
    for (double& value : picture.curves.front().values) {
      value = value <= highest_drawn * resistance ? value : std::numeric_limits<double>::infinity();
    }
    draw_picture(command, time_script(picture, format), format);
  }
  columns.emplace_back("reflection", std::move(reflections));
  columns.emplace_back("impedance [ohm]", std::move(impedances));
  write_table(command, table_of(times, columns));
  return told_of_steps(settled, setting.shown);
}

ExitStatus run_eye(Setting setting, PictureFormat format) {
  const TimeCommand& command = setting.command;
  const std::size_t in = port_of("--in", command.in, 1, setting.ports());
  const std::size_t out =
      port_of("--out", command.out, std::min<std::size_t>(2, setting.ports()), setting.ports());
  const double rate = command.rate.value_or(1.0 / setting.scale.shortest);
  const double interval = 1.0 / rate;
  const double rise = command.rise.value_or(0.2 * interval);
  if (!(rise <= interval)) {
    refuse("--rise", time_text(rise), "at most a bit, which is " + time_text(interval));
  }
  const auto samples = static_cast<double>(command.bits * eye_samples);
  if (!(samples * static_cast<double>(setting.ports()) <= most_output_values)) {
    refuse("--bits",
           std::to_string(command.bits) + " bits of 64 samples at " + text::counted(setting.ports(), "port"),
           "at most twenty million samples of all ports");
  }
  const double step = interval / static_cast<double>(eye_samples);
  const auto followed = [&](const std::vector<bool>& bits) {
    setting.terminations[in].source = bit_waveform(bits, interval, rise);
    check_sources(setting);
    return follow(setting, polefit::even_times(step, bits.size() * eye_samples));
  };
  // A single bit, for as long as most channels remember anything.
  constexpr std::size_t longest_memory = 1024;
  std::vector<bool> single(std::min(command.bits, longest_memory));
  single.front() = true;
  const std::vector<double> pulse =
      part_of(followed(single).signals.voltages, out, single.size() * eye_samples);
  const std::vector<bool> bits = pseudo_random_bits(command.sequence, command.bits);
  const Settled settled = followed(bits);
  const std::vector<double> voltages = part_of(settled.signals.voltages, out, bits.size() * eye_samples);
  const Eye eye = eye_of(voltages, pulse, bits);
  if (eye.judged == 0) {
    refuse("--bits", std::to_string(command.bits), "more: the channel delays by nearly as many");
  }
  if (!command.plot.empty()) {
    constexpr std::size_t rows = 200;
    EyeDensity density = eye_density(voltages, eye, rows);
    EyePicture picture{title_of(command.model) + ", port " + std::to_string(in + 1) + " to " +
                           std::to_string(out + 1) + ", " + short_number(rate / 1e9, 6) + " Gbit/s",
                       eye_verdict(eye, interval),
                       interval,
                       density.columns,
                       density.rows,
                       density.low,
                       density.high,
                       std::move(density.hits),
                       std::nullopt};
    if (eye.open()) {
      picture.opening =
          EyePicture::Opening{eye.left, eye.right, eye.threshold, eye.highest_zero, eye.lowest_one};
    }
    draw_picture(command, eye_script(picture, format), format);
  }
  if (!command.output.empty()) {
    write_output(command.output, eye_table(eye));
  }
  const std::string report = eye_report(eye, {setting.shown, in + 1, out + 1, command.sequence, rate, rise});
  if (is_standard_stream(command.output) || is_standard_stream(command.plot)) {
    static_cast<void>(std::fputs(report.c_str(), stderr));
  } else {
    write_output("-", report);
  }
  const ExitStatus steps = told_of_steps(settled, setting.shown);
  return eye.open() ? steps : closed_eye;
}

}  // namespace

ExitStatus run(const TimeCommand& command) {
  const bool prints = command.kind == TimeKind::eye || (command.output.empty() && command.plot.empty());
  check_outputs({command.output, command.plot, prints ? "-" : ""}, {command.model, command.waveforms});
  if (is_standard_stream(command.output) && is_standard_stream(command.plot)) {
    refuse("standard output", "the table and the picture", "one of them");
  }
  const PictureFormat format = command.plot.empty() ? PictureFormat::svg : picture_format(command.plot);
  Setting setting = setting_of(command);
  switch (command.kind) {
    case TimeKind::tdr:
      return run_reflectometer(std::move(setting), format);
    case TimeKind::eye:
      return run_eye(std::move(setting), format);
    default:
      return run_signals(std::move(setting), format);
  }
}

}  // namespace polefit_cli
