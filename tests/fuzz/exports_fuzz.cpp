/// Any model is written for other programs, or refused; what is written says what the model is.

#include <algorithm>
#include <cmath>
#include <complex>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "fuzz/fuzz.hpp"
#include "fuzz/models.hpp"
#include "fuzz/netlist.hpp"
#include "numerics/angular_frequency.hpp"
#include "polefit/error.hpp"
#include "polefit/exports.hpp"
#include "polefit/network.hpp"
#include "text/number_text.hpp"
#include "text/plain_text.hpp"
#include "text/text_lines.hpp"

namespace {

using polefit::ErrorKind;
using polefit::Model;
using polefit::Network;
using s_solver::fuzz::Bytes;
using s_solver::fuzz::check;
using s_solver::fuzz::same_number;
using Wide = std::complex<long double>;

bool same_number(std::complex<double> a, std::complex<double> b) {
  return same_number(a.real(), b.real()) && same_number(a.imag(), b.imag());
}

/// The text, or nothing where it is refused for one of these reasons.
std::optional<std::string> written(const std::function<std::string()>& write,
                                   std::initializer_list<ErrorKind> reasons) {
  try {
    return write();
  } catch (const polefit::Error& error) {
    check(std::find(reasons.begin(), reasons.end(), error.kind()) != reasons.end(),
          "a refusal is of a kind that is told");
    check(std::string(error.what()).size() > 10, "a refusal says why");
    return std::nullopt;
  }
}

/// The words of each line.
std::vector<std::vector<std::string>> words_of(const std::string& text) {
  std::vector<std::vector<std::string>> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    std::istringstream words(line);
    lines.emplace_back();
    for (std::string word; words >> word;) {
      lines.back().push_back(word);
    }
  }
  return lines;
}

double number_in(const std::string& word) {
  double value = 0.0;
  check(text::parse_real(word, value), "a number is one");
  return value;
}

/// The matrix elements that a text of a state space has in that order, behind the names and sizes expected.
void check_state_space(const std::string& text, const polefit::StateSpace& space) {
  auto lines = words_of(text);
  std::erase_if(lines, [](const std::vector<std::string>& line) { return line.at(0) == "%"; });
  std::size_t at = 0;
  const auto check_matrix = [&](const char* name, std::size_t rows, std::size_t columns,
                                const std::vector<double>& elements) {
    check(at < lines.size() && lines[at] == std::vector<std::string>{"#", name, std::to_string(rows), "x",
                                                                     std::to_string(columns)},
          "a matrix has its name and its sizes");
    ++at;
    for (std::size_t i = 0; columns > 0 && i < rows; ++i, ++at) {
      check(at < lines.size() && lines[at].size() == columns, "a row has its elements");
      for (std::size_t j = 0; j < columns; ++j) {
        check(number_in(lines[at][j]) == elements[i + j * rows], "an element keeps its bits");
      }
    }
  };
  check_matrix("A", space.order, space.order, space.a);
  check_matrix("B", space.order, space.inputs, space.b);
  check_matrix("C", space.outputs, space.order, space.c);
  check_matrix("D", space.outputs, space.inputs, space.d);
  check_matrix("E", space.outputs, space.inputs, space.e);
  check(at == lines.size(), "there is nothing else");
}

/// The records of S_Solver's file: each number is the model's on the normalised axis.
void check_coefficients(const std::string& text, const Model& model, std::size_t r, double highest) {
  const auto lines = words_of(text);
  const std::size_t order = model.poles.size();
  check(lines.size() == order + 8, "there is a record a pole and eight more");
  const double wnorm = numerics::two_pi * highest;
  check(lines[1].at(0) == std::to_string(order) && number_in(lines[2].at(0)) == wnorm &&
            number_in(lines[3].at(0)) == model.constants[r] &&
            number_in(lines[4].at(0)) == wnorm * model.proportionals[r],
        "the first records are those of the model");
  for (std::size_t i = 0; i < order; ++i) {
    const std::complex<double> pole = model.poles[i];
    const std::complex<double> residue = model.residues_of(r)[i];
    check(lines[6 + i].size() == 4 && number_in(lines[6 + i][0]) == pole.real() / wnorm &&
              number_in(lines[6 + i][1]) == pole.imag() / wnorm &&
              number_in(lines[6 + i][2]) == residue.real() / wnorm &&
              number_in(lines[6 + i][3]) == residue.imag() / wnorm,
          "a pole and its residue are those of the model");
  }
}

/// The largest modulus of a pole's residues.
long double largest_residue(const Model& model, std::size_t pole) {
  double largest = 0.0;
  for (std::size_t r = 0; r < model.responses(); ++r) {
    largest = std::max(largest, std::abs(model.residues_of(r)[pole]));
  }
  return largest;
}

/// What a port's voltage and current make of the model's matrix in a circuit. Elements have 17 digits: what
/// voltages, currents and the sums of the model amount to may be off by some eps for each of a few dozen
/// elements, times what the distance from a pole magnifies them by. Factors of residues may be off by 16 eps
/// times the ports, of which there are at most three, and the largest residue of the pole.
void check_circuit(const s_solver::fuzz::Netlist& circuit, const Model& model, double omega) {
  const std::vector<double>& references = model.network->references;
  const std::size_t ports = references.size();
  long double magnified = 1.0L;
  for (const std::complex<double> pole : model.poles) {
    const long double distance = std::hypot(static_cast<long double>(pole.real()), omega - pole.imag());
    const long double other = std::hypot(static_cast<long double>(pole.real()), omega + pole.imag());
    magnified = std::max(magnified, std::abs(Wide(pole.real(), pole.imag())) / std::min(distance, other));
    magnified = std::max(magnified, omega / std::min(distance, other));
  }
  if (!(magnified < 1e4L)) {
    return;
  }
  for (std::size_t driven = 0; driven < ports; ++driven) {
    std::vector<long double> currents(ports);
    currents[driven] = 1.0L;
    const auto voltages = circuit.voltages(Wide(0.0L, omega), references, currents);
    if (!voltages) {
      continue;
    }
    for (std::size_t i = 0; i < ports; ++i) {
      const auto flows = [&](std::size_t k) {
        return Wide(currents[k]) - (*voltages)[k] / static_cast<long double>(references[k]);
      };
      // What stands on the left of b = S a, i = Y u and u = Z i.
      const char parameter = model.network->parameter;
      const auto wave = [&](std::size_t k, long double sign) {
        const auto resistance = static_cast<long double>(references[k]);
        return ((*voltages)[k] + sign * resistance * flows(k)) / (2.0L * std::sqrt(resistance));
      };
      Wide expected;
      long double amounts = 0.0L;
      for (std::size_t j = 0; j < ports; ++j) {
        const std::size_t r = i * ports + j;
        Wide element(model.constants[r], static_cast<long double>(model.proportionals[r]) * omega);
        long double amount = std::abs(element);
        for (std::size_t n = 0; n < model.poles.size(); ++n) {
          const std::complex<double> c = model.residues_of(r)[n];
          const Wide distance(-model.poles[n].real(), omega - model.poles[n].imag());
          element += Wide(c.real(), c.imag()) / distance;
          amount += largest_residue(model, n) / std::abs(distance);
        }
        const Wide input = parameter == 'S' ? wave(j, 1.0L) : parameter == 'Y' ? (*voltages)[j] : flows(j);
        expected += element * input;
        const auto resistance = static_cast<long double>(references[j]);
        amounts += amount * std::abs(input) + std::abs((*voltages)[j]) +
                   resistance * (std::abs(flows(j)) + currents[j]);
      }
      const Wide output = parameter == 'S' ? wave(i, -1.0L) : parameter == 'Y' ? flows(i) : (*voltages)[i];
      constexpr long double eps = 0x1p-52L;
      // Currents and waves are smaller than voltages by that of their port.
      const long double unit = 1.0L + 1.0L / static_cast<long double>(references[i]);
      check(std::abs(output - expected) <= 100.0L * eps * magnified * unit * amounts,
            "a circuit is the matrix of the model");
    }
  }
}

/// Samples come back to the bit from texts of the two kinds that hold networks.
void check_networks(const Model& model, const std::vector<double>& frequencies) {
  Network network;
  try {
    network = polefit::sampled(model, frequencies, "model");
  } catch (const polefit::Error& error) {
    check(error.kind() == ErrorKind::bad_option, "values that are not finite are refused");
    return;
  }
  std::vector<std::string> expected_names;
  for (const std::string& name : network.names) {
    const std::string shown = text::printable(name);
    expected_names.emplace_back(text::without_blanks(shown));
  }
  const auto check_same = [&](const Network& back) {
    check(back.names == expected_names, "names come back, but for what a terminal would obey");
    check(std::equal(back.frequencies.begin(), back.frequencies.end(), network.frequencies.begin(),
                     network.frequencies.end(), [](double a, double b) { return same_number(a, b); }),
          "frequencies come back to the bit");
    check(std::equal(back.values.begin(), back.values.end(), network.values.begin(), network.values.end(),
                     [](std::complex<double> a, std::complex<double> b) { return same_number(a, b); }),
          "values come back to the bit");
  };
  const auto table = written([&] { return polefit::csv_text(network); }, {ErrorKind::bad_network_file});
  if (table) {
    check_same(polefit::network_from_text(*table, "table.csv"));
  }
  for (const int version : {1, 2}) {
    for (const polefit::FrequencyUnit unit : {polefit::FrequencyUnit::hz, polefit::FrequencyUnit::ghz}) {
      const auto text =
          written([&] { return polefit::touchstone_text(network, {.unit = unit, .version = version}); },
                  {ErrorKind::bad_network_file});
      if (text) {
        check(model.network.has_value(), "what is no matrix is refused");
        const std::string extension = ".s" + std::to_string(model.network->ports()) + "p";
        Network back = polefit::network_from_text(*text, "file" + extension);
        check(back.matrix->parameter == network.matrix->parameter, "the parameter comes back");
        back.names = expected_names;  // Touchstone has none
        check_same(back);
      }
    }
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Bytes bytes(data, size);
  const int choices = bytes.take<std::uint8_t>();
  const bool any = (choices & 1) != 0;
  Model model = s_solver::fuzz::model_of(bytes, {.any = any,
                                                 .whole = (choices & 2) == 0,
                                                 .ports = static_cast<std::size_t>(1 + bytes.take_up_to(2)),
                                                 .most_poles = 4,
                                                 .proportional = (choices & 4) != 0});
  if ((choices & 8) != 0) {
    for (std::size_t r = 0; r < model.responses(); ++r) {
      model.names.push_back(s_solver::fuzz::text_of(bytes, 6));
    }
  }
  const bool with_origin = (choices & 16) != 0;
  const double highest = std::abs(s_solver::fuzz::finite_number(bytes, any));
  if (with_origin) {
    model.origin = {.lowest = 0.0,
                    .highest = highest,
                    .samples = 7,
                    .errors = std::vector<polefit::ResponseError>(model.responses())};
  }
  try {
    polefit::check(model);
  } catch (const polefit::Error& error) {
    check(error.kind() == ErrorKind::bad_shape && !model.names.empty(), "only names can be at fault");
    return 0;
  }

  const std::size_t ports = model.network ? model.network->ports() : 0;
  const auto netlist =
      written([&] { return polefit::spice_subcircuit(model, "model_1"); }, {ErrorKind::bad_shape});
  if (netlist) {
    check(ports > 0, "a circuit has ports");
    const s_solver::fuzz::Netlist circuit(*netlist, "model_1", ports);
    if (!any) {
      check_circuit(circuit, model, std::abs(s_solver::fuzz::finite_number(bytes, false)) + 0.01);
    }
  }
  check(netlist.has_value() || ports == 0 || any, "a matrix of plain numbers has a circuit");

  const auto space = written([&] { return polefit::state_space_text(model); }, {ErrorKind::bad_shape});
  check(space.has_value(), "a model without faults is written");
  check_state_space(*space, ports > 0 ? polefit::port_state_space(model) : polefit::state_space(model));

  const std::size_t r = static_cast<std::size_t>(bytes.take_up_to(9));
  const auto coefficients = written(
      [&] {
        return polefit::s_solver_coefficients(model, r, with_origin ? std::nullopt : std::optional(highest));
      },
      {ErrorKind::bad_option});
  if (coefficients) {
    check_coefficients(*coefficients, model, r, highest);
  } else {
    check(any || r >= model.responses() || highest == 0.0, "a response of plain numbers has coefficients");
  }

  std::vector<double> frequencies;
  for (int count = 1 + bytes.take_up_to(3); count > 0; --count) {
    frequencies.push_back(std::abs(s_solver::fuzz::finite_number(bytes, any)));
  }
  check_networks(model, frequencies);
  return 0;
}
