#include "polefit/data/compression.hpp"

#include <gtest/gtest.h>

#include "polefit/data/reduced_problem.hpp"
#include "polefit/projection/projection.hpp"
#include "samples.hpp"

namespace polefit {
namespace {

using namespace test_networks;

/// Few responses of many samples, and more than there are parts of samples.
const std::vector<NetworkKind> kinds{
    {.pairs = 3, .real_poles = 1, .responses = 9, .samples = 60, .noise = 1e-4},
    {.pairs = 2, .real_poles = 1, .responses = 90, .samples = 20, .noise = 1e-4}};

Selection everything(const Problem& problem) {
  return {counted(problem.samples), std::vector<double>(problem.samples, 1.0), true};
}

/// Squared norm of all responses that rounding can change: products of 2 M or R terms, k columns.
double rounding(const Problem& problem) {
  return static_cast<double>(2 * problem.samples + problem.responses) * eps * problem.norm * problem.norm;
}

double squares_of(const Combinations& data) {
  const double size = testing_support::norm(data.norms);
  return size * size;
}

/// Weights of the samples, one of them 0.
std::vector<double> sample_weights(std::size_t samples) {
  std::vector<double> weights;
  for (std::size_t k = 0; k < samples; ++k) {
    weights.push_back(static_cast<double>(k % 4));
  }
  return weights;
}

TEST(Compression, least_error_of_any_poles_is_that_of_all_responses) {
  for (const NetworkKind& kind : kinds) {
    for (std::uint64_t seed = 0; seed < 6; ++seed) {
      const Network network = random_network(kind, seed);
      NetworkData data = network.data();
      const std::vector<double> weights = sample_weights(seed % 2 == 0 ? 0 : kind.samples);
      data.weights = weights;
      const Problem whole = make_problem(data, options_for(kind));
      for (const double tail : {1e-6, 1e-4, 3e-2}) {
        const Combinations found = combine_responses(whole, tail);
        const ReducedProblem reduced(whole, found, everything(whole), 0.0);
        if (tail > 1e-3) {  // above the noise: what the poles and a constant span
          EXPECT_LE(found.count, 2 * kind.pairs + kind.real_poles + 1);
          EXPECT_GT(found.dropped, 0.0);
        }
        RandomNumbers numbers(seed);
        for (const std::size_t count : {1U, 3U, 5U}) {
          Poles poles;
          for (std::size_t i = 0; i < count; ++i) {
            poles.push_back(Complex{-numbers.between(0.1, 0.5), numbers.between(0.3, 2.0)});
            poles.push_back(std::conj(poles.back()));
          }
          const Problem& part = reduced.problem();
          const double all = Projection(whole, poles, 1e-6).error() * whole.norm;
          const double few = Projection(part, poles, 1e-6).error() * part.norm;
          // The norm of a sum differs from that of one part by the norm of the other at most; squares are
          // rounded.
          const double more = few + found.dropped;
          const double less = all + found.dropped;
          EXPECT_LE(all * all, more * more + rounding(whole)) << seed << " " << tail;
          EXPECT_LE(few * few, less * less + rounding(whole)) << seed << " " << tail;
        }
      }
    }
  }
}

TEST(Compression, squares_of_the_combinations_and_of_what_was_dropped_are_those_of_the_data) {
  for (const NetworkKind& kind : kinds) {
    const Network network = random_network(kind, 1);
    const Problem problem = make_problem(network.data(), {});
    for (const double tail : {0.0, 1e-6, 1e-3, 0.1}) {
      const Combinations found = combine_responses(problem, tail);
      EXPECT_NEAR(squares_of(found) + found.dropped * found.dropped, problem.norm * problem.norm,
                  rounding(problem));
    }
  }
}

TEST(Compression, norms_are_those_of_the_weighted_values) {
  for (const NetworkKind& kind : kinds) {
    const Network network = random_network(kind, 2);
    NetworkData data = network.data();
    const std::vector<double> weights = sample_weights(kind.samples);
    data.weights = weights;
    const Problem problem = make_problem(data, {});
    for (const double tail : {0.0, 1e-2}) {
      const Combinations found = combine_responses(problem, tail);
      ASSERT_EQ(found.values.size(), found.count * problem.samples);
      ASSERT_EQ(found.norms.size(), found.count);
      for (std::size_t c = 0; c < found.count; ++c) {
        double squares = 0.0;
        for (std::size_t k = 0; k < problem.samples; ++k) {
          squares += std::norm(problem.weight[k] * found.values[c * problem.samples + k]);
        }
        EXPECT_NEAR(squares, found.norms[c] * found.norms[c], rounding(problem)) << c;
      }
    }
  }
}

TEST(Compression, drops_at_most_the_tail_and_keeps_no_more_than_that_takes) {
  for (const NetworkKind& kind : kinds) {
    const Network network = random_network(kind, 3);
    const Problem problem = make_problem(network.data(), {});
    std::size_t last = problem.responses + 1;
    for (const double tail : {1e-6, 1e-4, 1e-2, 0.1, 0.5}) {
      const Combinations found = combine_responses(problem, tail);
      EXPECT_LE(found.dropped, tail * problem.norm);
      EXPECT_LE(found.count, last);
      EXPECT_GT(found.norms[0], 0.5 * testing_support::norm(found.norms));  // principal ones first
      last = found.count;
    }
    EXPECT_LT(last, 5U);
  }
}

TEST(Compression, responses_that_depend_on_each_other_become_as_many_as_their_rank) {
  for (NetworkKind kind : kinds) {
    const std::size_t responses = kind.responses;
    kind.responses = 3;
    const Network base = random_network(kind, 4);
    RandomNumbers numbers(4);
    std::vector<Complex> values;
    for (std::size_t r = 0; r < responses; ++r) {
      const double a = numbers();
      const double b = numbers();
      const double c = numbers();
      for (std::size_t k = 0; k < kind.samples; ++k) {
        values.push_back(a * base.values[k] + b * base.values[kind.samples + k] +
                         c * base.values[2 * kind.samples + k]);
      }
    }
    const Network network = network_of(base.frequencies, values);
    const Problem problem = make_problem(network.data(), {});
    ASSERT_EQ(problem.responses, responses);
    const Combinations found = combine_responses(problem, 1e-6);
    EXPECT_EQ(found.count, 3U);
    EXPECT_LE(found.dropped * found.dropped, rounding(problem));
  }
}

/// Whether the responses are as they were, but scaled.
bool are_as_given(const Combinations& found, const Problem& problem) {
  if (found.count != problem.responses || found.dropped != 0.0) {
    return false;
  }
  for (std::size_t r = 0; r < problem.responses; ++r) {
    for (std::size_t k = 0; k < problem.samples; ++k) {
      if (found.values[r * problem.samples + k] != problem.response_scale[r] * problem.value(r, k)) {
        return false;
      }
    }
  }
  return true;
}

TEST(Compression, leaves_responses_with_weights_of_their_own_as_they_are) {
  const Network network = random_network({.pairs = 3, .responses = 9}, 5);
  NetworkData data = network.data();
  const std::vector<double> weights = sample_weights(network.values.size());
  data.weights = weights;
  const Problem problem = make_problem(data, {});
  const Combinations found = combine_responses(problem, 0.1);
  EXPECT_TRUE(are_as_given(found, problem));
  for (std::size_t r = 0; r < 9; ++r) {
    double squares = 0.0;
    for (std::size_t k = 0; k < problem.samples; ++k) {
      squares += std::norm(problem.factor(r, k) * problem.value(r, k));
    }
    EXPECT_NEAR(found.norms[r], std::sqrt(squares),
                static_cast<double>(problem.samples) * eps * found.norms[r]);
  }
}

TEST(Compression, leaves_a_single_response_and_tails_below_the_root_of_rounding_as_they_are) {
  const Network one = random_network({.pairs = 3}, 6);
  const Problem single = make_problem(one.data(), {});
  EXPECT_TRUE(are_as_given(combine_responses(single, 0.1), single));
  const Network network = random_network({.pairs = 3, .responses = 9}, 6);
  const Problem problem = make_problem(network.data(), {});
  EXPECT_TRUE(are_as_given(combine_responses(problem, 1e-9), problem));
  EXPECT_FALSE(are_as_given(combine_responses(problem, 1e-6), problem));
}

}  // namespace
}  // namespace polefit
