#include "polefit/model/residue_factors.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>

#include "numerics.hpp"
#include "numerics/angular_frequency.hpp"
#include "polefit/model/model_faults.hpp"
#include "polefit/passivity.hpp"

namespace polefit {
namespace {

using numerics::ComplexMatrix;
using testing_support::Complex;
using testing_support::RandomNumbers;

ComplexMatrix random_matrix(std::size_t rows, std::size_t columns, bool real, RandomNumbers& numbers) {
  ComplexMatrix result(rows, columns);
  for (std::size_t j = 0; j < columns; ++j) {
    for (std::size_t i = 0; i < rows; ++i) {
      const Complex value = numbers.complex();
      result.set(i, j, real ? Complex(value.real()) : value);
    }
  }
  return result;
}

ComplexMatrix product(const ComplexMatrix& a, const ComplexMatrix& b) {
  ComplexMatrix result(a.rows(), b.columns());
  for (std::size_t i = 0; i < a.rows(); ++i) {
    for (std::size_t j = 0; j < b.columns(); ++j) {
      Complex sum = 0.0;
      for (std::size_t k = 0; k < a.columns(); ++k) {
        sum += a(i, k) * b(k, j);
      }
      result.set(i, j, sum);
    }
  }
  return result;
}

ComplexMatrix transposed(const ComplexMatrix& a) {
  ComplexMatrix result(a.columns(), a.rows());
  for (std::size_t i = 0; i < a.rows(); ++i) {
    for (std::size_t j = 0; j < a.columns(); ++j) {
      result.set(j, i, a(i, j));
    }
  }
  return result;
}

/// a b, or exactly symmetric a S a^T with signs of either kind.
ComplexMatrix of_rank(std::size_t ports, std::size_t rank, bool symmetric, bool real,
                      RandomNumbers& numbers) {
  const ComplexMatrix a = random_matrix(ports, rank, real, numbers);
  ComplexMatrix b = symmetric ? transposed(a) : random_matrix(rank, ports, real, numbers);
  for (std::size_t j = 0; symmetric && rank > 1 && j < ports; ++j) {
    b.set(1, j, -b(1, j));
  }
  ComplexMatrix c = product(a, b);
  for (std::size_t i = 0; symmetric && i < ports; ++i) {
    for (std::size_t j = 0; j < i; ++j) {
      c.set(i, j, c(j, i));
    }
  }
  return c;
}

double largest(const ComplexMatrix& a) {
  double result = 0.0;
  for (std::size_t i = 0; i < a.rows(); ++i) {
    for (std::size_t j = 0; j < a.columns(); ++j) {
      result = std::max(result, std::abs(a(i, j)));
    }
  }
  return result;
}

double largest_difference(const ComplexMatrix& a, const ComplexMatrix& b) {
  double result = 0.0;
  for (std::size_t i = 0; i < a.rows(); ++i) {
    for (std::size_t j = 0; j < a.columns(); ++j) {
      result = std::max(result, std::abs(a(i, j) - b(i, j)));
    }
  }
  return result;
}

numerics::Matrix all(std::size_t ports, double value) {
  numerics::Matrix result(ports, ports);
  std::fill(result.elements.begin(), result.elements.end(), value);
  return result;
}

constexpr double eps = testing_support::eps;

TEST(ResidueFactors, a_matrix_of_low_rank_has_factors_of_that_rank) {
  RandomNumbers numbers(1);
  for (const std::size_t ports : {1U, 2U, 3U, 8U, 20U}) {
    for (const std::size_t rank : {1U, 2U, 5U}) {
      for (const int kind : {0, 1, 2, 3}) {
        const bool symmetric = kind % 2 == 1;
        const bool real = kind >= 2;
        if (rank > ports) {
          continue;
        }
        SCOPED_TRACE(std::to_string(ports) + ", " + std::to_string(rank) + ", " + std::to_string(kind));
        const ComplexMatrix c = of_rank(ports, rank, symmetric, real, numbers);
        const auto factors = residue_factors(c, all(ports, 0.0), ports);
        ASSERT_TRUE(factors);
        EXPECT_EQ(factors->left.columns(), rank);
        EXPECT_EQ(factors->right.rows(), rank);
        const double allowed = 16.0 * static_cast<double>(ports) * eps * largest(c);
        EXPECT_LE(largest_difference(product(factors->left, factors->right), c), allowed * (1.0 + 1e-3));
      }
    }
  }
}

TEST(ResidueFactors, those_of_a_real_matrix_are_real) {
  RandomNumbers numbers(2);
  for (const bool symmetric : {false, true}) {
    const auto factors = residue_factors(of_rank(6, 2, symmetric, true, numbers), all(6, 0.0), 6);
    ASSERT_TRUE(factors);
    for (const auto* part : {&factors->left.im, &factors->right.im}) {
      EXPECT_TRUE(
          std::all_of(part->elements.begin(), part->elements.end(), [](double x) { return x == 0.0; }));
    }
  }
}

TEST(ResidueFactors, those_of_a_symmetric_matrix_are_each_others_transposes_but_for_powers_of_two) {
  RandomNumbers numbers(3);
  for (const bool real : {false, true}) {
    const auto factors = residue_factors(of_rank(7, 3, true, real, numbers), all(7, 0.0), 7);
    ASSERT_TRUE(factors);
    for (std::size_t k = 0; k < 3; ++k) {
      const Complex ratio = factors->left(0, k) / factors->right(k, 0);
      EXPECT_EQ(std::abs(ratio.real()), std::exp2(std::ilogb(ratio.real())));
      for (std::size_t i = 0; i < 7; ++i) {
        EXPECT_EQ(factors->left(i, k), ratio.real() * factors->right(k, i));
      }
    }
  }
}

TEST(ResidueFactors, what_is_below_the_tolerance_is_dropped_and_what_is_above_is_not) {
  RandomNumbers numbers(4);
  for (const bool symmetric : {false, true}) {
    ComplexMatrix c = of_rank(10, 2, symmetric, false, numbers);
    const ComplexMatrix small = of_rank(10, 1, symmetric, false, numbers);
    for (std::size_t i = 0; i < 10; ++i) {
      for (std::size_t j = 0; j < 10; ++j) {
        c.set(i, j, c(i, j) + 1e-6 * small(i, j));
      }
    }
    const auto rank = [&](double tolerance) {
      const auto factors = residue_factors(c, all(10, tolerance), 10);
      EXPECT_TRUE(factors);
      EXPECT_LE(largest_difference(product(factors->left, factors->right), c), tolerance * (1.0 + 1e-9));
      return factors->left.columns();
    };
    EXPECT_EQ(rank(1e-4), 2U);
    EXPECT_EQ(rank(1e-9), 3U);
  }
}

TEST(ResidueFactors, each_element_has_a_tolerance_of_its_own) {
  RandomNumbers numbers(5);
  ComplexMatrix c = of_rank(4, 1, false, false, numbers);
  c.set(1, 2, c(1, 2) + 1e-3);
  numerics::Matrix tolerance = all(4, 1e-1);
  EXPECT_EQ(residue_factors(c, tolerance, 4)->left.columns(), 1U);
  tolerance(1, 2) = 1e-5;
  const auto factors = residue_factors(c, tolerance, 4);
  EXPECT_LE(std::abs(product(factors->left, factors->right)(1, 2) - c(1, 2)), 1e-5);
}

TEST(ResidueFactors, there_are_none_above_the_most_columns) {
  RandomNumbers numbers(6);
  for (const bool symmetric : {false, true}) {
    const ComplexMatrix c = of_rank(8, 4, symmetric, false, numbers);
    EXPECT_FALSE(residue_factors(c, all(8, 0.0), 3));
    EXPECT_TRUE(residue_factors(c, all(8, 0.0), 4));
  }
}

TEST(ResidueFactors, nothing_has_none) {
  const auto factors = residue_factors(ComplexMatrix(3, 3), all(3, 0.0), 3);
  ASSERT_TRUE(factors);
  EXPECT_EQ(factors->left.columns(), 0U);
}

TEST(ResidueFactors, the_unit_of_a_matrix_does_not_matter) {
  RandomNumbers numbers(7);
  const ComplexMatrix c = of_rank(5, 2, true, false, numbers);
  const auto factors = residue_factors(c, all(5, 0.0), 5);
  for (const int exponent : {-900, 900}) {
    ComplexMatrix other = c;
    for (auto* part : {&other.re, &other.im}) {
      for (double& element : part->elements) {
        element = std::ldexp(element, exponent);
      }
    }
    const auto scaled = residue_factors(other, all(5, 0.0), 5);
    ASSERT_TRUE(scaled);
    EXPECT_EQ(scaled->right.re.elements, factors->right.re.elements);
    for (std::size_t k = 0; k < scaled->left.re.elements.size(); ++k) {
      EXPECT_EQ(scaled->left.re.elements[k], std::ldexp(factors->left.re.elements[k], exponent));
    }
  }
}

/// A reciprocal two-port of S with one pair, whose residue is of rank one but for `more` of another.
Model nearly_of_rank_one(double transmission, double more, double rms) {
  const double omega = numerics::two_pi * 1e9;
  const Complex pole(-0.05 * omega, omega);
  const double residue = 0.5 * transmission * 0.05 * omega;
  Model model;
  model.poles = {pole, std::conj(pole)};
  for (const double element : {residue + more * residue, residue, residue, residue + more * residue}) {
    model.residues.insert(model.residues.end(), {element, element});
  }
  model.constants = {0.0, 0.0, 0.0, 0.0};
  model.proportionals = {0.0, 0.0, 0.0, 0.0};
  model.network = NetworkMatrix{'S', {50.0, 50.0}, all_elements(2)};
  model.origin = Origin{1e6, 2e9, 101, std::vector<ResponseError>(4, ResponseError{rms, rms, rms})};
  return model;
}

std::vector<FactoredPole> factored_poles(const Model& model, std::size_t most) {
  return polefit::factored_poles(model, most, [](const FactoredPole&) { return true; });
}

std::size_t rank_of(const Model& model) {
  const auto poles = factored_poles(model, 2);
  EXPECT_EQ(poles.size(), 1U);
  EXPECT_TRUE(poles[0].pair && poles[0].factors);
  return poles[0].factors->left.columns();
}

TEST(FactoredPoles, what_is_a_share_of_the_error_is_dropped_and_no_more) {
  // The eigenvalues of the residue over its damping are 0.5 and 5e-8. Elements lack half of that, the
  // response 5e-8 at resonance, and as much again may be lacking at 0 Hz.
  EXPECT_EQ(rank_of(nearly_of_rank_one(0.5, 2e-7, 2e-5)), 1U);
  EXPECT_EQ(rank_of(nearly_of_rank_one(0.5, 2e-7, 8e-6)), 2U);
}

TEST(FactoredPoles, what_the_factors_lack_at_zero_hertz_is_told_and_nothing_of_rounding) {
  const Model model = nearly_of_rank_one(0.5, 2e-7, 2e-5);
  const FactoredPole pole = factored_poles(model, 2)[0];
  ASSERT_EQ(pole.lacking.elements.size(), 4U);
  const ComplexMatrix made = product(pole.factors->left, pole.factors->right);
  for (std::size_t r = 0; r < 4; ++r) {
    const Complex with = made(r / 2, r % 2) / -model.poles[0];
    const Complex without = model.residues_of(r)[0] / -model.poles[0];
    EXPECT_NE(pole.lacking(r / 2, r % 2), 0.0);
    EXPECT_NEAR(2.0 * with.real() + pole.lacking(r / 2, r % 2), 2.0 * without.real(), 1e-16);
  }
  EXPECT_TRUE(factored_poles(nearly_of_rank_one(0.5, 0.0, 2e-5), 2)[0].lacking.elements.empty());
}

TEST(FactoredPoles, what_is_not_worth_it_has_none) {
  const auto poles =
      polefit::factored_poles(nearly_of_rank_one(0.5, 0.0, 2e-5), 2,
                              [](const FactoredPole& pole) { return pole.factors->left.columns() > 1; });
  EXPECT_FALSE(poles[0].factors);
}

TEST(FactoredPoles, a_model_without_errors_loses_rounding_only) {
  Model model = nearly_of_rank_one(0.5, 2e-7, 2e-5);
  model.origin.reset();
  EXPECT_EQ(rank_of(model), 2U);
  EXPECT_EQ(rank_of(nearly_of_rank_one(0.5, 0.0, 0.0)), 1U);
}

TEST(FactoredPoles, a_certified_model_stays_certified) {
  // Two pairs: one drives the ports alike and, a little, unlike; what it does unlike takes from the other,
  // which alone would exceed the limit by a part in a million.
  const double omega = numerics::two_pi * 1e9;
  const auto model_with = [&](double unlike, double other) {
    Model model;
    model.poles = {
        {-0.05 * omega, omega}, {-0.05 * omega, -omega}, {-0.06 * omega, omega}, {-0.06 * omega, -omega}};
    for (const double sign : {1.0, -1.0, -1.0, 1.0}) {
      const double first = 0.5 * 0.05 * omega * (0.5 - sign * unlike);
      const double second = 0.5 * 0.06 * omega * sign * other;
      model.residues.insert(model.residues.end(), {first, first, second, second});
    }
    model.constants = {0.0, 0.0, 0.0, 0.0};
    model.proportionals = {0.0, 0.0, 0.0, 0.0};
    model.network = NetworkMatrix{'S', {50.0, 50.0}, all_elements(2)};
    model.origin = Origin{1e6, 2e9, 101, std::vector<ResponseError>(4, ResponseError{1e-2, 1e-2, 1e-2})};
    return model;
  };
  const double most = (1.0 + 1e-6) / passivity(model_with(0.0, 1.0)).extreme;
  EXPECT_FALSE(passivity(model_with(0.0, most)).passive);
  Model model = model_with(3e-6, most);
  const auto rank = [&] { return factored_poles(model, 2)[0].factors->left.columns(); };
  EXPECT_EQ(rank(), 1U) << "nothing is known of its passivity";
  model.passivity = certified(passivity(model));
  ASSERT_TRUE(model.passivity->passive);
  EXPECT_EQ(rank(), 2U);
  model = model_with(3e-6, 0.99 * most);
  model.passivity = certified(passivity(model));
  EXPECT_EQ(rank(), 1U) << "there is room";
}

TEST(FactoredPoles, a_record_of_another_model_certifies_nothing) {
  Model model = nearly_of_rank_one(0.5, 2e-7, 2e-5);
  for (Complex& pole : model.poles) {
    pole.real(-pole.real());
  }
  model.passivity = CertifiedPassivity{.passive = true, .tolerance = 1e-9, .extreme = 0.5, .frequency = 1e9};
  EXPECT_EQ(rank_of(model), 2U);
}

TEST(FactoredPoles, poles_on_the_axis_lose_rounding_only_and_may_have_any_rank) {
  Model model = nearly_of_rank_one(0.5, 2e-7, 1e9);
  for (Complex& pole : model.poles) {
    pole.real(0.0);
  }
  const auto poles = factored_poles(model, 1);
  ASSERT_TRUE(poles[0].factors);
  EXPECT_EQ(poles[0].factors->left.columns(), 2U);
}

}  // namespace
}  // namespace polefit
