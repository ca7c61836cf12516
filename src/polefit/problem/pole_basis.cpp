#include "polefit/problem/pole_basis.hpp"

#include "numerics/partial_fractions.hpp"

namespace polefit {

void fill_basis(const Poles& poles, std::size_t count, const double* omega, const double* zeros,
                double* columns, std::size_t ld) {
  const auto n = static_cast<int>(count);
  for_each_group(
      poles,
      [&](std::size_t i) {
        double* const column = columns + i * ld;
        numerics::fill_real_pole_column(poles[i], n, zeros, omega, column, column + count);
      },
      [&](std::size_t i) {
        double* const first = columns + i * ld;
        double* const second = first + ld;
        numerics::fill_pair_columns(poles[i], poles[i + 1], n, zeros, omega, first, first + count, second,
                                    second + count);
      });
}

void residues_from_unknowns(const Poles& poles, const double* unknowns, std::complex<double>* residues) {
  for_each_group(
      poles, [&](std::size_t i) { residues[i] = unknowns[i]; },
      [&](std::size_t i) {
        residues[i] = {unknowns[i], unknowns[i + 1]};
        residues[i + 1] = std::conj(residues[i]);
      });
}

}  // namespace polefit
