#include "polefit/exports.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <initializer_list>
#include <iterator>
#include <string_view>
#include <utility>
#include <vector>

#include "numerics/angular_frequency.hpp"
#include "numerics/matrix.hpp"
#include "numerics/power_of_two.hpp"
#include "polefit/error.hpp"
#include "polefit/model/files.hpp"
#include "polefit/model/model_faults.hpp"
#include "polefit/model/residue_factors.hpp"
#include "polefit_io/exports/finite_model.hpp"
#include "text/decimal.hpp"
#include "text/letters.hpp"

namespace polefit {
namespace {

constexpr double inaudible = 1e15;  // ohms: 4 k T / R is 1.7e-35 A^2 / Hz
// Ohms of the capacitor that takes a derivative, at the common rate: much beside the 10 microohms that a
// source of voltage has in some simulators, and a power of two, which changes no digit.
constexpr double derivative_ohms = 1024.0;
constexpr std::size_t longest_line = 80;  // what every dialect reads
constexpr std::size_t longest_name = 64;  // leaves room for the rest of its lines

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

/// A rate whose inverse can be a capacitor.
bool usable(double rate) { return std::isnormal(rate) && std::isnormal(1.0 / rate); }

/// At which the largest proportional term is as large as the references, or 0.
double polynomial_rate(const Model& model) {
  const std::vector<double>& references = model.network->references;
  double largest = 0.0;
  for (std::size_t r = 0; r < model.responses(); ++r) {
    const MatrixElement& element = model.network->elements[r];
    const double reference =
        std::sqrt(references[element.row - 1]) * std::sqrt(references[element.column - 1]);
    const char parameter = model.network->parameter;
    const double unit = parameter == 'Y' ? reference : parameter == 'Z' ? 1.0 / reference : 1.0;
    largest = std::max(largest, std::abs(model.proportionals[r]) * unit);
  }
  return largest > 0.0 ? 1.0 / largest : 0.0;
}

/// The rate of what has none by itself: a pole at 0, a proportional term.
double common_rate(const Model& model) {
  double rate = model.origin ? numerics::two_pi * model.origin->highest : 0.0;
  if (!usable(rate)) {
    rate = 0.0;
    for (const std::complex<double> pole : model.poles) {
      rate = std::max(rate, std::abs(pole));
    }
  }
  rate = usable(rate) ? rate : polynomial_rate(model);
  return usable(rate) ? rate : 1.0;
}

/// What drives a state of an output, or is driven by one: the port, counted from 1, and how much.
struct Coupling {
  std::size_t port;
  std::complex<double> weight;
};

/// One state of a real pole, two of a pair: z' = a z + |a| sum in u, of which sum Re(out z) is added to the
/// outputs.
struct StateSet {
  std::vector<Coupling> in;
  std::vector<Coupling> out;
};

/// A real pole or a pair.
struct Section {
  std::size_t state;  ///< of the first one, counted from 1
  bool pair;
  double rate;                  ///< |a|, or what takes its place, in rad/s
  std::complex<double> growth;  ///< a over that
  std::vector<StateSet> sets;
};

std::size_t parts_of(std::complex<double> weight) {
  return (weight.real() != 0.0 ? 1U : 0U) + (weight.imag() != 0.0 ? 1U : 0U);
}

/// How many elements it takes to write them.
std::size_t elements_of(const std::vector<StateSet>& sets, bool pair) {
  constexpr std::size_t of_a_state = 3;  // capacitor, shunt, conductance
  constexpr std::size_t between_a_pair = 2;
  std::size_t count = 0;
  for (const StateSet& set : sets) {
    count += pair ? 2 * of_a_state + between_a_pair : of_a_state;
    for (const auto* couplings : {&set.in, &set.out}) {
      for (const Coupling& coupling : *couplings) {
        count += parts_of(coupling.weight);
      }
    }
  }
  return count;
}

/// The names of terminals, nodes and elements.
class Names {
 public:
  /// Those with a mark before each number where a plain one could be the name of the subcircuit.
  explicit Names(std::string_view subcircuit) : mark_(is_like_ours(subcircuit) ? "_" : "") {}

  std::string reference() const { return stem("ref"); }
  std::string stem(const char* letters) const { return letters + mark_; }
  std::string operator()(const char* letters, std::size_t i) const {
    return stem(letters) + std::to_string(i);
  }
  std::string operator()(const char* letters, std::size_t i, std::size_t j) const {
    return (*this)(letters, i) + '_' + std::to_string(j);
  }
  std::string operator()(const char* letters, std::size_t i, std::size_t j, std::size_t k) const {
    return (*this)(letters, i, j) + '_' + std::to_string(k);
  }

 private:
  /// At most two letters and then a digit, or the reference, in any case.
  static bool is_like_ours(std::string_view name) {
    const auto digit = std::find_if_not(name.begin(), name.end(), text::is_letter);
    if (digit != name.end()) {
      return text::is_digit(*digit) && digit - name.begin() <= 2;
    }
    return text::equal_in_any_case(name, "ref");
  }

  std::string mark_;
};

/// Writes the circuit of one model.
class Subcircuit {
 public:
  Subcircuit(const Model& model, const std::string& name)
      : model_(model),
        name_(name),
        matrix_(matrix_of(model)),
        parameter_(model.network->parameter),
        names_(name),
        common_rate_(common_rate(model)),
        constants_(matrix_.ports(), matrix_.ports()) {
    for (std::size_t row = 0; row < matrix_.ports(); ++row) {
      for (std::size_t column = 0; column < matrix_.ports(); ++column) {
        constants_(row, column) = model.constants[matrix_.response(row, column)];
      }
    }
    add_sections();
  }

  std::string text() {
    write_header();
    netlist_.long_line(".subckt " + name_, terminals(), "+");
    for (std::size_t port = 1; port <= matrix_.ports(); ++port) {
      write_port(port);
    }
    for (const Section& section : sections_) {
      for (std::size_t set = 1; set <= section.sets.size(); ++set) {
        write_set(section, set);
      }
    }
    for (std::size_t column = 1; column <= matrix_.ports(); ++column) {
      write_polynomial(column);
    }
    netlist_.line(".ends " + name_);
    return netlist_.take();
  }

 private:
  std::vector<std::string> terminals() const {
    std::vector<std::string> words;
    for (std::size_t port = 1; port <= matrix_.ports(); ++port) {
      words.push_back(names_("p", port));
    }
    words.emplace_back(names_.reference());
    return words;
  }

  double reference(std::size_t port) const { return model_.network->references[port - 1]; }

  /// From where to where a source drives what it adds to the output of a port: current of the port itself for
  /// Y, otherwise the current of the source Vw that holds the node w at 0.
  std::string output(std::size_t port) const {
    return parameter_ == 'Y' ? names_("p", port) + ' ' + names_.reference() : "0 " + names_("w", port);
  }

  /// Where the voltage u of a port is, as the controlling nodes of a source; not of Z.
  std::string input(std::size_t port) const {
    return names_("p", port) + ' ' + (parameter_ == 'Y' ? names_.reference() : names_("q", port));
  }

  /// What an element of the matrix becomes between u of its column and the output of its row.
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

  void add_sections();
  std::vector<StateSet> sets_by_input(std::size_t pole, const Section& section) const;
  std::vector<StateSet> sets_by_rank(const ResidueFactors& factors, const Section& section) const;
  void write_header();
  void write_use();
  void write_states();
  void write_port(std::size_t port);
  void write_set(const Section& section, std::size_t set);
  void write_state(const std::string& x, const Section& section);
  void write_driven(const std::string& place, const std::string& nodes, std::size_t port, double weight);
  void write_polynomial(std::size_t column);
  void shunt(const std::string& first, const std::string& second, const std::string& place,
             double conductance);

  const Model& model_;
  const std::string& name_;
  WholeMatrix matrix_;
  char parameter_;
  Names names_;
  double common_rate_;
  numerics::Matrix constants_;
  std::vector<Section> sections_;
  Netlist netlist_;
};

void Subcircuit::add_sections() {
  const auto section_of = [&](const FactoredPole& each) {
    const std::complex<double> pole = model_.poles[each.pole];
    const double rate = usable(std::abs(pole)) ? std::abs(pole) : common_rate_;
    return Section{
        .state = each.pole + 1, .pair = each.pair, .rate = rate, .growth = pole / rate, .sets = {}};
  };
  const auto is_worth = [&](const FactoredPole& each) {
    const Section section = section_of(each);
    const std::vector<StateSet> by_input = sets_by_input(each.pole, section);
    const std::vector<StateSet> by_rank = sets_by_rank(*each.factors, section);
    // At 0 Hz a pole at 0 takes as many conditions on the ports as it has states, and only its rank is met.
    const bool needed = model_.poles[each.pole] == 0.0 && by_rank.size() < by_input.size();
    return needed || elements_of(by_rank, each.pair) < elements_of(by_input, each.pair);
  };
  // Of half the ports and more, states of each input take fewer elements.
  for (const FactoredPole& each : factored_poles(model_, matrix_.ports() / 2 + 1, is_worth)) {
    Section section = section_of(each);
    section.sets = each.factors ? sets_by_rank(*each.factors, section) : sets_by_input(each.pole, section);
    for (std::size_t k = 0; k < each.lacking.elements.size(); ++k) {
      constants_.elements[k] += each.lacking.elements[k];
    }
    sections_.push_back(std::move(section));
  }
}

/// A set for each input that has a residue, which all outputs share.
std::vector<StateSet> Subcircuit::sets_by_input(std::size_t pole, const Section& section) const {
  std::vector<StateSet> sets;
  for (std::size_t column = 1; column <= matrix_.ports(); ++column) {
    StateSet set{{{column, 1.0}}, {}};
    for (std::size_t row = 1; row <= matrix_.ports(); ++row) {
      const std::complex<double> residue = model_.residues_of(matrix_.response(row - 1, column - 1))[pole];
      if (residue != 0.0) {
        set.out.push_back({row, scale(row, column) * (section.pair ? 2.0 : 1.0) * (residue / section.rate)});
      }
    }
    if (!set.out.empty()) {
      sets.push_back(std::move(set));
    }
  }
  return sets;
}

/// A set for each column of the factors.
std::vector<StateSet> Subcircuit::sets_by_rank(const ResidueFactors& factors, const Section& section) const {
  std::vector<StateSet> sets(factors.left.columns());
  for (std::size_t k = 0; k < sets.size(); ++k) {
    double largest = 0.0;
    for (std::size_t port = 1; port <= matrix_.ports(); ++port) {
      const std::complex<double> in = scale(1, port) * factors.right(k, port - 1);
      const std::complex<double> out = factors.left(port - 1, k) / section.rate;
      sets[k].in.push_back({port, in});
      sets[k].out.push_back({port, scale(port, 1) / scale(1, 1) * (section.pair ? 2.0 : 1.0) * out});
      largest = std::max({largest, std::abs(in.real()), std::abs(in.imag())});
    }
    // States of the size of u. Powers of two are exact, so that what is symmetric stays so.
    const int exponent = std::isnormal(largest) ? std::ilogb(largest) : 0;
    for (std::size_t i = 0; i < matrix_.ports(); ++i) {
      sets[k].in[i].weight *= numerics::PowerOfTwo(-exponent).times(1.0);
      sets[k].out[i].weight *= numerics::PowerOfTwo(exponent).times(1.0);
    }
  }
  return sets;
}

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
  if (!model_.network->modes.empty()) {
    std::vector<std::string> modes;
    std::transform(model_.network->modes.begin(), model_.network->modes.end(), std::back_inserter(modes),
                   mode_name);
    netlist_.long_line("* Its ports are modes, in order:", modes, "*  ");
  }
  if (model_.origin) {
    netlist_.line("* It was fitted from " + six_digits(model_.origin->lowest) + " to " +
                  six_digits(model_.origin->highest) + " Hz, and holds in that band.");
  }
  netlist_.line("* It makes no noise of its own.");
  netlist_.line("*");
  write_use();
  netlist_.line("*");
  write_states();
}

void Subcircuit::write_use() {
  const std::size_t ports = matrix_.ports();
  netlist_.line("* Terminals: " +
                (ports == 1 ? std::string("port 1") : "ports 1 to " + std::to_string(ports) + " in order") +
                ", then the reference of all, which is");
  netlist_.line("* ground or any other node. Use, with a resistor at port 1:");
  netlist_.line("*   .include FILE");
  netlist_.line("*   R1 n1 0 50");
  std::vector<std::string> use;
  for (std::size_t port = 1; port <= ports; ++port) {
    use.push_back("n" + std::to_string(port));
  }
  use.insert(use.end(), {"0", name_});
  netlist_.long_line("*   X1", use, "*   +");
}

void Subcircuit::write_states() {
  std::size_t states = 0;
  std::size_t by_input = 0;
  for (const Section& section : sections_) {
    states += section.sets.size() * (section.pair ? 2 : 1);
    by_input += matrix_.ports() * (section.pair ? 2 : 1);
  }
  netlist_.line("* States: " + std::to_string(states) +
                "; as many of each port as there are poles would be " + std::to_string(by_input) + ".");
  netlist_.line("* Node " + names_.stem("x") + "K_M is state K of set M. State: pole in rad/s, sets");
  for (const Section& section : sections_) {
    const std::complex<double> pole = model_.poles[section.state - 1];
    std::string words = "* " + std::to_string(section.state);
    words += section.pair ? ", " + std::to_string(section.state + 1) : "";
    words += ": " + six_digits(pole.real());
    words += section.pair ? " +- j " + six_digits(pole.imag()) : "";
    words += ", " + std::to_string(section.sets.size());
    netlist_.line(words);
  }
  if (std::any_of(model_.poles.begin(), model_.poles.end(), [](auto a) { return a.real() > 0.0; })) {
    netlist_.line("* Not stable: there are poles in the right half-plane.");
  }
}

/// A conductance without noise, as a source of its own voltage. Some simulators count that as open and want a
/// way for direct current from every node. A resistor too large to be heard is one; in a source of 0 V and a
/// current-controlled one, which make no noise at all, a transient takes 1.4 to 1.8 times as long.
void Subcircuit::shunt(const std::string& first, const std::string& second, const std::string& place,
                       double conductance) {
  netlist_.element('R' + place, {first, second}, inaudible);
  netlist_.element('G' + place, {first, second, first, second}, conductance - 1.0 / inaudible);
}

void Subcircuit::write_port(std::size_t port) {
  const std::string p = names_("p", port);
  const std::string w = names_("w", port);
  const std::string ref = names_.reference();
  const std::string sum = names_("Vw", port);
  if (parameter_ != 'Y') {
    netlist_.element(sum, {w, "0"}, 0.0);
    netlist_.element(names_("Rw", port), {w, "0"}, inaudible);  // a node wants two connections
  }
  if (parameter_ == 'Z') {
    // The current is sensed beside the reference, since some simulators take the difference of two voltages.
    const std::string between = names_("i", port);
    netlist_.element(names_("Hp", port), {p, between, sum}, 1.0);
    netlist_.element(names_("Vp", port), {between, ref}, 0.0);
    return;
  }
  const double conductance = parameter_ == 'S' ? 1.0 / reference(port) : 0.0;
  shunt(p, ref, names_("p", port), conductance);
  if (parameter_ == 'S') {
    // With w the reflected part of the voltage v: i = (v - 2 w) / R, and the incident part is v - w.
    const std::string q = names_("q", port);
    netlist_.element(names_("Fp", port), {p, ref, sum}, -2.0 * conductance);
    netlist_.element(names_("Hq", port), {q, ref, sum}, 1.0);
    netlist_.element(names_("Rq", port), {q, ref}, inaudible);
  }
}

/// A source that u of a port controls, of Z the port's current.
void Subcircuit::write_driven(const std::string& place, const std::string& nodes, std::size_t port,
                              double weight) {
  if (parameter_ == 'Z') {
    netlist_.source('F' + place, {nodes, names_("Vp", port)}, weight);
  } else {
    netlist_.source('G' + place, {nodes, input(port)}, weight);
  }
}

void Subcircuit::write_set(const Section& section, std::size_t set) {
  const std::size_t first = section.state;
  const std::size_t second = first + 1;
  const std::string x1 = names_("x", first, set);
  const std::string x2 = names_("x", second, set);
  write_state(x1, section);
  if (section.pair) {
    write_state(x2, section);
    netlist_.element(names_("Gc", first, set), {"0", x1, x2, "0"}, section.growth.imag());
    netlist_.element(names_("Gc", second, set), {x2, "0", x1, "0"}, section.growth.imag());
  }
  // z = x1 - j x2.
  for (const auto& [port, weight] : section.sets[set - 1].in) {
    const double unit = parameter_ == 'Z' ? reference(port) : 1.0;
    write_driven(names_("u", first, set, port), "0 " + x1, port, weight.real() * unit);
    write_driven(names_("u", second, set, port), "0 " + x2, port, -weight.imag() * unit);
  }
  for (const auto& [port, weight] : section.sets[set - 1].out) {
    netlist_.source(names_("Gy", first, set, port), {output(port), x1, "0"}, weight.real());
    netlist_.source(names_("Gy", second, set, port), {output(port), x2, "0"}, weight.imag());
  }
}

void Subcircuit::write_state(const std::string& x, const Section& section) {
  netlist_.element('C' + x, {x, "0"}, 1.0 / section.rate);
  shunt(x, "0", x, -section.growth.real());
}

void Subcircuit::write_polynomial(std::size_t column) {
  bool differentiates = false;
  for (std::size_t row = 1; row <= matrix_.ports(); ++row) {
    const std::size_t response = matrix_.response(row - 1, column - 1);
    const double unit = parameter_ == 'Z' ? 1.0 : scale(row, column);
    write_driven(names_("d", row, column), output(row), column, unit * constants_(row - 1, column - 1));
    const double proportional =
        scale(row, column) * model_.proportionals[response] * common_rate_ * derivative_ohms;
    netlist_.source(names_("Fh", row, column), {output(row), names_("Vh", column)}, proportional);
    differentiates = differentiates || proportional != 0.0;
  }
  if (differentiates) {
    const std::string copy = names_("c", column);
    const std::string current = names_("f", column);
    if (parameter_ == 'Z') {
      netlist_.element(names_("Hh", column), {copy, "0", names_("Vp", column)}, reference(column));
    } else {
      netlist_.element(names_("Eh", column), {copy, "0", input(column)}, 1.0);
    }
    netlist_.element(names_("Ch", column), {copy, current}, 1.0 / common_rate_ / derivative_ohms);
    netlist_.element(names_("Vh", column), {current, "0"}, 0.0);
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
  refuse_varying_references(model, "of which no circuit can be made");
  refuse_numbers_not_finite(model);
  return Subcircuit(model, name).text();
}

void write_spice(const Model& model, const std::string& file, const std::string& name) {
  write_file(ErrorKind::bad_network_file, file, spice_subcircuit(model, name));
}

}  // namespace polefit
