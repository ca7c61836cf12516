/// Models made of bytes, of any numbers or of few plain ones.
#pragma once

#include <cmath>
#include <complex>
#include <string>
#include <vector>

#include "fuzz/fuzz.hpp"
#include "polefit/model.hpp"

namespace s_solver::fuzz {

/// How a model is made.
struct ModelKind {
  bool any = false;          ///< doubles of any bits, or of a few sizes
  bool whole = true;         ///< a matrix with all its elements, else responses without one
  std::size_t ports = 1;     ///< or responses
  int most_poles = 4;        ///< real ones and pairs
  bool proportional = true;  ///< whether there may be terms proportional to s
};

inline double finite_number(Bytes& bytes, bool any) {
  constexpr double parts = 16.0;
  const double value = number(bytes, any, parts);
  return std::isfinite(value) ? value : 1.0;
}

/// A model without faults: its numbers are finite, its pairs exact conjugates. Poles may be anywhere.
inline polefit::Model model_of(Bytes& bytes, const ModelKind& kind) {
  polefit::Model model;
  const int groups = bytes.take_up_to(kind.most_poles);
  for (int i = 0; i < groups; ++i) {
    const double real = finite_number(bytes, kind.any);
    const double imaginary = std::abs(finite_number(bytes, kind.any));
    model.poles.emplace_back(real, imaginary);
    if (imaginary > 0.0) {
      model.poles.emplace_back(real, -imaginary);
    }
  }
  const std::size_t responses = kind.whole ? kind.ports * kind.ports : kind.ports;
  for (std::size_t r = 0; r < responses; ++r) {
    for (const std::complex<double> pole : model.poles) {
      if (pole.imag() < 0.0) {
        model.residues.push_back(std::conj(model.residues.back()));
        continue;
      }
      const double real = finite_number(bytes, kind.any);
      model.residues.emplace_back(real, pole.imag() == 0.0 ? 0.0 : finite_number(bytes, kind.any));
    }
    model.constants.push_back(finite_number(bytes, kind.any));
    model.proportionals.push_back(kind.proportional ? finite_number(bytes, kind.any) : 0.0);
  }
  if (kind.whole) {
    const char parameter = "SYZ"[bytes.take_up_to(2)];
    std::vector<double> references;
    for (std::size_t port = 0; port < kind.ports; ++port) {
      const double reference = std::abs(finite_number(bytes, kind.any));
      references.push_back(reference > 0.0 ? reference : 50.0);
    }
    model.network = polefit::NetworkMatrix{parameter, references, polefit::all_elements(kind.ports)};
  }
  return model;
}

/// A few bytes as a text.
inline std::string text_of(Bytes& bytes, int longest) {
  std::string text;
  for (int left = bytes.take_up_to(longest); left > 0; --left) {
    text += bytes.take<char>();
  }
  return text;
}

}  // namespace s_solver::fuzz
