#include "polefit_io/network/conversion.hpp"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

#include "polefit/conversion.hpp"
#include "polefit/error.hpp"
#include "polefit/model/port_parameters.hpp"
#include "text/counted.hpp"
#include "text/decimal.hpp"

namespace polefit_io {

using Complex = std::complex<double>;
using polefit::Error;
using polefit::ErrorKind;
using polefit::Network;

ImpedancesAt impedances_of(const Network& network) {
  if (network.matrix->references_vary && !network.impedances.empty()) {
    return [&network](std::size_t sample, std::vector<Complex>& impedances) {
      const std::size_t samples = network.frequencies.size();
      for (std::size_t i = 0; i < impedances.size(); ++i) {
        impedances[i] = network.impedances[i * samples + sample];
      }
    };
  }
  return [references = network.matrix->references](std::size_t, std::vector<Complex>& impedances) {
    std::copy(references.begin(), references.end(), impedances.begin());
  };
}

std::optional<std::string> convert_values(Network& network, char from, char to,
                                          const ImpedancesAt& from_impedances,
                                          const ImpedancesAt& to_impedances) {
  const std::size_t ports = network.matrix->ports();
  const std::size_t samples = network.frequencies.size();
  polefit::PortParameters parameters(from, to, ports);
  std::vector<Complex> matrix(ports * ports);
  std::vector<Complex> before(ports);
  std::vector<Complex> behind(ports);
  for (std::size_t k = 0; k < samples; ++k) {
    from_impedances(k, before);
    to_impedances(k, behind);
    for (std::size_t r = 0; r < matrix.size(); ++r) {
      matrix[r] = network.values[r * samples + k];
    }
    if (!parameters.convert(matrix.data(), before.data(), behind.data())) {
      return "no " + std::string(1, to) + " parameters at " + text::shortest(network.frequencies[k]) +
             " Hz, where the matrix to be inverted for them is singular";
    }
    for (std::size_t r = 0; r < matrix.size(); ++r) {
      network.values[r * samples + k] = matrix[r];
    }
  }
  return std::nullopt;
}

void rename(Network& network, char parameter) {
  network.matrix->parameter = parameter;
  for (std::size_t r = 0; r < network.names.size(); ++r) {
    network.names[r] = polefit::element_name(*network.matrix, network.matrix->elements[r]);
  }
}

namespace {

/// What `action` returns; an error comes out with the network's file in front.
template <class Action>
auto about(const Network& network, const Action& action) {
  try {
    return action();
  } catch (const Error& error) {
    throw Error(error.kind(), (network.file.empty() ? "the network" : network.file) + ": " + error.what());
  }
}

/// The network with its elements row by row.
Network in_order(const Network& network) {
  check(network);
  if (const auto lack = polefit::incompleteness(network.matrix)) {
    throw Error(ErrorKind::bad_shape, "the network has " + *lack);
  }
  if (network.matrix->elements == polefit::all_elements(network.matrix->ports())) {
    return network;
  }
  const polefit::WholeMatrix whole = *polefit::whole_matrix(network.matrix);
  const std::size_t ports = whole.ports();
  const std::size_t samples = network.frequencies.size();
  Network sorted = network;
  for (std::size_t r = 0; r < ports * ports; ++r) {
    const std::size_t response = whole.response(r / ports, r % ports);
    sorted.names[r] = network.names[response];
    const auto first = network.values.begin() + static_cast<std::ptrdiff_t>(response * samples);
    std::copy(first, first + static_cast<std::ptrdiff_t>(samples),
              sorted.values.begin() + static_cast<std::ptrdiff_t>(r * samples));
  }
  sorted.matrix->elements = polefit::all_elements(ports);
  return sorted;
}

/// Refuses S of which nobody knows the impedances.
void check_impedances(const Network& network) {
  if (network.matrix->parameter == 'S' && network.matrix->references_vary && network.impedances.empty()) {
    throw Error(
        ErrorKind::bad_option,
        "found S that refers to impedances which vary with frequency and are not told, expected constant "
        "reference resistances");
  }
}

void convert(Network& network, char to, const ImpedancesAt& from_impedances,
             const ImpedancesAt& to_impedances) {
  const char from = network.matrix->parameter;
  if (const auto fault = convert_values(network, from, to, from_impedances, to_impedances)) {
    throw Error(ErrorKind::numerical_breakdown, "found " + *fault + ", expected " + std::string(1, from) +
                                                    " parameters of a network that has them");
  }
}

ImpedancesAt constant(const std::vector<double>& references) {
  return [references](std::size_t, std::vector<Complex>& impedances) {
    std::copy(references.begin(), references.end(), impedances.begin());
  };
}

}  // namespace
}  // namespace polefit_io

namespace polefit {

using polefit_io::impedances_of;

Network converted(const Network& network, char parameter) {
  return polefit_io::about(network, [&] {
    if (parameter != 'S' && parameter != 'Y' && parameter != 'Z') {
      throw Error(ErrorKind::bad_option, "the parameter of a network is S, Y or Z");
    }
    Network result = polefit_io::in_order(network);
    if (result.matrix->parameter == parameter) {
      return result;
    }
    polefit_io::check_impedances(network);
    polefit_io::convert(result, parameter, impedances_of(network),
                        polefit_io::constant(network.matrix->references));
    result.matrix->references_vary = false;
    result.impedances.clear();
    polefit_io::rename(result, parameter);
    return result;
  });
}

Network renormalised(const Network& network, std::span<const double> references) {
  return polefit_io::about(network, [&] {
    Network result = polefit_io::in_order(network);
    const std::size_t ports = result.matrix->ports();
    if (references.size() != 1 && references.size() != ports) {
      throw Error(ErrorKind::bad_option, "found " + text::counted(references.size(), "reference resistance") +
                                             ", expected one, or one for each of " +
                                             text::counted(ports, "port"));
    }
    if (!std::all_of(references.begin(), references.end(),
                     [](double r) { return r > 0.0 && std::isfinite(r); })) {
      throw Error(ErrorKind::bad_option, "a reference resistance is not a positive number");
    }
    polefit_io::check_impedances(network);
    std::vector<double> wanted(references.begin(), references.end());
    wanted.resize(ports, references.front());
    const bool same = wanted == result.matrix->references && !result.matrix->references_vary;
    if (result.matrix->parameter == 'S' && !same) {
      polefit_io::convert(result, 'S', impedances_of(network), polefit_io::constant(wanted));
    }
    result.matrix->references = std::move(wanted);
    result.matrix->references_vary = false;
    result.impedances.clear();
    return result;
  });
}

Network hybrid(const Network& network, char parameter) {
  return polefit_io::about(network, [&] {
    if (parameter != 'H' && parameter != 'G') {
      throw Error(ErrorKind::bad_option, "hybrid parameters are H or G");
    }
    Network result = polefit_io::in_order(network);
    if (result.matrix->ports() != 2) {
      throw Error(ErrorKind::bad_shape, "found " + text::counted(result.matrix->ports(), "port") +
                                            ", expected the two of " + parameter + " parameters");
    }
    if (!result.matrix->modes.empty()) {
      throw Error(ErrorKind::bad_shape, "found mixed modes, expected two single ports of hybrid parameters");
    }
    polefit_io::check_impedances(network);
    polefit_io::convert(result, parameter, impedances_of(network),
                        polefit_io::constant(network.matrix->references));
    polefit_io::rename(result, parameter);
    result.matrix.reset();
    result.impedances.clear();
    return result;
  });
}

}  // namespace polefit
