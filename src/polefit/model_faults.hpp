/// What can be wrong with a model that a caller made: the one wording for evaluation, state space and files.
///
/// Each function returns a sentence for the user, or nothing when there is no fault. Parts of the model are
/// named as in the model file.
#pragma once

#include <cmath>
#include <complex>
#include <cstddef>
#include <optional>
#include <string>

#include "polefit/model.hpp"

namespace polefit {

/// Arrays whose sizes do not fit together. The other functions want a model without this fault.
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
  return std::nullopt;
}

inline std::string pole_text(std::size_t i) { return "poles[" + std::to_string(i) + "]"; }
inline std::string response_text(std::size_t r) { return "responses[" + std::to_string(r) + "]"; }
inline std::string residue_text(std::size_t r, std::size_t i) {
  return response_text(r) + ".residues[" + std::to_string(i) + "]";
}

/// A number that is infinite or none.
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
  return std::nullopt;
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

}  // namespace polefit
