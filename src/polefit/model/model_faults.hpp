/// What can be wrong with a model that a caller made: the one wording for evaluation, state space and files.
///
/// Each ..._fault returns a sentence for the user, or nothing when there is no fault. Parts of the model are
/// named as in the model file.
#pragma once

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <numeric>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "polefit/error.hpp"
#include "polefit/model.hpp"
#include "text/io_error.hpp"

namespace polefit {

/// Throws Error of that kind when there is a fault.
inline void refuse(ErrorKind kind, const std::optional<std::string>& fault) {
  if (fault) {
    throw Error(kind, *fault);
  }
}

inline std::string pole_text(std::size_t i) { return "poles[" + std::to_string(i) + "]"; }
inline std::string response_text(std::size_t r) { return "responses[" + std::to_string(r) + "]"; }
inline std::string residue_text(std::size_t r, std::size_t i) {
  return response_text(r) + ".residues[" + std::to_string(i) + "]";
}

/// Bytes of a response's name; a longer one would be no name, and no table could show it.
inline constexpr std::size_t longest_response_name = 1000;

inline constexpr std::string_view network_parameters = "SYZ";
inline constexpr const char* no_network_parameter = "network.parameter is none of S, Y and Z";

/// Two responses that are the same element of the matrix.
inline std::optional<std::string> repeated_element_fault(const std::vector<MatrixElement>& elements) {
  std::vector<std::size_t> order(elements.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  const auto key = [&](std::size_t r) { return std::tuple(elements[r].row, elements[r].column, r); };
  std::sort(order.begin(), order.end(), [&](std::size_t i, std::size_t k) { return key(i) < key(k); });
  const auto same = std::adjacent_find(
      order.begin(), order.end(), [&](std::size_t i, std::size_t k) { return elements[i] == elements[k]; });
  if (same == order.end()) {
    return std::nullopt;
  }
  return response_text(*(same + 1)) + " has the row and column of " + response_text(*same);
}

/// A matrix that is none, or into which the elements do not fit.
inline std::optional<std::string> matrix_fault(const NetworkMatrix& network) {
  if (network_parameters.find(network.parameter) == std::string_view::npos) {
    return no_network_parameter;
  }
  const std::size_t ports = network.references.size();
  if (ports == 0) {
    return "network.references has 0 elements, expected one a port";
  }
  for (std::size_t i = 0; i < ports; ++i) {
    if (!std::isfinite(network.references[i]) || !(network.references[i] > 0.0)) {
      return "network.references[" + std::to_string(i) + "] is not a finite number above 0";
    }
  }
  if (!network.modes.empty()) {
    if (auto fault = modes_fault(network.modes, ports)) {
      return "network.modes are no modes of it: " + *fault;
    }
  }
  for (std::size_t r = 0; r < network.elements.size(); ++r) {
    const auto [row, column] = network.elements[r];
    for (const auto& [name, port] : {std::pair("row", row), std::pair("column", column)}) {
      if (port < 1 || port > ports) {
        return response_text(r) + "." + name + " is " + std::to_string(port) + ", expected 1 to " +
               std::to_string(ports);
      }
    }
  }
  return repeated_element_fault(network.elements);
}

/// Two responses of one name.
inline std::optional<std::string> repeated_name_fault(std::span<const std::string> names) {
  std::vector<std::size_t> order(names.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t i, std::size_t k) { return names[i] < names[k]; });
  const auto same = std::adjacent_find(order.begin(), order.end(),
                                       [&](std::size_t i, std::size_t k) { return names[i] == names[k]; });
  if (same == order.end()) {
    return std::nullopt;
  }
  return response_text(*(same + 1)) + ".name is " + text::excerpt(names[*same]) + " as that of " +
         response_text(*same) + " is, expected a name of its own";
}

/// The same of a model, or a name that is that of another element of its matrix. That of a single port is
/// what it was declared to be, whatever its name was before.
inline std::optional<std::string> name_fault(const Model& model) {
  const std::size_t ports = model.network ? model.network->ports() : 0;
  for (std::size_t r = 0; ports > 1 && r < model.names.size(); ++r) {
    const std::optional<NamedElement> named = named_element(model.names[r]);
    const NamedElement expected{.parameter = model.network->parameter, .element = model.network->elements[r]};
    if (named && !(named->parameter == expected.parameter && named->element == expected.element)) {
      return response_text(r) + ".name is " + text::excerpt(model.names[r]) + ", expected " +
             text::excerpt(element_name(expected.parameter, expected.element, ports)) + ", which is row " +
             std::to_string(expected.element.row) + " and column " + std::to_string(expected.element.column);
    }
  }
  return repeated_name_fault(model.names);
}

/// Arrays whose sizes do not fit together, or responses that are no elements of the matrix. The other
/// functions want a model without this fault.
inline std::optional<std::string> shape_fault(const Model& model) {
  const std::size_t responses = model.responses();
  const auto fault = [](const std::string& what, std::size_t found, std::size_t expected) {
    return "the model has " + std::to_string(found) + " " + what + ", expected " + std::to_string(expected);
  };
  if (model.residues.size() != responses * model.poles.size()) {
    return fault("residues", model.residues.size(), responses * model.poles.size());
  }
  if (model.proportionals.size() != responses) {
    return fault("proportional terms", model.proportionals.size(), responses);
  }
  if (!model.names.empty() && model.names.size() != responses) {
    return fault("names", model.names.size(), responses);
  }
  if (model.network && model.network->elements.size() != responses) {
    return fault("matrix elements", model.network->elements.size(), responses);
  }
  if (model.origin && model.origin->errors.size() != responses) {
    return fault("errors", model.origin->errors.size(), responses);
  }
  return model.network ? matrix_fault(*model.network) : std::nullopt;
}

/// A band or an error that data cannot have.
inline std::optional<std::string> origin_fault(const Origin& origin) {
  const auto fault = [](const std::string& what) { return what + " is not a finite number of at least 0"; };
  const auto possible = [](double x) { return std::isfinite(x) && x >= 0.0; };
  if (!possible(origin.lowest)) {
    return fault("origin.lowest");
  }
  if (!possible(origin.highest)) {
    return fault("origin.highest");
  }
  if (origin.highest < origin.lowest) {
    return "origin.highest is below origin.lowest";
  }
  for (std::size_t r = 0; r < origin.errors.size(); ++r) {
    const ResponseError& error = origin.errors[r];
    for (const auto& [name, value] : {std::pair("rms", error.rms), std::pair("relative", error.relative),
                                      std::pair("largest", error.largest)}) {
      if (!possible(value)) {
        return fault(response_text(r) + ".error." + name);
      }
    }
  }
  return std::nullopt;
}

/// A name that is longer than tables can show.
inline std::optional<std::string> long_name_fault(const Model& model) {
  for (std::size_t r = 0; r < model.names.size(); ++r) {
    if (model.names[r].size() > longest_response_name) {
      return response_text(r) + ".name has " + std::to_string(model.names[r].size()) +
             " bytes, expected at most " + std::to_string(longest_response_name);
    }
  }
  return std::nullopt;
}

/// A number that is infinite or none, or below 0 where it cannot be.
inline std::optional<std::string> number_fault(const Model& model) {
  const auto finite = [](std::complex<double> z) {
    return std::isfinite(z.real()) && std::isfinite(z.imag());
  };
  const std::size_t order = model.poles.size();
  for (std::size_t i = 0; i < order; ++i) {
    if (!finite(model.poles[i])) {
      return pole_text(i) + " is not a finite number";
    }
  }
  for (std::size_t r = 0; r < model.responses(); ++r) {
    if (!std::isfinite(model.constants[r])) {
      return response_text(r) + ".constant is not a finite number";
    }
    if (!std::isfinite(model.proportionals[r])) {
      return response_text(r) + ".proportional is not a finite number";
    }
    for (std::size_t i = 0; i < order; ++i) {
      if (!finite(model.residues_of(r)[i])) {
        return residue_text(r, i) + " is not a finite number";
      }
    }
  }
  return model.origin ? origin_fault(*model.origin) : std::nullopt;
}

/// Poles or residues that are not real or side by side with their exact conjugates.
inline std::optional<std::string> pair_fault(const Model& model) {
  const std::size_t order = model.poles.size();
  for (std::size_t i = 0; i < order;) {
    const bool real = model.poles[i].imag() == 0.0;
    if (!real && !(model.poles[i].imag() > 0.0)) {
      return pole_text(i) + " leads a pair without a positive imaginary part";
    }
    if (!real && (i + 1 == order || model.poles[i + 1] != std::conj(model.poles[i]))) {
      return pole_text(i) + " is complex and not followed by its exact conjugate";
    }
    for (std::size_t r = 0; r < model.responses(); ++r) {
      const auto residues = model.residues_of(r);
      if (real && residues[i].imag() != 0.0) {
        return residue_text(r, i) + " is not real, as the residue of a real pole is";
      }
      if (!real && residues[i + 1] != std::conj(residues[i])) {
        return residue_text(r, i + 1) + " is not the exact conjugate of the one before it, as its pole is";
      }
    }
    i += real ? 1 : 2;
  }
  return std::nullopt;
}

/// A certificate with numbers that none has, or of what is not judged.
inline std::optional<std::string> certificate_fault(const Model& model) {
  if (!model.passivity) {
    return std::nullopt;
  }
  const CertifiedPassivity& certified = *model.passivity;
  if (!(std::isfinite(certified.tolerance) && certified.tolerance >= 0.0)) {
    return "passivity.tolerance is not a finite number of at least 0";
  }
  if (!std::isfinite(certified.extreme)) {
    return "passivity.extreme is not a finite number";
  }
  if (!(certified.frequency >= 0.0)) {
    return "passivity.frequency is not a number of at least 0";
  }
  const auto lack = incompleteness(model.network);
  return lack ? std::optional("passivity is that of a whole matrix, the model has " + *lack) : std::nullopt;
}

/// Throws Error (bad_shape) where S refers to port impedances that vary with frequency; `lack` says what that
/// means for the caller.
inline void refuse_varying_references(const Model& model, const std::string& lack) {
  if (model.network && model.network->parameter == 'S' && model.network->references_vary) {
    throw Error(ErrorKind::bad_shape, "S refers to port impedances that vary with frequency, " + lack);
  }
}

/// Where each element of the whole matrix is. Throws Error (bad_shape) unless the responses are that matrix.
inline WholeMatrix matrix_of(const Model& model) {
  std::optional<WholeMatrix> matrix = whole_matrix(model.network);
  if (!matrix) {
    throw Error(ErrorKind::bad_shape, "the model has " + *incompleteness(model.network));
  }
  return *std::move(matrix);
}

}  // namespace polefit
