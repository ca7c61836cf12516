#include "polefit/projection/elimination.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>

#include "numerics/triangle_condition.hpp"
#include "samples.hpp"

namespace polefit {
namespace {

using namespace test_networks;

/// n eps condition^2 of the squared norm of the data: inverses of S are rounded by as much.
double rounding(const Projection& projection) {
  double most = 0.0;
  for (const ProjectedGroup& group : projection.groups()) {
    const double condition = 1.0 / numerics::triangle_condition(group.triangle);
    most = std::max(most, static_cast<double>(group.scale.size()) * eps * condition * condition);
  }
  return most;
}

const NetworkKind kind{.pairs = 4, .real_poles = 2, .responses = 3, .samples = 60, .noise = 1e-3};

/// A network with its problem, whose responses may have weights of their own.
struct Case {
  Case(const NetworkKind& of_kind, std::uint64_t seed, bool own_weights)
      : numbers(seed), network(random_network(of_kind, seed)) {
    weights = random_weights(own_weights ? network.values.size() : 0, numbers);
    NetworkData data = network.data();
    data.weights = weights;
    problem = make_problem(data, options_for(of_kind));
    poles = disturbed_poles(network, problem, 0.1, numbers);
  }
  Case(const Case&) = delete;
  Case& operator=(const Case&) = delete;

  RandomNumbers numbers;
  Network network;
  std::vector<double> weights;
  Problem problem;
  Poles poles;
};

TEST(Elimination, errors_of_the_path_are_those_of_refits) {
  double worst = 0.0;
  for (const bool own : {false, true}) {
    for (std::uint64_t seed = 0; seed < 10; ++seed) {
      for (const double delta : {1e-9, 1e-2}) {
        const Case of(kind, seed, own);
        const Projection projection(of.problem, of.poles, delta);
        EXPECT_EQ(projection.groups().size(), own ? 3U : 1U);
        const double unit = rounding(projection);
        EXPECT_LT(unit, 1e-8);
        for (const FewerPoles& fewer : eliminate_poles(projection)) {
          // The ridge is that of the columns left, which keep their scale.
          const double refit = Projection(of.problem, fewer.poles, delta).error();
          worst = std::max(worst, std::abs(fewer.error * fewer.error - refit * refit) / unit);
        }
      }
    }
  }
  std::cout << "worst: " << worst << "\n";
  EXPECT_LE(worst, 1.0);  // in n eps condition^2 of the square of the data
}

TEST(Elimination, goes_down_to_no_pole_by_one_real_pole_or_pair_after_the_other) {
  const Case of(kind, 1, false);
  const Projection projection(of.problem, of.poles, 1e-9);
  const std::vector<FewerPoles> path = eliminate_poles(projection);
  ASSERT_EQ(path.size(), 7U);  // four pairs and two real poles
  EXPECT_EQ(path.front().poles, of.poles);
  EXPECT_EQ(path.front().error, projection.error());
  EXPECT_TRUE(path.back().poles.empty());
  for (std::size_t i = 1; i < path.size(); ++i) {
    EXPECT_GE(path[i].error, path[i - 1].error);
    // What is left stands in the same order, pairs side by side.
    Poles before = path[i - 1].poles;
    std::size_t at = 0;
    while (at < path[i].poles.size() && path[i].poles[at] == before[at]) {
      ++at;
    }
    before.erase(before.begin() + static_cast<std::ptrdiff_t>(at),
                 before.begin() + static_cast<std::ptrdiff_t>(at + (is_real(before[at]) ? 1 : 2)));
    EXPECT_EQ(path[i].poles, before);
  }
}

TEST(Elimination, leaves_out_what_costs_least_a_pole) {
  for (std::uint64_t seed = 0; seed < 10; ++seed) {
    const Case of(kind, seed, seed % 2 == 0);
    const Projection projection(of.problem, of.poles, 1e-9);
    const std::vector<FewerPoles> path = eliminate_poles(projection);
    const double unit = rounding(projection);
    for (std::size_t step = 1; step < path.size(); ++step) {
      const Poles& from = path[step - 1].poles;
      const double before = std::pow(path[step - 1].error, 2);
      const double chosen = (std::pow(path[step].error, 2) - before) /
                            static_cast<double>(from.size() - path[step].poles.size());
      const auto cost_without = [&](std::size_t i, std::size_t count) {
        Poles rest = from;
        rest.erase(rest.begin() + static_cast<std::ptrdiff_t>(i),
                   rest.begin() + static_cast<std::ptrdiff_t>(i + count));
        return (std::pow(Projection(of.problem, rest, 1e-9).error(), 2) - before) /
               static_cast<double>(count);
      };
      for_each_group(
          from, [&](std::size_t i) { EXPECT_LE(chosen, cost_without(i, 1) + 2.0 * unit); },
          [&](std::size_t i) { EXPECT_LE(chosen, cost_without(i, 2) + 2.0 * unit); });
    }
  }
}

TEST(Elimination, of_two_nearly_equal_poles_one_goes_first_at_next_to_no_cost) {
  NetworkKind noisy = kind;
  noisy.noise = 1e-2;
  for (const bool own : {false, true}) {
    for (std::uint64_t seed = 0; seed < 10; ++seed) {
      Case of(noisy, seed, own);
      RandomNumbers numbers(seed);
      Poles poles = disturbed_poles(of.network, of.problem, 0.0, numbers);
      const Complex twin = poles[2] + 1e-5 * std::abs(poles[2].real());
      poles.insert(poles.end(), {twin, std::conj(twin)});
      const Projection projection(of.problem, poles, 1e-12);
      // The two cancel each other: no coefficient of the others is nearly as large.
      const auto size_of = [&](std::size_t i) {
        double sum = 0.0;
        for (const ProjectedGroup& group : projection.groups()) {
          for (std::size_t r = 0; r < group.coefficients.columns; ++r) {
            sum += std::norm(Complex{group.coefficients(i, r), group.coefficients(i + 1, r)});
          }
        }
        return std::sqrt(sum);
      };
      EXPECT_GT(std::min(size_of(2), size_of(poles.size() - 2)), 10.0 * size_of(0)) << seed;
      const std::vector<FewerPoles> path = eliminate_poles(projection);
      const Poles& left = path[1].poles;
      ASSERT_EQ(left.size(), poles.size() - 2);
      EXPECT_NE(std::find(left.begin(), left.end(), poles[2]) == left.end(),
                std::find(left.begin(), left.end(), twin) == left.end())
          << seed;
      // Two of 120 parts of the noise of each response, with their spread, are what the second one took up.
      EXPECT_LE(path[1].error, 1.1 * path[0].error);
      EXPECT_NEAR(path[1].error, Projection(of.problem, left, 1e-12).error(), 0.01 * path[1].error);
    }
  }
}

}  // namespace
}  // namespace polefit
