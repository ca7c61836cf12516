/// The real basis of a pole set: for a pair a, a* the functions u + v and j u - j v with u = 1 / (s - a) and
/// v = 1 / (s - a*), for a real pole 1 / (s - a). Real unknowns x, y of a pair stand for the residues x + jy
/// and x - jy.
///
/// Poles are a list in which a pair stands side by side, positive imaginary part first; a pole is real when
/// its imaginary part is exactly 0.
#pragma once

#include <complex>
#include <cstddef>
#include <vector>

namespace polefit {

using Poles = std::vector<std::complex<double>>;

inline bool is_real(std::complex<double> pole) { return pole.imag() == 0.0; }

/// Calls real(i) for each real pole and pair(i) for each first member of a pair, i its place in the list.
template <class Real, class Pair>
void for_each_group(const Poles& poles, const Real& real, const Pair& pair) {
  for (std::size_t i = 0; i < poles.size(); ++i) {
    if (is_real(poles[i])) {
      real(i);
    } else {
      pair(i++);
    }
  }
}

/// The basis functions of the poles at `count` points j omega: column i, `ld` values apart, has the real part
/// in its first `count` values and the imaginary part in the next. `zeros` holds `count` zeros.
void fill_basis(const Poles& poles, std::size_t count, const double* omega, const double* zeros,
                double* columns, std::size_t ld);

/// The residues that real unknowns stand for.
void residues_from_unknowns(const Poles& poles, const double* unknowns, std::complex<double>* residues);

}  // namespace polefit
