/// Every line of a circuit is in the grammar that the manuals of the usual simulators share, and no check of
/// theirs on the topology has anything to find.

#include <gtest/gtest.h>

#include <cctype>
#include <map>
#include <numeric>
#include <optional>
#include <regex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "circuits.hpp"
#include "numerics.hpp"
#include "support.hpp"
#include "text/letters.hpp"
#include "text/number_text.hpp"

namespace polefit {
namespace {

using namespace testing_support;

/// One element: a name, two nodes, what controls it, and a value.
struct Element {
  std::string name;
  std::vector<std::string> nodes;  // the controlling ones too
  std::string control;             // a voltage source
  double value = 0.0;
  char kind() const { return name[0]; }
};

struct Subcircuit {
  std::string name;
  std::vector<std::string> terminals;
  std::vector<Element> elements;
};

const std::regex plain_name("[A-Za-z][A-Za-z0-9_]*");
const std::regex plain_number("-?[0-9]+(\\.[0-9]+)?(e[+-][0-9]{2,3})?");

bool is_node(const std::string& word) { return word == "0" || std::regex_match(word, plain_name); }

/// Lines with what goes on in the next ones, without comments; why the text is not in the grammar, if so.
std::optional<std::string> joined_lines(const std::string& text,
                                        std::vector<std::vector<std::string>>& lines) {
  bool may_go_on = false;
  if (!text.starts_with("*")) {
    return "the first line, which is a title where the file is a whole input, is no comment";
  }
  if (!text.ends_with("\n")) {
    return "the last line has no end";
  }
  for (const std::string& line : lines_of(text)) {
    if (line.empty() || line.size() > 80 || line.ends_with(' ')) {
      return "an empty line, a long one, or blanks at the end: " + line;
    }
    for (const char c : line) {
      if (c < ' ' || c > '~') {
        return "a character that is none of the plain ones: " + line;
      }
    }
    if (line[0] == '*') {
      may_go_on = false;
      continue;
    }
    const std::string body = line[0] == '+' || line[0] == '.' ? line.substr(1) : line;
    if (body.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_.+- ") !=
        std::string::npos) {
      return "a character with a meaning in some dialect: " + line;
    }
    std::vector<std::string> words = words_of(line);
    if (line[0] == '+') {
      if (!may_go_on || words[0] != "+") {
        return "nothing that goes on: " + line;
      }
      lines.back().insert(lines.back().end(), words.begin() + 1, words.end());
    } else {
      lines.push_back(std::move(words));
      may_go_on = true;
    }
  }
  return std::nullopt;
}

std::optional<std::string> parse_element(const std::vector<std::string>& words, Element& element) {
  const std::map<char, std::size_t> nodes{{'R', 2}, {'C', 2}, {'V', 2}, {'E', 4},
                                          {'G', 4}, {'F', 2}, {'H', 2}};
  element.name = words[0];
  const auto count = nodes.find(element.name[0]);
  if (count == nodes.end() || !std::regex_match(element.name, plain_name)) {
    return "no element is " + element.name;
  }
  const bool controlled_by_current = element.kind() == 'F' || element.kind() == 'H';
  if (words.size() != 1 + count->second + (controlled_by_current ? 1 : 0) + 1) {
    return "another number of words: " + element.name;
  }
  element.nodes.assign(words.begin() + 1, words.begin() + 1 + static_cast<std::ptrdiff_t>(count->second));
  for (const std::string& node : element.nodes) {
    if (!is_node(node)) {
      return "no node is " + node;
    }
  }
  element.control = controlled_by_current ? words[3] : "";
  if (!std::regex_match(words.back(), plain_number) || !text::parse_real(words.back(), element.value)) {
    return "no plain number is " + words.back();
  }
  return std::nullopt;
}

std::optional<std::string> parse(const std::string& text, Subcircuit& circuit) {
  std::vector<std::vector<std::string>> lines;
  if (const auto fault = joined_lines(text, lines)) {
    return fault;
  }
  if (lines.size() < 2 || lines.front()[0] != ".subckt" || lines.back()[0] != ".ends" ||
      lines.front().size() < 4 || lines.back().size() != 2 || lines.front()[1] != lines.back()[1]) {
    return "it does not begin with .subckt and end with .ends, or with two names";
  }
  circuit.name = lines.front()[1];
  circuit.terminals.assign(lines.front().begin() + 2, lines.front().end());
  for (std::size_t i = 1; i + 1 < lines.size(); ++i) {
    if (const auto fault = parse_element(lines[i], circuit.elements.emplace_back())) {
      return fault;
    }
  }
  return std::nullopt;
}

/// Names of the subcircuit, of nodes and of elements are all different in any case; a few words mean ground
/// or time or temperature somewhere.
std::optional<std::string> name_fault(const Subcircuit& circuit) {
  std::set<std::string> names{text::lower_case(circuit.name)};
  std::set<std::string> nodes;
  for (const std::string& terminal : circuit.terminals) {
    if (terminal == "0" || !nodes.insert(text::lower_case(terminal)).second) {
      return "a terminal is ground or there twice: " + terminal;
    }
  }
  std::set<std::string> spelled(circuit.terminals.begin(), circuit.terminals.end());
  for (const Element& element : circuit.elements) {
    if (!names.insert(text::lower_case(element.name)).second) {
      return "there twice: " + element.name;
    }
    for (const std::string& node : element.nodes) {
      spelled.insert(node);
      nodes.insert(text::lower_case(node));
    }
  }
  if (spelled.size() != nodes.size()) {
    return "two nodes differ in their case alone";
  }
  for (const std::string& node : nodes) {
    if (names.contains(node)) {
      return "a node and something else: " + node;
    }
    for (const char* word :
         {"gnd", "ground", "time", "temp", "temper", "hertz", "freq", "i", "j", "pi", "e"}) {
      if (node == word) {
        return "a word with a meaning: " + node;
      }
    }
  }
  return std::nullopt;
}

class Sets {
 public:
  std::string of(const std::string& node) {
    const auto found = parents_.find(node);
    return found == parents_.end() || found->second == node ? node : of(found->second);
  }
  /// False where they were one already.
  bool join(const std::string& a, const std::string& b) {
    const std::string first = of(a);
    const std::string second = of(b);
    parents_[first] = second;
    return first != second;
  }

 private:
  std::map<std::string, std::string> parents_;
};

/// What a simulator refuses before it computes: a node with one connection, one without a way for direct
/// current to ground (sources of current and capacitors are open), a loop of voltage sources, and a current
/// that is of no voltage source. The reference is taken for grounded.
std::optional<std::string> topology_fault(const Subcircuit& circuit) {
  std::map<std::string, int> connections;
  for (const std::string& terminal : circuit.terminals) {  // one more outside
    ++connections[terminal];
  }
  std::set<std::string> sources;
  Sets ways;
  Sets voltages;
  ways.join(circuit.terminals.back(), "0");
  voltages.join(circuit.terminals.back(), "0");
  for (const Element& element : circuit.elements) {
    ++connections[element.nodes[0]];
    ++connections[element.nodes[1]];
    if (element.kind() == 'V') {
      sources.insert(element.name);
    }
    const bool voltage = std::string_view("VEH").find(element.kind()) != std::string_view::npos;
    if (voltage && !voltages.join(element.nodes[0], element.nodes[1])) {
      return "a loop of voltage sources with " + element.name;
    }
    if (voltage || element.kind() == 'R') {
      ways.join(element.nodes[0], element.nodes[1]);
    }
  }
  for (const Element& element : circuit.elements) {
    if (!element.control.empty() && !sources.contains(element.control)) {
      return "no voltage source is " + element.control;
    }
    for (const std::string& node : element.nodes) {
      if (node != "0" && connections[node] < 2) {
        return "one connection: " + node;
      }
      if (ways.of(node) != ways.of("0")) {
        return "no way for direct current: " + node;
      }
    }
  }
  return std::nullopt;
}

/// All that is wrong with a text, or nothing.
std::string fault_of(const std::string& text) {
  Subcircuit circuit;
  if (const auto fault = parse(text, circuit)) {
    return *fault;
  }
  if (const auto fault = name_fault(circuit)) {
    return *fault;
  }
  return topology_fault(circuit).value_or("");
}

/// Poles of every kind.
Model every_kind(char parameter, std::size_t ports) {
  Model model;
  for (const Complex pole :
       {Complex(-1e9), Complex(0.0), Complex(1e8), Complex(0.0, 1e9), Complex(-1e7, 1e9)}) {
    add_pole(model, pole);
  }
  RandomNumbers numbers(ports);
  add_matrix(model, parameter, ports, 1e9, numbers);
  return model;
}

const std::string longest_name = "n" + std::string(62, '_') + "9";

TEST(SpiceDialect, every_line_is_in_the_grammar_that_simulators_share) {
  for (const char parameter : {'S', 'Y', 'Z'}) {
    for (const std::size_t ports : {1U, 2U, 12U}) {
      SCOPED_TRACE(parameter + std::to_string(ports));
      Model model = every_kind(parameter, ports);
      model.origin = Origin{1e2, 1e10, 1001, std::vector<ResponseError>(model.responses())};
      EXPECT_EQ(fault_of(spice_subcircuit(model, longest_name)), "");
    }
  }
}

TEST(SpiceDialect, a_network_whose_ports_have_nothing_in_common_is_too) {
  for (const char parameter : {'S', 'Y', 'Z'}) {
    Model model;
    model.network = NetworkMatrix{parameter, {50.0, 50.0}, all_elements(2)};
    model.constants.assign(4, 0.0);
    model.proportionals.assign(4, 0.0);
    EXPECT_EQ(fault_of(spice_subcircuit(model, "dut")), "") << parameter;
  }
}

TEST(SpiceDialect, residues_of_low_rank_are_too) {
  for (const char parameter : {'S', 'Y', 'Z'}) {
    EXPECT_EQ(fault_of(spice_subcircuit(low_rank_model(parameter, 12, 7), "dut")), "") << parameter;
  }
}

TEST(SpiceDialect, no_name_of_a_subcircuit_is_one_of_its_own_in_any_case) {
  const Model model = every_kind('S', 12);
  for (const char* name : {"p1", "P12", "ref", "REF", "x1_1", "X1_12", "Gp1", "gx1_1", "w3", "Rw3", "p_1",
                           "ref_", "x_1_1", "filter1"}) {
    EXPECT_EQ(fault_of(spice_subcircuit(model, name)), "") << name;
  }
}

TEST(SpiceDialect, terminals_keep_their_plain_names_beside_other_names) {
  for (const char* name : {"filter1", "p", "p_1", "abc1"}) {
    Subcircuit circuit;
    EXPECT_EQ(parse(spice_subcircuit(every_kind('Y', 2), name), circuit), std::nullopt);
    EXPECT_EQ(circuit.terminals, (std::vector<std::string>{"p1", "p2", "ref"})) << name;
  }
}

// The reader is worth nothing unless it refuses what some simulator would.
TEST(SpiceDialect, what_some_simulator_refuses_is_found) {
  const auto fault = [](const std::string& body) {
    return fault_of("* title\n.subckt a p1 ref\n" + body + ".ends a\n");
  };
  EXPECT_EQ(fault("R1 p1 ref 1\nR2 p1 0 1e-09\n"), "");
  for (const char* body :
       {"R1 p1 ref 1k\nR2 p1 0 1\n", "R1 p1 ref {r}\nR2 p1 0 1\n", "R1 p1 ref 1 noisy=0\nR2 p1 0 1\n",
        "R1 p1 ref 1\nr1 p1 0 1\n", "R1 p1 ref 1\nR2 P1 0 1\n", "R1 p1 ref 1\nR2 p1 gnd 1\nR3 gnd 0 1\n",
        "R1 p1 ref 1\nR2 p1 0 1\nC1 x 0 1\nC2 x 0 1\nG1 x 0 p1 0 1\n", "R1 p1 ref 1\nR2 p1 x 1\n",
        "V1 p1 ref 0\nE1 p1 0 p1 ref 1\n", "R1 p1 ref 1\nR2 p1 0 1\nF1 p1 0 V1 1\n",
        "L1 p1 ref 1\nR2 p1 0 1\n", "R1 p1 ref 1\nR2 p1 0 1 ; ohm\n",
        "R1 p1 ref\n* in between\n+ 1\nR2 p1 0 1\n", "A1 p1 ref 1\n", "R1 p1 ref 1\nR2 p1 0 1D-9\n",
        "Ra p1 ref 1\nR2 ra p1 1\nR3 ra 0 1\n"}) {
    EXPECT_NE(fault(body), "") << body;
  }
}

}  // namespace
}  // namespace polefit
