/// The fitted model: one set of poles, and residues, constant and proportional term for each response.
///
///   f_r(s) = d_r + s h_r + sum_i c_{r,i} / (s - a_i),   s = 2 pi j frequency
#pragma once

#include <complex>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "polefit/export.hpp"
#include "polefit/network_data.hpp"
#include "polefit/network_matrix.hpp"

namespace polefit {

/// The distance of a model from data.
struct ResponseError {
  double rms = 0.0;       ///< root mean square modulus of the difference
  double relative = 0.0;  ///< rms over the root mean square modulus of the data; over 1 for data of zeros
  double largest = 0.0;   ///< largest modulus of the difference
};

/// The data that a model was fitted to.
struct Origin {
  double lowest = 0.0;                ///< frequency in hertz
  double highest = 0.0;               ///< likewise
  std::size_t samples = 0;            ///< of each response
  std::vector<ResponseError> errors;  ///< one a response
  std::string finding = {};           ///< why a search for the order ended, in one line; empty without one
};

/// What whoever made a model found of its passivity (passivity.hpp): a record, which a change of the model
/// makes false.
struct CertifiedPassivity {
  bool passive = false;    ///< at every frequency, with the tolerance
  double tolerance = 0.0;  ///< as Passivity's
  double extreme =
      0.0;  ///< the largest singular value of S, the smallest eigenvalue of (H + H^H) / 2 of Y or Z
  double frequency = 0.0;  ///< in hertz, where that is; may be infinite
};

/// Poles that all responses share, and what each response makes of them.
struct Model {
  /// In rad/s. The members of a conjugate pair stand side by side, the one with positive imaginary part
  /// first, and are exact conjugates, as their residues are.
  std::vector<std::complex<double>> poles;
  std::vector<std::complex<double>> residues;           ///< of the first response, then of the second, ...
  std::vector<double> constants;                        ///< d, one a response
  std::vector<double> proportionals;                    ///< h in seconds, one a response
  std::vector<std::string> names;                       ///< one a response, no two the same, or none
  std::optional<NetworkMatrix> network = std::nullopt;  ///< when the responses are elements of one
  std::optional<Origin> origin = std::nullopt;          ///< set by a fit, unless an error overflows
  std::optional<CertifiedPassivity> passivity = std::nullopt;  ///< of a whole matrix that was certified

  /// The number of responses.
  std::size_t responses() const { return constants.size(); }
  /// One a pole, of the response with that number, counted from 0.
  std::span<const std::complex<double>> residues_of(std::size_t response) const {
    return std::span(residues).subspan(response * poles.size(), poles.size());
  }
};

/// Nothing for a model whose arrays fit together and whose responses are elements of its matrix, if it has
/// one. Throws Error (bad_shape) otherwise, as all functions here do.
POLEFIT_EXPORT void check_shape(const Model& model);

/// The same, and that poles and residues are real or have their exact conjugates beside them: the model is a
/// real system. Names are different, and none is that of another element of the matrix, as "S21" in row 1 and
/// column 2 of several ports would be. Throws Error (bad_shape) otherwise.
POLEFIT_EXPORT void check(const Model& model);

/// Values of every response at frequencies in hertz: those of the first response first. A pole on a point
/// makes a value that is not a number. Throws Error as check_shape.
POLEFIT_EXPORT std::vector<std::complex<double>> evaluate(const Model& model,
                                                          std::span<const double> frequencies);

/// One element a response. Weights are not used. Throws Error (bad_shape) as check_shape, and when model and
/// data have not as many responses.
POLEFIT_EXPORT std::vector<ResponseError> errors(const Model& model, const NetworkData& data);

/// Where a model is largest.
struct Gain {
  double largest = 0.0;      ///< modulus of a response
  double frequency = 0.0;    ///< in hertz, where it is; infinity where it is the constant's
  std::size_t response = 0;  ///< which one, counted from 0
};

/// The largest modulus of any response at any frequency, looked for at 0, about every resonance, between
/// neighbouring resonances, over three decades beyond them and at infinity, where terms proportional to s are
/// left out. Not a number where a value is none. Throws Error as check_shape.
POLEFIT_EXPORT Gain largest_gain(const Model& model);

/// A real state space x' = A x + B u, y = C x + D u + E u', all matrices column-major and without gaps.
struct StateSpace {
  std::size_t order = 0;    ///< states
  std::size_t inputs = 0;   ///< elements of u
  std::size_t outputs = 0;  ///< elements of y
  std::vector<double> a;    ///< order x order
  std::vector<double> b;    ///< order x inputs
  std::vector<double> c;    ///< outputs x order
  std::vector<double> d;    ///< outputs x inputs
  std::vector<double> e;    ///< outputs x inputs
};

/// With one input, and each response as an output. A is block diagonal, of the order of the poles: a real
/// pole a is the block [a], a pair a' +- j a'' the block [[a', a''], [-a'', a']]; B is 1 for a real pole, [2,
/// 0] for a pair. Throws Error as check.
POLEFIT_EXPORT StateSpace state_space(const Model& model);

/// The whole matrix of a network, whose ports are inputs and outputs: with N poles and P ports of order P N,
/// the states of the first port's input standing first; those of one input are as in state_space. Throws
/// Error as check, and (bad_shape) when the responses are not the whole matrix.
POLEFIT_EXPORT StateSpace port_state_space(const Model& model);

}  // namespace polefit
