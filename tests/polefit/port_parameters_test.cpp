#include "polefit/model/port_parameters.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <vector>

#include "numerics.hpp"

namespace {

using polefit::PortParameters;
using testing_support::eps;
using Complex = std::complex<double>;
using Complexes = std::vector<Complex>;

TEST(PortParameters, power_waves_of_a_load_vanish_at_its_conjugate_impedance) {
  // S = (Z - conj(Z0)) / (Z + Z0).
  const Complex load(30.0, 40.0);
  const Complexes fifty{50.0};
  for (const Complex reference : {Complex(30.0, -40.0), Complex(30.0, 40.0), Complex(7.0, 90.0)}) {
    const Complexes impedance{reference};
    Complexes matrix{load};
    ASSERT_TRUE(PortParameters('Z', 'S', 1).convert(matrix.data(), fifty.data(), impedance.data()));
    const Complex expected = (load - std::conj(reference)) / (load + reference);
    EXPECT_NEAR(std::abs(matrix[0] - expected), 0.0, 20.0 * eps);  // of quotients of numbers of order 1
    ASSERT_TRUE(PortParameters('S', 'Z', 1).convert(matrix.data(), impedance.data(), fifty.data()));
    EXPECT_NEAR(std::abs(matrix[0] - load), 0.0, 100.0 * eps * 50.0);
  }
}

TEST(PortParameters, a_matrix_without_a_diagonal_is_inverted) {
  // A gyrator of 1/4 siemens.
  const Complexes one{1.0, 1.0};
  Complexes matrix{0.0, 0.25, -0.25, 0.0};
  ASSERT_TRUE(PortParameters('Y', 'Z', 2).convert(matrix.data(), one.data(), one.data()));
  EXPECT_EQ(matrix, (Complexes{0.0, -4.0, 4.0, 0.0}));
}

TEST(PortParameters, a_matrix_that_is_singular_to_rounding_has_no_inverse) {
  const Complexes one{1.0, 1.0};
  Complexes matrix{1.0, -1.0, -1.0, 1.0 + eps};
  EXPECT_FALSE(PortParameters('Y', 'Z', 2).convert(matrix.data(), one.data(), one.data()));
  matrix = {1.0, -1.0, -1.0, 1.0 + 1e-12};
  EXPECT_TRUE(PortParameters('Y', 'Z', 2).convert(matrix.data(), one.data(), one.data()));
}

TEST(PortParameters, hybrid_parameters_are_of_two_ports) {
  const Complexes one{1.0};
  Complexes matrix{0.5};
  EXPECT_FALSE(PortParameters('S', 'H', 1).convert(matrix.data(), one.data(), one.data()));
}

}  // namespace
