/// Partial fractions 1 / (s - a) of one pole at many sample points.
///
/// Real and imaginary parts stand in arrays of their own, `count` values each, which a processor's vector
/// instructions want; no output may overlap anything else. Quotients are those of smith_quotient, to the bit,
/// whatever `unit`, the vector instructions to use.
#pragma once

#include <array>
#include <complex>
#include <cstddef>

#include "numerics/vector_unit.hpp"

namespace numerics {

/// Real and imaginary parts of a few consecutive samples, few enough to stay in the first-level cache with a
/// handful of columns.
struct SampleParts {
  static constexpr int most = 256;

  /// Takes `count` values apart, at most `most`.
  void take(int count, const std::complex<double>* values) {
    for (std::size_t k = 0; k < static_cast<std::size_t>(count); ++k) {
      re[k] = values[k].real();
      im[k] = values[k].imag();
    }
  }

  std::array<double, most> re;
  std::array<double, most> im;
};

/// re + j im = 1 / (s - a).
void fill_real_pole_column(std::complex<double> a, int count, const double* s_re, const double* s_im,
                           double* re, double* im, VectorUnit unit = widest_vector_unit());

/// With u = 1 / (s - leader) and v = 1 / (s - follower): the leader's column u + v, and the follower's
/// j u - j v.
void fill_pair_columns(std::complex<double> leader, std::complex<double> follower, int count,
                       const double* s_re, const double* s_im, double* leader_re, double* leader_im,
                       double* follower_re, double* follower_im, VectorUnit unit = widest_vector_unit());

/// re + j im = -f phi.
void fill_weighted_column(int count, const double* f_re, const double* f_im, const double* phi_re,
                          const double* phi_im, double* re, double* im,
                          VectorUnit unit = widest_vector_unit());

/// fit += c / (s - a).
void add_partial_fraction(std::complex<double> a, std::complex<double> c, int count, const double* s_re,
                          const double* s_im, double* fit_re, double* fit_im,
                          VectorUnit unit = widest_vector_unit());

}  // namespace numerics
