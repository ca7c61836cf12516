/// A linear circuit of R, C, E, F, G, H and V, read from its text and solved at one frequency.
#pragma once

#include <cmath>
#include <complex>
#include <cstddef>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "fuzz/fuzz.hpp"
#include "text/number_text.hpp"

namespace s_solver::fuzz {

class Netlist {
 public:
  using Wide = std::complex<long double>;

  /// Elements, comments and one subcircuit of that name with these terminals: all that is expected of it is
  /// checked.
  Netlist(const std::string& text, const std::string& name, std::size_t ports) {
    check(text.ends_with('\n'), "a netlist ends with a line end");
    std::vector<std::vector<std::string>> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
      check(line.size() <= 80, "no line has more than 80 characters");
      for (const char c : line) {
        check(c >= ' ' && c <= '~', "there is plain text only");
      }
      std::istringstream words(line);
      std::vector<std::string> found;
      for (std::string word; words >> word;) {
        found.push_back(word);
      }
      check(!found.empty(), "no line is empty");
      if (found[0] == "+") {
        check(!lines.empty(), "what goes on has a beginning");
        lines.back().insert(lines.back().end(), found.begin() + 1, found.end());
      } else if (found[0][0] != '*') {
        lines.push_back(found);
      }
    }
    std::vector<std::string> head{".subckt", name};
    for (std::size_t port = 1; port <= ports; ++port) {
      head.push_back("p" + std::to_string(port));
    }
    head.emplace_back("ref");
    check(lines.size() >= 2 && lines.front() == head, "a subcircuit begins with its name and its ports");
    check(lines.back() == std::vector<std::string>{".ends", name}, "a subcircuit has an end");
    for (std::size_t port = 1; port <= ports; ++port) {  // also one that nothing is connected to
      nodes_.emplace("p" + std::to_string(port), nodes_.size());
    }
    for (std::size_t i = 1; i + 1 < lines.size(); ++i) {
      add(lines[i]);
    }
    for (const Element& element : elements_) {
      check(element.control.empty() || (element.control[0] == 'V' && branches_.contains(element.control)),
            "a current that controls is that of a voltage source");
    }
  }

  /// Voltages of the ports against the reference, which is grounded: each port has a resistance to ground and
  /// is fed with a current. Nothing where the circuit has no single solution.
  std::optional<std::vector<Wide>> voltages(Wide s, const std::vector<double>& resistances,
                                            const std::vector<long double>& currents) const {
    const std::size_t n = nodes_.size() + branches_.size();
    std::vector<std::vector<Wide>> a(n, std::vector<Wide>(n + 1));
    for (const Element& element : elements_) {
      stamp(element, s, a);
    }
    for (std::size_t port = 0; port < resistances.size(); ++port) {
      const std::size_t node = nodes_.at("p" + std::to_string(port + 1));
      a[node][node] += 1.0L / static_cast<long double>(resistances[port]);
      a[node][n] += currents[port];
    }
    if (!solve(a)) {
      return std::nullopt;
    }
    std::vector<Wide> result;
    for (std::size_t port = 0; port < resistances.size(); ++port) {
      result.push_back(a[nodes_.at("p" + std::to_string(port + 1))][n]);
    }
    return result;
  }

 private:
  struct Element {
    char kind;
    std::vector<std::string> nodes;
    std::string control;
    std::string name;
    double value;
  };

  void add(const std::vector<std::string>& words) {
    const std::map<char, std::size_t> counts{{'R', 4}, {'C', 4}, {'V', 4}, {'F', 5},
                                             {'H', 5}, {'E', 6}, {'G', 6}};
    const auto count = counts.find(words[0][0]);
    check(count != counts.end() && words.size() == count->second, "an element is one, and complete");
    Element element{words[0][0], {words[1], words[2]}, {}, words[0], 0.0};
    if (words.size() == 5) {
      element.control = words[3];
    } else if (words.size() == 6) {
      element.nodes.insert(element.nodes.end(), {words[3], words[4]});
    }
    check(text::parse_real(words.back(), element.value) && std::isfinite(element.value),
          "an element has a finite value");
    check(names_.emplace(words[0], true).second, "no element has the name of another");
    for (const std::string& node : element.nodes) {
      if (node != "0" && node != "ref") {
        nodes_.emplace(node, nodes_.size());
      }
    }
    if (element.kind == 'V' || element.kind == 'E' || element.kind == 'H') {
      branches_.emplace(element.name, branches_.size());
    }
    elements_.push_back(std::move(element));
  }

  std::optional<std::size_t> row(const std::string& node) const {
    const auto found = nodes_.find(node);
    return found == nodes_.end() ? std::nullopt : std::optional(found->second);
  }

  void stamp(const Element& element, Wide s, std::vector<std::vector<Wide>>& a) const {
    const auto add_to = [&](std::optional<std::size_t> i, std::optional<std::size_t> j, Wide value) {
      if (i && j) {
        a[*i][*j] += value;
      }
    };
    const auto value = static_cast<long double>(element.value);
    const auto plus = row(element.nodes[0]);
    const auto minus = row(element.nodes[1]);
    const auto branch = [&](const std::string& name) { return nodes_.size() + branches_.at(name); };
    switch (element.kind) {
      case 'R':
      case 'C': {
        const Wide y = element.kind == 'R' ? Wide(1.0L / value) : s * value;
        add_to(plus, plus, y);
        add_to(minus, minus, y);
        add_to(plus, minus, -y);
        add_to(minus, plus, -y);
        break;
      }
      case 'G': {
        const auto from = row(element.nodes[2]);
        const auto to = row(element.nodes[3]);
        add_to(plus, from, value);
        add_to(plus, to, -value);
        add_to(minus, from, -value);
        add_to(minus, to, value);
        break;
      }
      case 'F': {
        const std::size_t j = branch(element.control);
        add_to(plus, j, value);
        add_to(minus, j, -value);
        break;
      }
      default: {  // V, E and H
        const std::size_t j = branch(element.name);
        add_to(plus, j, 1.0L);
        add_to(minus, j, -1.0L);
        add_to(j, plus, 1.0L);
        add_to(j, minus, -1.0L);
        if (element.kind == 'E') {
          add_to(j, row(element.nodes[2]), -value);
          add_to(j, row(element.nodes[3]), value);
        } else if (element.kind == 'H') {
          add_to(j, branch(element.control), -value);
        } else {
          a[j].back() += value;
        }
      }
    }
  }

  /// Gauss and Jordan with the largest pivots of the columns; false for one that is nothing.
  static bool solve(std::vector<std::vector<Wide>>& a) {
    const std::size_t n = a.size();
    for (std::size_t k = 0; k < n; ++k) {
      std::size_t best = k;
      for (std::size_t i = k + 1; i < n; ++i) {
        best = std::abs(a[i][k]) > std::abs(a[best][k]) ? i : best;
      }
      std::swap(a[k], a[best]);
      if (!(std::abs(a[k][k]) > 1e-12L)) {
        return false;
      }
      for (std::size_t i = 0; i < n; ++i) {
        const Wide factor = i == k ? Wide() : a[i][k] / a[k][k];
        for (std::size_t j = k; j <= n && factor != Wide(); ++j) {
          a[i][j] -= factor * a[k][j];
        }
      }
    }
    for (std::size_t k = 0; k < n; ++k) {
      a[k][n] /= a[k][k];
    }
    return true;
  }

  std::vector<Element> elements_;
  std::map<std::string, bool> names_;
  std::map<std::string, std::size_t> nodes_;
  std::map<std::string, std::size_t> branches_;
};

}  // namespace s_solver::fuzz
