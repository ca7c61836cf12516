/// The states of a model over time: one a pole and driven port, x' = a x + u, all at rest at first.
///
///   P ports, D of them driven, S sections (real poles and pairs), L = S rounded up to whole registers
///
/// A section is one complex state; a pair gives 2 Re(c x), a real pole Re(c x).
#pragma once

#include <array>
#include <complex>
#include <cstddef>
#include <optional>
#include <span>
#include <vector>

#include "polefit/model.hpp"

namespace polefit {

/// What a step of one length makes of the states.
struct SectionWeights {
  double step = 0.0;                       ///< in seconds
  std::vector<double> decay_re, decay_im;  ///< L each
  std::vector<double> begin_re, begin_im;
  std::vector<double> end_re, end_im;
};

class PoleStates {
 public:
  /// For a model without faults, of a whole matrix; `driven` are ports, counted from 0.
  PoleStates(const Model& model, std::vector<std::size_t> driven);

  /// The ports that are driven.
  const std::vector<std::size_t>& driven() const { return driven_; }
  std::size_t ports() const { return ports_; }

  /// Takes steps of that length from now on. The weights of the last two lengths are kept.
  void set_step(double step);

  /// Takes so many steps. Input d goes through u[d * stride + k], k = 0 ... count, linear between these.
  /// After step k from 0 on the sum of residues times states is added to output p, y[p * output_stride + k].
  void advance(std::size_t count, const double* u, std::size_t stride, double* y, std::size_t output_stride);

  /// The first part of a step, with what its begin adds: u is that of each driven port.
  void leave(const double* u);
  /// The second part, what its end adds.
  void arrive(const double* u);
  /// y[p] += the sum of residues times states.
  void add_outputs(double* y) const;
  /// What `arrive` adds to output p by input d, for u = 1: element p + d * ports.
  std::vector<double> immediate() const;

 private:
  double* state(std::size_t d) { return states_.data() + d * 2 * length_; }
  const double* state(std::size_t d) const { return states_.data() + d * 2 * length_; }
  const double* weights(std::size_t p, std::size_t d) const {
    return residues_.data() + (p + d * ports_) * 2 * length_;
  }

  std::vector<std::size_t> driven_;
  std::size_t ports_ = 0;
  std::size_t length_ = 0;
  std::vector<std::complex<double>> poles_;  // one a section
  std::vector<double> states_;               // L real parts, L imaginary parts for each driven port
  std::vector<double> residues_;             // the same for each port and driven port, what gives outputs
  std::array<std::optional<SectionWeights>, 2> kept_;
  std::size_t current_ = 0;  // of kept_
};

}  // namespace polefit
