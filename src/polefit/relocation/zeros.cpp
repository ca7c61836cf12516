#include "polefit/relocation/zeros.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <optional>
#include <utility>

#include "numerics/eigenvalues.hpp"
#include "numerics/matrix.hpp"
#include "polefit/error.hpp"

namespace polefit {
namespace {

using Complex = std::complex<double>;

/// Poles in units of the problem move off the axis by this part of their size, or of 1.
constexpr double least_damping = 1e-15;
/// A sigma without constant has zeros at infinity: it is kept away from that.
constexpr double least_constant = 1e-8;
/// A pole that the data do not need may go farther with every relocation; from here on it is a constant over
/// the band.
constexpr double farthest = 1e10;

/// A - b c^T / d for the state space of the poles: blocks [a] with b = 1, [a', a''; -a'', a'] with b = [2,
/// 0].
numerics::Matrix closed_loop(const std::vector<double>& unknowns, double constant, const Poles& poles) {
  const std::size_t n = poles.size();
  numerics::Matrix state(n, n);
  for_each_group(
      poles,
      [&](std::size_t i) {
        state(i, i) = poles[i].real();
        for (std::size_t j = 0; j < n; ++j) {
          state(i, j) -= unknowns[j] / constant;
        }
      },
      [&](std::size_t i) {
        state(i, i) = state(i + 1, i + 1) = poles[i].real();
        state(i, i + 1) = poles[i].imag();
        state(i + 1, i) = -poles[i].imag();
        for (std::size_t j = 0; j < n; ++j) {
          state(i, j) -= 2.0 * unknowns[j] / constant;
        }
      });
  return state;
}

double damping_of(Complex pole) {
  return std::max(std::abs(pole.real()), least_damping * std::max(1.0, std::abs(pole)));
}

/// Of poles that may be on either side none stays on the axis, where it may be that of a sample.
void move_off_the_axis(Poles& poles) {
  for (Complex& pole : poles) {
    pole.real(std::copysign(damping_of(pole), pole.real()));
  }
}

}  // namespace

void move_left(Poles& poles) {
  for (Complex& pole : poles) {
    pole.real(-damping_of(pole));
  }
}

Poles zeros_of(const std::vector<double>& unknowns, const Poles& poles, bool stable) {
  double constant = unknowns[poles.size()];
  if (!(std::abs(constant) > least_constant)) {
    constant = constant < 0.0 ? -least_constant : least_constant;
  }
  const numerics::Matrix state = closed_loop(unknowns, constant, poles);
  if (!std::all_of(state.elements.begin(), state.elements.end(), [](double x) { return std::isfinite(x); })) {
    throw Error(ErrorKind::numerical_breakdown, "the relocation of the poles overflowed");
  }
  std::optional<Poles> found = numerics::eigenvalues(state);
  if (!found) {
    throw Error(ErrorKind::numerical_breakdown, "the routine for eigenvalues did not deliver");
  }
  Poles zeros = *std::move(found);
  for (Complex& zero : zeros) {
    if (std::abs(zero) > farthest) {
      zero *= farthest / std::abs(zero);
    }
  }
  if (stable) {
    move_left(zeros);
  } else {
    move_off_the_axis(zeros);
  }
  return zeros;
}

}  // namespace polefit
