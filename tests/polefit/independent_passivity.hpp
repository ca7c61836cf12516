/// How far a model is from passive, by sums over its poles and Jacobi rotations in long double: nothing of
/// what the library decides it with.
#pragma once

#include <complex>
#include <cstddef>
#include <vector>

#include "polefit/model.hpp"

namespace polefit::independent {

using Complex = std::complex<long double>;

/// By rows.
using Square = std::vector<Complex>;

/// H at s = j omega in rad/s, without the proportional terms; omega may be infinite.
Square value_at(const Model& model, long double omega);

/// The largest eigenvalue of a Hermitian matrix, by cyclic rotations (Jacobi, 1846).
long double largest_eigenvalue(Square a, std::size_t order);

/// The largest singular value of H (S), or minus the least eigenvalue of (H + H^H) / 2, in siemens or ohms
/// (Y, Z).
long double measure_at(const Model& model, long double omega);

struct Worst {
  double measure = 0.0;
  double omega = 0.0;  ///< in rad/s; may be infinite
};

/// The largest measure of 20,000 frequencies, half of them even up to 1.5 times the band and half spread over
/// twelve decades up to 1e6 times, of those about every pole, and of an infinite one, with the neighbourhood
/// of the largest. Infinite where a term proportional to s makes the model active: any of S, of Y and Z one
/// that is not symmetric to 1e-12 or has an eigenvalue below -1e-12 of the largest.
Worst worst_measure(const Model& model, double band_top);

}  // namespace polefit::independent
