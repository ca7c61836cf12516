#include "polefit/network_matrix.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <set>

#include "polefit/error.hpp"
#include "polefit/model/model_faults.hpp"
#include "text/counted.hpp"
#include "text/text_lines.hpp"

namespace polefit {
namespace {

/// A port's number without leading zeros; 0 for anything else.
std::size_t port_number(std::string_view digits) {
  std::size_t number = 0;
  for (const char c : digits) {
    if (c < '0' || c > '9' || (number == 0 && c == '0')) {
      return 0;
    }
    number = number * 10 + static_cast<std::size_t>(c - '0');
    if (number > most_named_ports) {
      return 0;
    }
  }
  return number;
}

/// S, Y or Z for either case, 0 for anything else.
char parameter_of(char letter) {
  constexpr std::string_view both_cases = "SYZsyz";
  const std::size_t at = both_cases.find(letter);
  return at == std::string_view::npos ? '\0' : both_cases[at % 3];
}

/// The number of a mode's pair, or single port, among those of a matrix in their order.
std::size_t number_of(const PortMode& mode, const std::vector<PortMode>& modes) {
  const auto pair = [](const PortMode& m) { return std::minmax(m.port, m.other); };
  std::set<std::pair<std::size_t, std::size_t>> before;
  for (const PortMode& other : modes) {
    if (pair(other) == pair(mode)) {
      break;
    }
    before.insert(pair(other));
  }
  return before.size() + 1;
}

/// A clause about the elements that are not there, the first few by name.
std::string missing_text(const NetworkMatrix& matrix) {
  constexpr std::size_t most_names = 8;
  const std::size_t ports = matrix.ports();
  std::set<std::pair<std::size_t, std::size_t>> present;
  for (const MatrixElement& element : matrix.elements) {
    present.emplace(element.row, element.column);
  }
  const std::size_t missing = ports * ports - present.size();
  std::string text = "not all elements of a matrix of " + text::counted(ports, "port") + "; ";
  std::size_t named = 0;
  for (std::size_t place = 0; named < missing; ++place) {
    const MatrixElement element{place / ports + 1, place % ports + 1};
    if (present.count({element.row, element.column}) != 0) {
      continue;
    }
    if (named == most_names) {
      return text + " and " + std::to_string(missing - named) + " more are missing";
    }
    text += (named == 0 ? "" : ", ") + element_name(matrix, element);
    ++named;
  }
  return text + (missing == 1 ? " is missing" : " are missing");
}

/// Whether as many elements are there as the matrix has; none of them stands twice.
bool has_all_elements(const NetworkMatrix& matrix) {
  const std::size_t ports = matrix.ports();
  return matrix.elements.size() / ports == ports && matrix.elements.size() % ports == 0;
}

}  // namespace

std::string element_name(char parameter, const MatrixElement& element, std::size_t ports) {
  const char* const between = ports < 10 ? "" : "_";
  return parameter + std::to_string(element.row) + between + std::to_string(element.column);
}

std::string mode_name(const PortMode& mode) {
  const std::string name = mode.kind + std::to_string(mode.port);
  return mode.kind == 'S' ? name : name + "," + std::to_string(mode.other);
}

std::optional<std::string> modes_fault(const std::vector<PortMode>& modes, std::size_t ports) {
  if (modes.size() != ports) {
    return text::counted(modes.size(), "mode") + (modes.size() == 1 ? " is" : " are") + " named for " +
           text::counted(ports, "port");
  }
  constexpr std::string_view kinds = "SDC";
  std::vector<std::array<std::size_t, kinds.size()>> partners(
      ports);  // of each port by kind; of a single one itself
  for (const PortMode& mode : modes) {
    const std::size_t kind = kinds.find(mode.kind);
    const bool single = kind == 0;
    if (kind == std::string_view::npos || single != (mode.other == 0) || mode.port == mode.other) {
      return mode_name(mode) + " is no mode";
    }
    const std::array ends{mode.port, single ? mode.port : mode.other};
    for (std::size_t i = 0; i < (single ? 1U : 2U); ++i) {
      const std::size_t port = ends.at(i);
      if (port < 1 || port > ports) {
        return mode_name(mode) + " names port " + std::to_string(port) + " of " + std::to_string(ports);
      }
      if (std::exchange(partners[port - 1].at(kind), ends.at(1 - i)) != 0) {
        return mode_name(mode) + " takes port " + std::to_string(port) + " a second time";
      }
    }
  }
  for (std::size_t i = 0; i < ports; ++i) {
    const auto& [single, differential, common] = partners[i];
    if ((single != 0) == (differential != 0) || differential != common) {
      return "port " + std::to_string(i + 1) + " is neither alone nor in one pair with D and C";
    }
  }
  return std::nullopt;
}

std::string element_name(const NetworkMatrix& matrix, const MatrixElement& element) {
  if (matrix.modes.empty()) {
    return element_name(matrix.parameter, element, matrix.ports());
  }
  const PortMode& row = matrix.modes[element.row - 1];
  const PortMode& column = matrix.modes[element.column - 1];
  const std::size_t first = number_of(row, matrix.modes);
  const std::size_t second = number_of(column, matrix.modes);
  const char* const between = matrix.ports() < 10 ? "" : "_";
  return std::string{matrix.parameter, row.kind, column.kind} + std::to_string(first) + between +
         std::to_string(second);
}

std::vector<MatrixElement> all_elements(std::size_t ports) {
  std::vector<MatrixElement> elements;
  for (std::size_t row = 1; row <= ports; ++row) {
    for (std::size_t column = 1; column <= ports; ++column) {
      elements.push_back({row, column});
    }
  }
  return elements;
}

std::optional<WholeMatrix> whole_matrix(const std::optional<NetworkMatrix>& matrix) {
  if (!matrix || matrix_fault(*matrix) || !has_all_elements(*matrix)) {
    return std::nullopt;
  }
  const std::size_t ports = matrix->ports();
  std::vector<std::size_t> responses(ports * ports);
  for (std::size_t r = 0; r < responses.size(); ++r) {
    responses[(matrix->elements[r].row - 1) * ports + matrix->elements[r].column - 1] = r;
  }
  return WholeMatrix(ports, std::move(responses));
}

std::optional<std::string> incompleteness(const std::optional<NetworkMatrix>& matrix) {
  if (!matrix) {
    return "no network matrix of which its responses are elements";
  }
  if (auto fault = matrix_fault(*matrix)) {
    return "a matrix in which " + *fault;
  }
  return has_all_elements(*matrix) ? std::nullopt : std::optional(missing_text(*matrix));
}

NetworkMatrix one_port(std::size_t responses, const std::optional<NetworkMatrix>& known, char parameter,
                       double reference) {
  if (network_parameters.find(parameter) == std::string_view::npos) {
    throw Error(ErrorKind::bad_option, "the parameter of a one-port is S, Y or Z");
  }
  if (!(reference > 0.0 && std::isfinite(reference))) {
    throw Error(ErrorKind::bad_option, "the reference resistance of a one-port is not a positive number");
  }
  if (responses != 1) {
    throw Error(ErrorKind::bad_shape,
                "found " + text::counted(responses, "response") + ", expected the single one of a one-port");
  }
  if (known && known->parameter != parameter) {
    throw Error(ErrorKind::bad_shape, "found " + std::string(1, known->parameter) + " parameters, expected " +
                                          parameter + " of a one-port");
  }
  return {parameter, {reference}, {{1, 1}}};
}

std::optional<NamedElement> named_element(std::string_view name) {
  if (name.size() < 3 || parameter_of(name.front()) == '\0') {
    return std::nullopt;
  }
  std::string_view indices = name.substr(1);
  std::size_t row_end = 1;
  std::size_t column_begin = 1;
  if (indices.size() > 2) {
    const bool bracketed = (indices.front() == '(' && indices.back() == ')') ||
                           (indices.front() == '[' && indices.back() == ']');
    if (bracketed) {
      indices = indices.substr(1, indices.size() - 2);
    }
    row_end = std::min(indices.size(), indices.find(bracketed ? ',' : '_'));
    column_begin = std::min(indices.size(), row_end + 1);
  }
  const std::size_t row = port_number(text::without_blanks(indices.substr(0, row_end)));
  const std::size_t column = port_number(text::without_blanks(indices.substr(column_begin)));
  if (row == 0 || column == 0) {
    return std::nullopt;
  }
  return NamedElement{.parameter = parameter_of(name.front()), .element = {.row = row, .column = column}};
}

}  // namespace polefit
