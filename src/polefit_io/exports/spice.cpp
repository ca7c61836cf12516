#include "polefit/exports.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <initializer_list>
#include <string_view>
#include <utility>
#include <vector>

#include "numerics/angular_frequency.hpp"
#include "polefit/error.hpp"
#include "polefit/model/files.hpp"
#include "polefit/model/model_faults.hpp"
#include "polefit_io/exports/finite_model.hpp"
#include "text/decimal.hpp"
#include "text/letters.hpp"

namespace polefit {
namespace {

constexpr std::size_t longest_line = 80;  // what every dialect reads
constexpr std::size_t longest_name = 64;  // leaves room for the rest of its lines

std::string indexed(const char* stem, std::size_t i) { return stem + std::to_string(i); }
std::string indexed(const char* stem, std::size_t i, std::size_t j) {
  return indexed(stem, i) + '_' + std::to_string(j);
}

/// For comments.
std::string six_digits(double value) { return text::significant(value, 6); }

/// The text of a circuit as it grows.
class Netlist {
 public:
  void line(std::string_view words) {
    text_ += words;
    text_ += '\n';
  }
  /// A line that goes on in further ones, which begin with `continuation`.
  void long_line(const std::string& beginning, const std::vector<std::string>& words,
                 const std::string& continuation) {
    std::string current = beginning;
    for (const std::string& word : words) {
      if (current.size() + 1 + word.size() > longest_line) {
        line(current);
        current = continuation;
      }
      current += ' ' + word;
    }
    line(current);
  }
  void element(const std::string& element_name, std::initializer_list<std::string_view> nodes, double value) {
    if (!std::isfinite(value)) {
      throw Error(ErrorKind::bad_shape,
                  "the value of the circuit's element " + element_name + " is beyond the range of numbers");
    }
    text_ += element_name;
    for (const std::string_view node : nodes) {
      text_ += ' ';
      text_ += node;
    }
    text_ += ' ';
    line(text::significant(value));
  }
  /// A controlled source that is left out where it does nothing.
  void source(const std::string& element_name, std::initializer_list<std::string_view> nodes, double value) {
    if (value != 0.0) {
      element(element_name, nodes, value);
    }
  }
  std::string take() { return std::move(text_); }

 private:
  std::string text_;
};

/// A real pole or a pair, and the scale of its states.
struct Section {
  std::size_t pole;   ///< the first one
  std::size_t state;  ///< counted from 1
  bool pair;
  double rate;  ///< |a|, or what takes its place, in rad/s
};

/// A rate whose inverse can be a capacitor.
bool usable(double rate) { return std::isnormal(rate) && std::isnormal(1.0 / rate); }

/// The rate of what has none by itself: a pole at 0, a proportional term.
double common_rate(const Model& model) {
  double rate = model.origin ? numerics::two_pi * model.origin->highest : 0.0;
  if (!usable(rate)) {
    rate = 0.0;
    for (const std::complex<double> pole : model.poles) {
      rate = std::max(rate, std::abs(pole));
    }
  }
  return usable(rate) ? rate : 1.0;
}

std::vector<Section> sections_of(const Model& model) {
  std::vector<Section> sections;
  for (std::size_t i = 0; i < model.poles.size();) {
    const bool pair = model.poles[i].imag() != 0.0;
    const double rate = std::abs(model.poles[i]);
    sections.push_back({i, i + 1, pair, usable(rate) ? rate : common_rate(model)});
    i += pair ? 2 : 1;
  }
  return sections;
}

/// Writes the circuit of one model.
class Subcircuit {
 public:
  Subcircuit(const Model& model, const std::string& name)
      : model_(model),
        name_(name),
        matrix_(matrix_of(model)),
        parameter_(model.network->parameter),
        sections_(sections_of(model)),
        common_rate_(common_rate(model)) {}

  std::string text() {
    write_header();
    netlist_.long_line(".subckt " + name_, terminals("ref"), "+");
    for (std::size_t port = 1; port <= matrix_.ports(); ++port) {
      write_port(port);
    }
    for (std::size_t port = 1; port <= matrix_.ports(); ++port) {
      write_column(port);
    }
    netlist_.line(".ends " + name_);
    return netlist_.take();
  }

 private:
  std::vector<std::string> terminals(const char* reference) const {
    std::vector<std::string> words;
    for (std::size_t port = 1; port <= matrix_.ports(); ++port) {
      words.push_back(indexed("p", port));
    }
    words.emplace_back(reference);
    return words;
  }

  double reference(std::size_t port) const { return model_.network->references[port - 1]; }

  // Where the voltage u of a port is, as the controlling nodes of a source.
  std::string input(std::size_t port) const {
    return parameter_ == 'Y' ? indexed("p", port) + " ref" : indexed("u", port) + " 0";
  }

  // From where to where a source drives what it adds to the output of a port: current of the port itself for
  // Y, otherwise current into the node w, whose voltage is the sum.
  std::string output(std::size_t port) const {
    return parameter_ == 'Y' ? indexed("p", port) + " ref" : "0 " + indexed("w", port);
  }

  // What an element of the matrix becomes between u of its column and the output of its row.
  double scale(std::size_t row, std::size_t column) const {
    switch (parameter_) {
      case 'S':  // the reflected part of the voltage, sqrt(R_i) b_i
        return std::sqrt(reference(row) / reference(column));
      case 'Z':
        return 1.0 / reference(column);
      default:
        return 1.0;
    }
  }

  void write_header();
  void write_pole_table();
  void write_port(std::size_t port);
  void write_column(std::size_t column);
  void write_state(std::size_t column, std::size_t state, double rate, double growth);
  void write_outputs(std::size_t column, const Section& section);
  void write_polynomial(std::size_t column);

  const Model& model_;
  const std::string& name_;
  WholeMatrix matrix_;
  char parameter_;
  std::vector<Section> sections_;
  double common_rate_;
  Netlist netlist_;
};

void Subcircuit::write_header() {
  netlist_.line("* " + name_);
  const std::size_t ports = matrix_.ports();
  netlist_.line(std::string("* A linear circuit with the ") + parameter_ + " parameters of a network of " +
                std::to_string(ports) + (ports == 1 ? " port." : " ports."));
  std::vector<std::string> references;
  for (const double resistance : model_.network->references) {
    references.push_back(six_digits(resistance));
  }
  netlist_.long_line("* Reference resistance of each port in ohms:", references, "*  ");
  if (model_.origin) {
    netlist_.line("* It was fitted from " + six_digits(model_.origin->lowest) + " to " +
                  six_digits(model_.origin->highest) + " Hz, and holds in that band.");
  }
  std::vector<std::string> use = terminals("0");
  use.push_back(name_);
  netlist_.long_line("* Use: X1", use, "*   +");
  netlist_.line("* The last terminal is the reference of all ports.");
  netlist_.line("*");
  write_pole_table();
}

void Subcircuit::write_pole_table() {
  netlist_.line("* Node xJ_K is state K of the input of port J; all outputs share it.");
  netlist_.line("* State: pole in rad/s");
  for (const Section& section : sections_) {
    const std::complex<double> pole = model_.poles[section.pole];
    std::string words = "* " + std::to_string(section.state);
    words += section.pair ? ", " + std::to_string(section.state + 1) : "";
    words += ": " + six_digits(pole.real());
    words += section.pair ? " +- j " + six_digits(pole.imag()) : "";
    netlist_.line(words);
  }
  if (std::any_of(model_.poles.begin(), model_.poles.end(), [](auto a) { return a.real() > 0.0; })) {
    netlist_.line("* Not stable: there are poles in the right half-plane.");
  }
}

void Subcircuit::write_port(std::size_t port) {
  if (parameter_ == 'Y') {
    return;
  }
  const std::string p = indexed("p", port);
  const std::string u = indexed("u", port);
  const std::string w = indexed("w", port);
  if (parameter_ == 'S') {
    // With w the reflected part of the voltage v: i = (v - 2 w) / R, and the incident part is v - w.
    netlist_.element(indexed("Rp", port), {p, "ref"}, reference(port));
    netlist_.element(indexed("Gp", port), {"ref", p, w, "0"}, 2.0 / reference(port));
    netlist_.element(indexed("Gv", port), {"0", u, p, "ref"}, 1.0);
    netlist_.element(indexed("Gw", port), {u, "0", w, "0"}, 1.0);
  } else {
    const std::string between = indexed("i", port);
    netlist_.element(indexed("Vp", port), {p, between}, 0.0);
    netlist_.element(indexed("Ep", port), {between, "ref", w, "0"}, 1.0);
    netlist_.element(indexed("Fu", port), {"0", u, indexed("Vp", port)}, reference(port));
  }
  netlist_.element(indexed("Ru", port), {u, "0"}, 1.0);
  netlist_.element(indexed("Rw", port), {w, "0"}, 1.0);
}

void Subcircuit::write_column(std::size_t column) {
  for (const Section& section : sections_) {
    const std::complex<double> pole = model_.poles[section.pole] / section.rate;
    const std::size_t first = section.state;
    write_state(column, first, section.rate, pole.real());
    const std::string x1 = indexed("x", column, first);
    netlist_.element(indexed("Gu", column, first), {"0", x1, input(column)}, 1.0);
    if (section.pair) {
      const std::size_t second = first + 1;
      const std::string x2 = indexed("x", column, second);
      write_state(column, second, section.rate, pole.real());
      netlist_.element(indexed("Gx", column, first), {"0", x1, x2, "0"}, pole.imag());
      netlist_.element(indexed("Gx", column, second), {x2, "0", x1, "0"}, pole.imag());
    }
    write_outputs(column, section);
  }
  write_polynomial(column);
}

/// Capacitor and conductance of a state that by itself grows with `growth` times the rate. A decaying one has
/// a resistor of that size. Every node needs a resistor to ground, so the others have one too, and a source
/// that makes up for it without rounding: g - 2 g or 1 - 1.
void Subcircuit::write_state(std::size_t column, std::size_t state, double rate, double growth) {
  const std::string x = indexed("x", column, state);
  netlist_.element(indexed("Cx", column, state), {x, "0"}, 1.0 / rate);
  const bool resists = growth != 0.0 && std::isfinite(1.0 / growth);
  const double resistance = resists ? 1.0 / std::abs(growth) : 1.0;
  netlist_.element(indexed("Rx", column, state), {x, "0"}, resistance);
  if (!resists) {
    netlist_.element(indexed("Gn", column, state), {"0", x, x, "0"}, 1.0);
  } else if (growth > 0.0) {
    netlist_.element(indexed("Gn", column, state), {"0", x, x, "0"}, 2.0 * growth);
  }
}

void Subcircuit::write_outputs(std::size_t column, const Section& section) {
  for (std::size_t row = 1; row <= matrix_.ports(); ++row) {
    const std::complex<double> residue =
        model_.residues_of(matrix_.response(row - 1, column - 1))[section.pole];
    const std::complex<double> weight =
        scale(row, column) * (section.pair ? 2.0 : 1.0) * (residue / section.rate);
    const auto write = [&](std::size_t state, double value) {
      const std::string place = indexed("Gy", row, column) + '_' + std::to_string(state);
      netlist_.source(place, {output(row), indexed("x", column, state), "0"}, value);
    };
    write(section.state, weight.real());
    if (section.pair) {
      write(section.state + 1, weight.imag());
    }
  }
}

void Subcircuit::write_polynomial(std::size_t column) {
  bool differentiates = false;
  for (std::size_t row = 1; row <= matrix_.ports(); ++row) {
    const std::size_t response = matrix_.response(row - 1, column - 1);
    netlist_.source(indexed("Gd", row, column), {output(row), input(column)},
                    scale(row, column) * model_.constants[response]);
    const double proportional = scale(row, column) * model_.proportionals[response] * common_rate_;
    netlist_.source(indexed("Fh", row, column), {output(row), indexed("Vh", column)}, proportional);
    differentiates = differentiates || proportional != 0.0;
  }
  if (differentiates) {
    const std::string copy = indexed("e", column);
    const std::string current = indexed("f", column);
    netlist_.element(indexed("Eh", column), {copy, "0", input(column)}, 1.0);
    netlist_.element(indexed("Ch", column), {copy, current}, 1.0 / common_rate_);
    netlist_.element(indexed("Vh", column), {current, "0"}, 0.0);
  }
}

}  // namespace

bool is_subcircuit_name(std::string_view name) {
  return !name.empty() && name.size() <= longest_name && text::is_letter(name.front()) &&
         std::all_of(name.begin(), name.end(),
                     [](char c) { return text::is_letter(c) || text::is_digit(c) || c == '_'; });
}

std::string spice_subcircuit(const Model& model, const std::string& name) {
  if (!is_subcircuit_name(name)) {
    throw Error(ErrorKind::bad_option,
                "the name of a subcircuit is a letter and then letters, digits and underscores, at most " +
                    std::to_string(longest_name));
  }
  if (!model.network && model.responses() == 1) {
    throw Error(ErrorKind::bad_shape,
                "the model does not say whether its response is S, Y or Z of a one-port");
  }
  check(model);
  if (model.network && model.network->parameter == 'S' && model.network->references_vary) {
    throw Error(ErrorKind::bad_shape,
                "S refers to port impedances that vary with frequency, of which no circuit can be made");
  }
  refuse_numbers_not_finite(model);
  return Subcircuit(model, name).text();
}

void write_spice(const Model& model, const std::string& file, const std::string& name) {
  write_file(ErrorKind::bad_network_file, file, spice_subcircuit(model, name));
}

}  // namespace polefit
