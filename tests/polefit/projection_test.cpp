#include "polefit/projection/projection.hpp"

#include <gtest/gtest.h>

#include <iostream>

#include "plain_projection.hpp"
#include "samples.hpp"

namespace polefit {
namespace {

using namespace test_networks;

/// Pairs and real poles about 1, in units of a problem, that are not those of its data.
Poles random_poles(std::size_t pairs, std::size_t real_poles, RandomNumbers& numbers) {
  Poles poles;
  for (std::size_t i = 0; i < real_poles; ++i) {
    poles.emplace_back(-numbers.between(0.1, 3.0), 0.0);
  }
  for (std::size_t i = 0; i < pairs; ++i) {
    const Complex pole{-numbers.between(0.02, 0.3), numbers.between(0.2, 2.0)};
    poles.insert(poles.end(), {pole, std::conj(pole)});
  }
  return poles;
}

/// In units of rounding of what a factorisation of n columns is changed by: n eps (|A| |X| + |F|). The least
/// error changes by as much as data and basis do, whatever the condition.
double rounding_units(const Projection& projection) {
  double units = 0.0;
  for (const ProjectedGroup& group : projection.groups()) {
    const auto n = static_cast<double>(group.scale.size());
    units += n * eps * std::sqrt(n) * testing_support::norm(group.coefficients.elements);
  }
  return units + static_cast<double>(projection.groups()[0].scale.size()) * eps * projection.problem().norm;
}

TEST(Projection, error_is_that_of_a_plain_solution) {
  double worst = 0.0;
  for (std::uint64_t seed = 0; seed < 24; ++seed) {
    RandomNumbers numbers(seed);
    NetworkKind kind{.pairs = 3, .real_poles = 1, .responses = 1 + seed % 3, .samples = 40, .noise = 1e-3};
    kind.constant = seed % 2 == 0;
    kind.proportional = seed % 5 == 0;
    const Network network = random_network(kind, seed);
    NetworkData data = network.data();
    const std::size_t count = seed % 4 == 1   ? network.frequencies.size()
                              : seed % 4 == 2 ? network.values.size()
                                              : 0;
    const std::vector<double> weights = random_weights(count, numbers);
    data.weights = weights;
    const Problem problem = make_problem(data, options_for(kind));
    const Poles poles = random_poles(seed % 5, seed % 4, numbers);
    for (const double delta : {0.0, 1e-9, 1e-3, 0.3}) {
      const Projection projection(problem, poles, delta);
      const auto expected =
          static_cast<double>(std::sqrt(plain::squares(problem, plain::long_poles(poles), delta)));
      worst = std::max(worst,
                       std::abs(projection.error() * problem.norm - expected) / rounding_units(projection));
    }
  }
  std::cout << "worst: " << worst << "\n";
  EXPECT_LE(worst, 1.0);  // in n eps (|A| |X| + |F|)
}

TEST(Projection, error_of_the_poles_of_the_data_is_rounding) {
  const NetworkKind kind{.pairs = 4, .real_poles = 2, .responses = 3, .proportional = true};
  const Network network = random_network(kind, 1);
  const Problem problem = make_problem(network.data(), options_for(kind));
  RandomNumbers numbers(1);
  const Projection projection(problem, disturbed_poles(network, problem, 0.0, numbers), 0.0);
  EXPECT_LE(projection.error() * problem.norm, rounding_units(projection));
}

TEST(Projection, without_poles_or_terms_leaves_the_data) {
  const Network network = random_network({.pairs = 2}, 2);
  Options options;
  options.constant = false;
  const Problem problem = make_problem(network.data(), options);
  const Projection projection(problem, {}, 1e-9);
  EXPECT_NEAR(projection.error(), 1.0, static_cast<double>(problem.samples) * eps);  // a sum of squares
}

TEST(Projection, residual_is_the_data_less_the_fit) {
  for (const bool own : {false, true}) {
    RandomNumbers numbers(3);
    const NetworkKind kind{.pairs = 3, .real_poles = 1, .responses = 3, .samples = 50, .noise = 1e-3};
    const Network network = random_network(kind, 3);
    NetworkData data = network.data();
    const std::vector<double> weights = random_weights(own ? network.values.size() : 0, numbers);
    data.weights = weights;
    const Problem problem = make_problem(data, options_for(kind));
    const Poles poles = random_poles(3, 1, numbers);
    const Projection projection(problem, poles, 1e-3);
    const std::vector<Complex> residual = projection.residual();
    ASSERT_EQ(residual.size(), network.values.size());
    double squares = 0.0;
    for (std::size_t r = 0; r < 3; ++r) {
      const ProjectedGroup& group = projection.groups()[own ? r : 0];
      const std::vector<plain::Column> basis = plain::basis(problem, plain::long_poles(poles), r);
      for (std::size_t k = 0; k < 50; ++k) {
        Complex expected = problem.factor(r, k) * problem.value(r, k);
        double size = std::abs(expected);
        for (std::size_t j = 0; j < basis.size(); ++j) {
          const double x = group.coefficients(j, own ? 0 : r) * group.scale[j];
          const Complex term =
              x * Complex(static_cast<double>(basis[j][k]), static_cast<double>(basis[j][50 + k]));
          expected -= term;
          size += std::abs(term);
        }
        // Terms and their sum are rounded, and the basis functions by a few eps.
        EXPECT_LE(std::abs(residual[r * 50 + k] - expected), 20.0 * eps * size) << r << " " << k;
        squares += std::norm(residual[r * 50 + k]);
      }
    }
    // The error has the ridge too.
    for (const ProjectedGroup& group : projection.groups()) {
      for (const double x : group.coefficients.elements) {
        squares += 1e-6 * x * x;
      }
    }
    EXPECT_NEAR(std::sqrt(squares), projection.error() * problem.norm, 2.0 * rounding_units(projection));
  }
}

TEST(Projection, residual_on_other_samples_is_that_of_the_same_model) {
  const NetworkKind kind{.pairs = 3, .responses = 2, .samples = 81, .noise = 1e-3};
  const Network network = random_network(kind, 4);
  // With weights the scale of all responses is a power of two, which half of the samples have too.
  const std::vector<double> weights(81, 1.0);
  NetworkData data = network.data();
  data.weights = weights;
  const Problem whole = make_problem(data, options_for(kind));
  Network half;
  half.model = network.model;
  for (std::size_t r = 0; r < 2; ++r) {
    for (std::size_t k = 0; k < 81; k += 2) {
      half.values.push_back(network.values[r * 81 + k]);
    }
  }
  for (std::size_t k = 0; k < 81; k += 2) {
    half.frequencies.push_back(network.frequencies[k]);
  }
  NetworkData half_data = half.data();
  half_data.weights = std::span(weights).first(41);
  const Problem part = make_problem(half_data, options_for(kind));
  ASSERT_EQ(part.scale, whole.scale);
  ASSERT_EQ(part.response_scale, whole.response_scale);
  RandomNumbers numbers(4);
  const Projection projection(part, random_poles(3, 0, numbers), 1e-9);
  const std::vector<Complex> expected = projection.residual();
  const std::vector<Complex> found = residual_on(whole, projection);
  ASSERT_EQ(found.size(), 2U * 81U);
  for (std::size_t r = 0; r < 2; ++r) {
    for (std::size_t k = 0; k < 41; ++k) {
      EXPECT_EQ(found[r * 81 + 2 * k], expected[r * 41 + k]);  // the same operations on the same numbers
    }
  }
}

TEST(Projection, responses_share_a_factorisation_unless_they_have_weights_of_their_own) {
  RandomNumbers numbers(5);
  const Network network = random_network({.pairs = 2, .responses = 3}, 5);
  NetworkData data = network.data();
  const Problem shared = make_problem(data, {});
  const Poles poles = random_poles(2, 0, numbers);
  EXPECT_EQ(Projection(shared, poles, 1e-9).groups().size(), 1U);
  const std::vector<double> weights = random_weights(network.values.size(), numbers);
  data.weights = weights;
  const Problem own = make_problem(data, {});
  const Projection projection(own, poles, 1e-9);
  ASSERT_EQ(projection.groups().size(), 3U);
  for (std::size_t r = 0; r < 3; ++r) {
    EXPECT_EQ(projection.groups()[r].first, r);
    EXPECT_EQ(projection.groups()[r].count, 1U);
  }
}

TEST(Projection, coefficients_of_poles_that_are_nearly_dependent_are_bounded_by_the_error_over_delta) {
  // Poles that a relocation made up, most of them far from the band, which ends at 1: with columns of norm 1
  // their basis has a condition of 5e15.
  Poles poles;
  for (const double re : {-1329.0, -53.2, -27.7, -3.99, -0.995, -0.258, -0.183}) {
    poles.emplace_back(re, 0.0);
  }
  for (const Complex pole :
       {Complex(-0.0114, 13.11), Complex(-1.15e-4, 6.51), Complex(-0.135, 1.10), Complex(-0.184, 0.822),
        Complex(-0.190, 0.619), Complex(-0.217, 0.418), Complex(-0.292, 0.187)}) {
    poles.insert(poles.end(), {pole, std::conj(pole)});
  }
  // A root of frequency, which no few poles fit well, rounded to six digits.
  constexpr std::size_t samples = 10000;
  std::vector<Complex> values;
  for (std::size_t k = 0; k < samples; ++k) {
    const Complex value = std::sqrt(Complex(0.01, static_cast<double>(k) / samples));
    values.emplace_back(std::round(1e6 * value.real()) / 1e6, std::round(1e6 * value.imag()) / 1e6);
  }
  const Network network = network_of(even_frequencies(samples, 0.0, 1.0), values);
  Problem problem = make_problem(network.data(), {});
  problem.omega = network.frequencies;
  const auto largest = [](const Projection& projection) {
    double most = 0.0;
    for (const double x : projection.groups()[0].coefficients.elements) {
      most = std::max(most, std::abs(x));
    }
    return most;
  };
  const double without = largest(Projection(problem, poles, 0.0));
  for (const double delta : {1e-12, 1e-9, 1e-6}) {
    const Projection projection(problem, poles, delta);
    // The error, which is near 5e-3 of the data, is good to some eps of the data and the coefficients.
    const double bound = projection.error() * problem.norm * (1.0 + 1e-9) / delta;
    EXPECT_LE(largest(projection), bound) << delta;
    EXPECT_GT(without, bound) << delta;  // so that the bound says something
  }
}

}  // namespace
}  // namespace polefit
